// The special functions behind the standard distributions, to double precision also far out in the tails:
// the small one of two complementary probabilities is always computed as itself.
#pragma once

namespace tv {

// The probabilities of what lies up to a point and beyond it. They add up to 1, and each is accurate
// relative to its own size where it is the small one.
struct Tails {
  double below = 0;
  double above = 1;
};

// The probability between two points, `from` the lower one.
inline double mass_between(const Tails& from, const Tails& to) noexcept {
  return from.below > 0.5 ? from.above - to.above : to.below - from.below;
}

// The logarithm of the gamma function, for x > 0.
double log_gamma(double x) noexcept;

Tails normal_tails(double z) noexcept;

// The regularised incomplete gamma functions P(a, x) and Q(a, x), for a > 0. False when they do not
// converge (beyond a of about 1e10).
bool gamma_tails(double a, double x, Tails& tails) noexcept;

// The regularised incomplete beta functions I_x(a, b) and I_y(b, a), for a, b > 0; y is 1 - x, given
// because it may be known more accurately. False when they do not converge.
bool beta_tails(double a, double b, double x, double y, Tails& tails) noexcept;

// Probabilities of single numbers, without the cancellation of gamma functions (Loader 2000). `k` is a
// whole number; the binomial takes any n >= k, and q as 1 - p.
double poisson_density(double k, double mean) noexcept;
double binomial_density(double k, double n, double p, double q) noexcept;

}  // namespace tv

// Incomplete gamma and beta functions by their series and continued fractions (Abramowitz and Stegun 6.5,
// 26.5; Lentz's algorithm), with the leading factor in Loader's saddle-point form: C. Loader, Fast and
// Accurate Computation of Binomial Probabilities, 2000.
#include "expr/special_functions.h"

#include <cmath>
#include <limits>
#include <numbers>

namespace tv {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon() / 2;
constexpr double kTiny = 1e-300;  // keeps Lentz's algorithm from dividing by zero
constexpr long kMaxIterations = 2000000;
constexpr double kTwoPi = 2 * std::numbers::pi;

// log Gamma(1 + a), also for an `a` that 1 + a would swallow.
double log_gamma_of_one_plus(double a) noexcept {
  if (a > 0.05) return log_gamma(1 + a);
  constexpr double coefficients[] = {
      0.0769325164113521915, 0.083353840546109004,
      0.0909540171458290422, 0.100099457512781809,
      0.11133426586956469,   0.125509669524743042,
      0.144049896768846118,  0.16955717699740819,
      0.207385551028673985,  0.270580808427784548,
      0.400685634386531428,  0.822467033424113218};  // zeta(k) / k, from k = 13 down to 2
  double sum = 0;
  for (const double coefficient : coefficients) sum = coefficient - a * sum;
  return a * (a * sum - std::numbers::egamma);
}

// log(n!) less Stirling's formula for it, n > 0.
double stirling_error(double n) noexcept {
  if (n < 16) {
    constexpr double half_log_two_pi = 0.918938533204672741780329736406;
    return log_gamma(n + 1) - (n + 0.5) * std::log(n) + n - half_log_two_pi;
  }
  const double r = 1 / (n * n);
  return (1.0 / 12 -
          (1.0 / 360 - (1.0 / 1260 - (1.0 / 1680 - (1.0 / 1188 - 691.0 / 360360 * r) * r) * r) * r) * r) /
         n;
}

// x log(x / m) + m - x, without cancellation where x is close to m.
double deviance(double x, double m) noexcept {
  if (std::fabs(x - m) >= 0.1 * (x + m)) return x * std::log(x / m) + m - x;
  const double v = (x - m) / (x + m);
  double sum = (x - m) * v;
  double term = 2 * x * v;
  for (int j = 3;; j += 2) {
    term *= v * v;
    const double next = sum + term / j;
    if (next == sum) return sum;
    sum = next;
  }
}

// x^a e^-x / Gamma(a)
double gamma_factor(double a, double x) noexcept {
  return std::sqrt(a / kTwoPi) * std::exp(-stirling_error(a) - deviance(a, x));
}

// P(a, x) by its series, for x below about a.
bool lower_gamma(double a, double x, double& p) noexcept {
  double term = 1 / a, sum = term;
  for (long n = 1; n < kMaxIterations; ++n) {
    term *= x / (a + static_cast<double>(n));
    sum += term;
    if (term <= sum * kEpsilon) {
      p = gamma_factor(a, x) * sum;
      return true;
    }
  }
  return false;
}

// Q(a, x) by its continued fraction, for x beyond about a.
bool upper_gamma(double a, double x, double& q) noexcept {
  double b = x + 1 - a;
  double c = 1 / kTiny;
  double d = 1 / (std::fabs(b) < kTiny ? kTiny : b);
  double fraction = d;
  for (long i = 1; i < kMaxIterations; ++i) {
    const double n = static_cast<double>(i);
    const double an = -n * (n - a);
    b += 2;
    d = an * d + b;
    if (std::fabs(d) < kTiny) d = kTiny;
    c = b + an / c;
    if (std::fabs(c) < kTiny) c = kTiny;
    d = 1 / d;
    fraction *= d * c;
    if (std::fabs(d * c - 1) <= 2 * kEpsilon) {
      q = gamma_factor(a, x) * fraction;
      return true;
    }
  }
  return false;
}

// Q(a, x) for small shapes, where P is so close to 1 that Q must not be taken from it: the series of P with
// its first term written as 1 - (1 - term).
double upper_gamma_of_small_shape(double a, double x) noexcept {
  double term = 1, sum = 0;
  for (int n = 1; n < 200; ++n) {
    term *= -x / n;
    const double next = sum + term / (a + n);
    if (next == sum) break;
    sum = next;
  }
  const double logarithm = a * std::log(x) - log_gamma_of_one_plus(a);
  return -std::expm1(logarithm) - std::exp(logarithm) * a * sum;
}

// I_x(a, b) by its continued fraction, for x below about the mean.
bool lower_beta(double a, double b, double x, double y, double& p) noexcept {
  const double sum = a + b;
  double c = 1;
  double d = 1 - sum * x / (a + 1);
  if (std::fabs(d) < kTiny) d = kTiny;
  d = 1 / d;
  double fraction = d;
  const auto step = [&](double coefficient) {
    d = 1 + coefficient * d;
    if (std::fabs(d) < kTiny) d = kTiny;
    c = 1 + coefficient / c;
    if (std::fabs(c) < kTiny) c = kTiny;
    d = 1 / d;
    fraction *= d * c;
  };
  for (long i = 1; i < kMaxIterations; ++i) {
    const double m = static_cast<double>(i), twice = 2 * m;
    step(m * (b - m) * x / ((a + twice - 1) * (a + twice)));
    step(-(a + m) * (sum + m) * x / ((a + twice) * (a + twice + 1)));
    if (std::fabs(d * c - 1) > 2 * kEpsilon) continue;
    const double logarithm = stirling_error(sum) - stirling_error(a) - stirling_error(b) -
                             deviance(a, sum * x) - deviance(b, sum * y);
    p = std::sqrt(a * b / (kTwoPi * sum)) * std::exp(logarithm) * fraction / a;
    return true;
  }
  return false;
}

}  // namespace

double log_gamma(double x) noexcept {
  int sign;
  return ::lgamma_r(x, &sign);  // the plain function writes a global variable
}

Tails normal_tails(double z) noexcept {
  const double x = std::fabs(z) / std::numbers::sqrt2;
  double outer = 0.5 * std::erfc(x);
  if (x > 2 && x < 40) {
    // Far out the function is so steep that the rounding of its argument shows: it is put right.
    constexpr double rest_of_root_two = -9.6672933134529135e-17;
    const double excess = std::fma(x, std::numbers::sqrt2, -std::fabs(z)) + x * rest_of_root_two;
    outer *= 1 + std::numbers::sqrt2 * x * excess;
  }
  return z < 0 ? Tails{outer, 1 - outer} : Tails{1 - outer, outer};
}

bool gamma_tails(double a, double x, Tails& tails) noexcept {
  if (!(x > 0)) {
    tails = {0, 1};
  } else if (std::isinf(x)) {
    tails = {1, 0};
  } else if (a <= 1 && x <= 1) {
    tails.above = upper_gamma_of_small_shape(a, x);
    tails.below = 1 - tails.above;
    return tails.above > 0.5 ? lower_gamma(a, x, tails.below) : true;
  } else if (x < a + 1) {
    if (!lower_gamma(a, x, tails.below)) return false;
    tails.above = 1 - tails.below;
  } else {
    if (!upper_gamma(a, x, tails.above)) return false;
    tails.below = 1 - tails.above;
  }
  return true;
}

bool beta_tails(double a, double b, double x, double y, Tails& tails) noexcept {
  if (!(x > 0)) {
    tails = {0, 1};
  } else if (!(y > 0)) {
    tails = {1, 0};
  } else if (x < (a + 1) / (a + b + 2)) {
    if (!lower_beta(a, b, x, y, tails.below)) return false;
    tails.above = 1 - tails.below;
  } else {
    if (!lower_beta(b, a, y, x, tails.above)) return false;
    tails.below = 1 - tails.above;
  }
  return true;
}

double poisson_density(double k, double mean) noexcept {
  if (mean == 0) return k == 0 ? 1 : 0;
  if (k == 0) return std::exp(-mean);
  return std::exp(-stirling_error(k) - deviance(k, mean)) / std::sqrt(kTwoPi * k);
}

double binomial_density(double k, double n, double p, double q) noexcept {
  if (p == 0) return k == 0 ? 1 : 0;
  if (q == 0) return k == n ? 1 : 0;
  if (k == 0) return std::exp(p < 0.5 ? n * std::log1p(-p) : n * std::log(q));
  if (k == n) return std::exp(q < 0.5 ? n * std::log1p(-q) : n * std::log(p));
  const double logarithm = stirling_error(n) - stirling_error(k) - stirling_error(n - k) -
                           deviance(k, n * p) - deviance(n - k, n * q);
  return std::sqrt(n / (kTwoPi * k * (n - k))) * std::exp(logarithm);
}

}  // namespace tv

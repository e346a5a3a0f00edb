// Moments of mixtures of Dirichlet distributions, without differences of nearly equal numbers: means of
// almost one and of almost nothing keep their digits, and so does any experience.
#include "learn/dirichlet.h"

#include <algorithm>
#include <numeric>

namespace tv {
namespace {

// What rounding may take from a count of one: tables hold single precision, and errors of many observations
// come together.
constexpr double kCountTolerance = 1e-4;

// For each number the sum of the others.
std::vector<double> sums_of_others(const std::vector<double>& numbers) {
  const double total = std::accumulate(numbers.begin(), numbers.end(), 0.0);
  std::vector<double> sums(numbers.size());
  for (size_t i = 0; i < numbers.size(); ++i) {
    if (numbers[i] <= 0.5 * total) {
      sums[i] = total - numbers[i];
    } else {
      sums[i] = std::accumulate(numbers.begin(), numbers.begin() + static_cast<ptrdiff_t>(i), 0.0);
      sums[i] = std::accumulate(numbers.begin() + static_cast<ptrdiff_t>(i) + 1, numbers.end(), sums[i]);
    }
  }
  return sums;
}

// The probability p of one state under a mixture: the expectation of p (1 - p), and the variance of p.
struct Spread {
  double within = 0.0, variance = 0.0;

  // A component in which p has a beta distribution with these means of p and 1 - p and the total of counts;
  // `shift` is what its mean is beyond that of the mixture.
  void add(double weight, double mean, double mean_of_rest, double total, double shift) noexcept {
    const double product = mean * mean_of_rest;
    within += weight * product * total / (total + 1.0);
    variance += weight * (product / (total + 1.0) + shift * shift);
  }
};

}  // namespace

void observe(Dirichlet& belief, const std::vector<double>& outcomes) {
  const double e = belief.experience;
  const double certainty = std::min(1.0, std::accumulate(outcomes.begin(), outcomes.end(), 0.0));
  const std::vector<double> mean_of_rest = sums_of_others(belief.means), rest = sums_of_others(outcomes);
  double within = 0.0, variance = 0.0;
  for (size_t x = 0; x < outcomes.size(); ++x) {
    const double m = belief.means[x], c = mean_of_rest[x];
    // What the mean gains where x has been observed, where another state has, and over all.
    const double gain = c / (e + 1.0), loss = -m / (e + 1.0);
    const double change = outcomes[x] * gain + rest[x] * loss;
    Spread spread;
    spread.add(outcomes[x], (e * m + 1.0) / (e + 1.0), e * c / (e + 1.0), e + 1.0, gain - change);
    spread.add(rest[x], e * m / (e + 1.0), (e * c + 1.0) / (e + 1.0), e + 1.0, loss - change);
    spread.add(1.0 - certainty, m, c, e, -change);
    belief.means[x] = std::max(0.0, m + change);
    within += belief.means[x] * spread.within;
    variance += belief.means[x] * spread.variance;
  }
  // A Dirichlet distribution with the total t has E[p (1 - p)] = t var(p). Where there is no variance, all
  // rests on one state that the observation confirms.
  belief.experience = variance > 0.0 ? within / variance : e + certainty;
}

bool take_back(Dirichlet& belief, size_t state) {
  const double e = belief.experience, left = e - 1.0;
  const double count = e * belief.means[state] - 1.0;
  if (!(left > 0.0) || count < -kCountTolerance) return false;
  double total = std::max(0.0, count);
  for (size_t x = 0; x < belief.means.size(); ++x)
    if (x != state) total += e * belief.means[x];
  if (!(total > 0.0)) return false;
  for (size_t x = 0; x < belief.means.size(); ++x)
    belief.means[x] = (x == state ? std::max(0.0, count) : e * belief.means[x]) / total;
  belief.experience = left;
  return true;
}

}  // namespace tv

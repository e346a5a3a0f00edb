// Likelihood-ratio and chi-square tests between discrete nodes, and likelihood-ratio tests of conditional
// Gaussian distributions where continuous nodes take part.
#include "learn/structure/independence/independence.h"

#include <algorithm>
#include <limits>

#include "expr/special_functions.h"

namespace tv {
namespace {

// Both are not negative; the greatest number there is where the sum is beyond.
int64_t sum_of(int64_t a, int64_t b) noexcept {
  int64_t sum = 0;
  return __builtin_add_overflow(a, b, &sum) ? std::numeric_limits<int64_t>::max() : sum;
}

}  // namespace

bool IndependenceTester::are_too_few(double degrees) const noexcept {
  return columns_.total() < settings_.cases_per_degree * degrees;
}

TestResult IndependenceTester::finished(TestResult result) const {
  result.statistic = std::max(result.statistic, 0.0);
  Tails tails;
  if (result.degrees <= 0)
    result.p_value = 1.0;
  else if (gamma_tails(result.degrees / 2, result.statistic / 2, tails))
    result.p_value = tails.above;
  else
    result.is_refused = true;
  return result;
}

TestResult IndependenceTester::test(uint32_t a, uint32_t b, std::span<const uint32_t> given) {
  bool are_discrete = columns_.is_discrete(a) && columns_.is_discrete(b);
  for (const uint32_t node : given) are_discrete = are_discrete && columns_.is_discrete(node);
  return are_discrete ? test_states(a, b, given) : test_with_values(a, b, given);
}

TestResult IndependenceTester::test_states(uint32_t a, uint32_t b, std::span<const uint32_t> given) {
  const size_t states_a = columns_.occurring(a), states_b = columns_.occurring(b);
  TestResult result;
  if (states_a < 2 || states_b < 2) return result;
  double degrees = static_cast<double>((states_a - 1) * (states_b - 1));
  for (const uint32_t node : given) degrees *= static_cast<double>(columns_.occurring(node));
  if (are_too_few(degrees)) {
    result.is_refused = true;
    return result;
  }
  const uint32_t pair[] = {a, b};
  const StateCounts counts = counter_.count(given, pair);
  const bool is_chi_squared = settings_.test == tv_independence_test_chi_squared;
  int64_t sum = 0;
  sums_a_.resize(states_a);
  sums_b_.resize(states_b);
  for (size_t c = 0; c < counts.configurations(); ++c) {
    const std::span<const double> cells = counts.configuration(c);
    std::fill(sums_a_.begin(), sums_a_.end(), 0.0);
    std::fill(sums_b_.begin(), sums_b_.end(), 0.0);
    for (size_t i = 0; i < states_a; ++i)
      for (size_t j = 0; j < states_b; ++j) {
        sums_a_[i] += cells[i * states_b + j];
        sums_b_[j] += cells[i * states_b + j];
      }
    double total = 0.0, occurring_a = 0.0, occurring_b = 0.0;
    for (const double n : sums_a_) total += n, occurring_a += n > 0;
    for (const double n : sums_b_) occurring_b += n > 0;
    if (!(total > 0)) continue;
    result.cases += total;
    result.degrees += (occurring_a - 1) * (occurring_b - 1);
    if (is_chi_squared) {
      for (size_t i = 0; i < states_a; ++i)
        for (size_t j = 0; j < states_b; ++j) {
          const double expected = sums_a_[i] * sums_b_[j] / total, cell = cells[i * states_b + j];
          if (expected > 0)
            sum = sum_of(sum, logarithms_.in_units((cell - expected) * (cell - expected) / expected));
        }
      continue;
    }
    for (const double n : cells) sum += logarithms_(n);
    for (const double n : sums_a_) sum -= logarithms_(n);
    for (const double n : sums_b_) sum -= logarithms_(n);
    sum += logarithms_(total);
  }
  result.statistic = (is_chi_squared ? 1.0 : 2.0) * logarithms_.value(sum);
  return finished(result);
}

// Grouping the cases by configuration of the discrete nodes that are given, and more finely by the one of the
// two that is discrete, the other one has a linear regression on the continuous nodes that are given in each
// group. The test is of what the finer groups explain beyond the coarser ones, or where both are continuous,
// of what one adds to the regression of the other. Groups with too few cases for a regression are left out of
// both.
TestResult IndependenceTester::test_with_values(uint32_t a, uint32_t b, std::span<const uint32_t> given) {
  std::vector<uint32_t> discrete, continuous;
  for (const uint32_t node : given) (columns_.is_discrete(node) ? discrete : continuous).push_back(node);
  const double parameters = static_cast<double>(continuous.size()) + 2;  // of a regression
  std::vector<uint32_t> finer = discrete;
  for (const uint32_t node : {a, b}) (columns_.is_discrete(node) ? finer : continuous).push_back(node);
  const bool is_regressed = finer.size() == discrete.size();
  const std::vector<Moments>& groups = moments_.count(finer, continuous);
  TestResult result;
  std::vector<double> variances;
  size_t coarser_count = 0;
  const std::vector<uint32_t> coarser = moments_.reduced_configurations(discrete, coarser_count);
  std::vector<Moments> pooled(coarser_count, Moments(continuous.size()));
  for (size_t g = 0; g < groups.size(); ++g) {
    double gain = 0.0;
    result.cases += groups[g].cases();
    if (!groups[g].conditional_variances(variances, is_regressed ? &gain : nullptr)) continue;
    const double n = groups[g].cases();
    if (is_regressed) {
      result.statistic += n * std::log1p(gain / variances.back());
      result.degrees += 1;
    } else {
      result.statistic -= n * std::log(variances.back());
      result.degrees += parameters;
      pooled[coarser[g]].add(groups[g]);
    }
  }
  for (const Moments& moments : pooled) {
    if (!moments.conditional_variances(variances)) continue;
    result.statistic += moments.cases() * std::log(variances.back());
    result.degrees -= parameters;
  }
  result.is_refused = are_too_few(std::max(result.degrees, 1.0));
  return result.is_refused ? result : finished(result);
}

}  // namespace tv

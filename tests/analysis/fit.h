// Tests of fit for drawn configurations and values.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <vector>

namespace test {

// How many standard deviations Pearson's statistic lies above its mean. Cells in which fewer than five are
// expected count as one, and what has no weight must not occur.
inline double chi_square_excess(const std::vector<double>& counts, const std::vector<double>& weights) {
  const double all = std::accumulate(counts.begin(), counts.end(), 0.0);
  const double weight = std::accumulate(weights.begin(), weights.end(), 0.0);
  double statistic = 0, freedom = -1, rare = 0, rare_expected = 0;
  const auto add_cell = [&](double count, double expected) {
    statistic += (count - expected) * (count - expected) / expected;
    ++freedom;
  };
  for (size_t i = 0; i < counts.size(); ++i) {
    const double expected = all * weights[i] / weight;
    if (weights[i] == 0)
      EXPECT_EQ(counts[i], 0) << "an impossible configuration";
    else if (expected >= 5)
      add_cell(counts[i], expected);
    else
      rare += counts[i], rare_expected += expected;
  }
  if (rare_expected > 0) add_cell(rare, std::max(rare_expected, 0.5));
  return freedom > 0 ? (statistic - freedom) / std::sqrt(2 * freedom) : 0;
}

// The statistic of Kolmogorov, times the root of the number, for deviates of the standard normal
// distribution: above 2 in one of 1500 samples.
inline double kolmogorov(std::vector<double> deviates) {
  if (deviates.empty()) return 0;
  std::sort(deviates.begin(), deviates.end());
  const double n = static_cast<double>(deviates.size());
  double distance = 0;
  for (size_t i = 0; i < deviates.size(); ++i) {
    const double below = std::erfc(-deviates[i] / std::numbers::sqrt2) / 2;
    distance =
        std::max({distance, static_cast<double>(i + 1) / n - below, below - static_cast<double>(i) / n});
  }
  return distance * std::sqrt(n);
}

}  // namespace test

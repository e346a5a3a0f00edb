// Areas under curves of more points than are kept.
#include <gtest/gtest.h>

#include <algorithm>

#include "predict/measures.h"
#include "support/builders.h"

namespace test {
namespace {

TEST(RocCurve, JoiningNeighboursHardlyMovesTheArea) {
  Generator random(1);
  for (const size_t count : {1000u, 60000u, 700000u}) {
    tv::RocCurve curve;
    std::vector<std::pair<double, bool>> points(count);
    for (auto& [score, is_positive] : points) {
      is_positive = random.chance(0.3);
      score = random.uniform() + (is_positive ? 0.3 : 0.0);
      curve.add(score, is_positive, !is_positive);
    }
    std::sort(points.begin(), points.end());
    double ordered = 0, below = 0;
    for (const auto& [score, is_positive] : points)
      (is_positive ? ordered : below) += is_positive ? below : 1;
    const double exact = ordered / (below * (static_cast<double>(count) - below));
    EXPECT_NEAR(curve.area(), exact, count > 100000 ? 1e-5 : 1e-12) << count;
  }
}

}  // namespace
}  // namespace test

// Arrays that are cut into parts: the numbers, and what is found out about them, are those of the array as a
// whole, wherever in it the largest or the lost entry stands.
#include "tables/kernels/array_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "support/other_ways.h"

namespace {

TEST(LongArrays, PartsFindOutWhatTheWholeDoes) {
  const test::KeptLimits kept;
  tv::limits.array_part = 16;
  std::mt19937 random(11);
  for (size_t round = 0; round < 300; ++round) {
    const size_t size = 1 + random() % 3000;
    SCOPED_TRACE(size);
    std::vector<double> fresh(size);
    std::vector<float> old(size);
    for (double& number : fresh) number = 0.25 + static_cast<double>(random() % 1000) / 1000.0;
    for (float& number : old) number = random() % 3 ? 0.5f : 0.0f;
    fresh[random() % size] = 50.0;
    if (round % 2) {
      const size_t lost = random() % size;
      fresh[lost] = 0.0;
      old[lost] = 0.5f;
    }
    for (const bool divides : {false, true}) {
      std::vector<float> past = old, whole_past = old, ratio(size), whole_ratio(size);
      const tv::ParallelSettings settings = {1, 1 + round % 3};
      const tv::RatioResult found = (divides ? tv::divide_array : tv::take_array)(
          fresh.data(), past.data(), ratio.data(), size, settings);
      const tv::Kernels& kernels = tv::kernels();
      const tv::RatioResult whole = (divides ? kernels.divide : kernels.take)(fresh.data(), whole_past.data(),
                                                                              whole_ratio.data(), size);
      EXPECT_EQ(past, whole_past);
      EXPECT_EQ(ratio, whole_ratio);
      EXPECT_NEAR(found.sum, whole.sum, 1e-12 * whole.sum);
      EXPECT_EQ(found.largest, whole.largest);
      EXPECT_EQ(found.lost_entry, whole.lost_entry);
      tv::scale_array(ratio.data(), size, 0.25, settings);
      for (size_t i = 0; i < size; ++i) ASSERT_EQ(ratio[i], 0.25f * whole_ratio[i]);
    }
    tv::clear_array(fresh.data(), size, {1, 1 + round % 3});
    EXPECT_EQ(static_cast<size_t>(std::count(fresh.begin(), fresh.end(), 0.0)), size);
  }
}

}  // namespace

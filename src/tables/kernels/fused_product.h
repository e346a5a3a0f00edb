// Several factors at once. Multiplying a block by one factor after the other loads and stores it each time;
// here up to three factors meet a block together. The block is taken in runs: as many of its inner dimensions
// as leave each factor either with so few entries that they stay in registers, or with a run of its own.
#pragma once

#include <cstddef>

#include "tables/kernels/kernels.h"
#include "tables/limits.h"

namespace tv {

inline constexpr size_t kMaxFused = 3;
inline constexpr size_t kFormedLevels = 12;  // dimensions of a block

struct FusedProduct {
  size_t count = 0;         // of the factors
  size_t order[kMaxFused];  // their places among the steps: those that run along with the table first
  bool assigns;             // the first one is not multiplied but starts the product
  size_t nest_counts[kMaxFused];
  Dimension nests[kMaxFused][kFormedLevels];

  size_t length;  // of a run; without runs 0
  size_t along;   // so many factors run along with the table
  size_t runs;    // in a block
  size_t levels;  // of the nest outside of runs
  size_t outer[kFormedLevels];
  size_t steps[kMaxFused][kFormedLevels];
  size_t window[kMaxFused];  // from the first to the last entry that a run meets
  alignas(64) int index[kMaxFused][kCapacity.longest_run];  // where in it an entry of the run finds its own
};

// A factor's nest over a contiguous block, and how many indices of its outermost dimension count.
struct FormedNest {
  const Dimension* nest;
  size_t count;
  size_t outermost;
};

// Finds out how `count` factors meet a block, depending on nothing but their nests.
void plan_fused(FusedProduct& fused, const FormedNest* factors, size_t count, bool assigns) noexcept;

}  // namespace tv

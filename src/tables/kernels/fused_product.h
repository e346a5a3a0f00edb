// Fused products. Multiplying a block by one factor after the other loads and stores it each time; here up to
// three factors are multiplied together. The block is divided into vector runs: as many of its inner
// dimensions as leave each factor either with so few entries that they stay in registers (the gather window),
// or contiguous along the run.
#pragma once

#include <cstddef>

#include "tables/kernels/kernels.h"
#include "tables/limits.h"

namespace tv {

inline constexpr size_t kMaxFused = 3;
inline constexpr size_t kFusedLevels = 12;  // dimensions of a block

struct FusedProduct {
  size_t count = 0;         // of the factors
  size_t order[kMaxFused];  // their positions among the steps: contiguous ones first
  bool assigns;             // the first one initialises the product
  size_t nest_counts[kMaxFused];
  Dimension nests[kMaxFused][kFusedLevels];

  size_t length;  // of a run; without runs 0
  size_t along;   // so many factors are contiguous along a run
  size_t runs;    // in a block
  size_t levels;  // of the nest outside of runs
  size_t outer[kFusedLevels];
  size_t steps[kMaxFused][kFusedLevels];
  size_t window[kMaxFused];  // from the first to the last entry that a run gathers
  alignas(64) int index[kMaxFused]
                       [kCapacity.longest_run];  // for each entry of the run, its position in the window
};

// A factor's loop nest over a contiguous block, and how many indices of its outermost dimension count.
struct FactorNest {
  const Dimension* nest;
  size_t count;
  size_t outermost;
};

// Determines the runs of `count` factors over a block, depending on nothing but their nests.
void plan_fused(FusedProduct& fused, const FactorNest* factors, size_t count, bool assigns) noexcept;

}  // namespace tv

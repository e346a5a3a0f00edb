// A pass over the configurations of a clique in double precision or, where that is not enough, in numbers of
// any size: the product of all operands is formed block by block and added to (or compared with) every
// target.
#pragma once

#include <span>
#include <vector>

#include "inference/extended/wide_array.h"

namespace tv {

// Strides are given for each dimension of the clique, outermost first; 0 where the array lacks it.
struct WideOperand {
  const WideArray* numbers = nullptr;
  std::vector<size_t> strides;
};

struct WideTarget {
  WideArray* totals = nullptr;  // of the right size
  std::vector<size_t> strides;
};

// Computes all accumulators, in doubles where no product leaves their range.
void run_wide_pass(std::span<const size_t> counts, std::span<const WideOperand> operands,
                   std::span<const WideTarget> targets, bool maximizes);

}  // namespace tv

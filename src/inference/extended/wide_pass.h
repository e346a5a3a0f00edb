// A pass over the configurations of a clique in double precision or, where that is not enough, in numbers of
// any size: the product of all operands is formed block by block and added to (or compared with) every
// target.
#pragma once

#include <span>
#include <utility>
#include <vector>

#include "inference/extended/wide_array.h"
#include "tables/kernels/index_map.h"

namespace tv {

// Where the configurations of a clique are in an array: strides for each dimension of the clique, outermost
// first, 0 where the array lacks it; of a sparse clique, whose only dimension are its entries, a list.
struct WideMap {
  WideMap() = default;
  WideMap(std::vector<size_t> along) : strides(std::move(along)) {}
  WideMap(const PositionList& positions) : list(&positions) {}

  std::vector<size_t> strides;
  const PositionList* list = nullptr;
};

struct WideOperand {
  const WideArray* numbers = nullptr;
  WideMap map;
};

struct WideTarget {
  WideArray* totals = nullptr;  // of the right size
  WideMap map;
};

// Computes all accumulators, in doubles where no product leaves their range.
void run_wide_pass(std::span<const size_t> counts, std::span<const WideOperand> operands,
                   std::span<const WideTarget> targets, bool maximizes);

}  // namespace tv

// Heaviest branchings: of the links that a graph may have, some that give no node two parents and close no
// cycle, and weigh most together.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tv {

// Weights are compared by rank first. Whole numbers, so that differences of sums are exact.
struct BranchWeight {
  int64_t rank = 0, gain = 0;

  auto operator<=>(const BranchWeight&) const = default;
  BranchWeight operator-(const BranchWeight& other) const noexcept {
    return {rank - other.rank, gain - other.gain};
  }
  BranchWeight& operator+=(const BranchWeight& other) noexcept {
    rank += other.rank;
    gain += other.gain;
    return *this;
  }
};

// The links that there may be, each with a weight that is not negative.
struct PossibleLinks {
  bool (*find)(const void* context, size_t from, size_t to, BranchWeight& weight);
  const void* context;

  bool operator()(size_t from, size_t to, BranchWeight& weight) const {
    return find(context, from, to, weight);
  }
};

// By node its parent, kNone for roots. Among links of the same weight, those from lower numbers are taken.
std::vector<size_t> heaviest_branching(size_t size, const PossibleLinks& links);

}  // namespace tv

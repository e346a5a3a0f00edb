// What the cases add up to, over blocks of so many of them that are added in a fixed binary tree. Siblings
// are merged as soon as both are there, and what is left at the end is added from the first to the last: so
// sums have the same bits however the blocks were divided among threads and machines, and in whatever order
// their parts came together.
#pragma once

#include <cstdint>

#include "learn/families.h"

namespace tv {

// Over the blocks of one node of the tree.
struct BlockSums {
  uint64_t first = 0;  // a block, a multiple of their number
  uint64_t level = 0;  // there are 2 to that power
  uint64_t cases = 0, incomplete = 0;
  double weight = 0.0;  // counts of the cases
  double log_likelihood = 0.0;
  std::vector<FamilyCounts> counts;  // by family

  uint64_t end() const noexcept { return first + (uint64_t{1} << level); }
  void add(const BlockSums& other) noexcept;  // of blocks behind these
};

class BlockTree {
 public:
  // Of blocks behind all that are there.
  void append(BlockSums&& sums);

  // Adds the blocks of another tree. False, and nothing changes, if some are there already.
  bool add(const BlockTree& other);

  // Over all blocks; of none the counts are an empty list.
  BlockSums total() const&;
  BlockSums total() &&;

  const std::vector<BlockSums>& nodes() const noexcept { return nodes_; }  // in the order of their blocks

 private:
  void merge_last() noexcept;

  std::vector<BlockSums> nodes_;
};

}  // namespace tv

// A walk over the blocks of a shape, for passes that store no table.
#pragma once

#include <algorithm>
#include <span>
#include <vector>

#include "tables/kernels/index_map.h"

namespace tv {

// Visits the blocks of a shape in order, tracking the offset of each one in the tables of the maps.
class BlockWalk {
 public:
  BlockWalk(const Shape& shape, std::span<const IndexMap* const> maps)
      : shape_(shape), maps_(maps), offsets_(maps.size(), 0) {
    const bool is_cut = shape.outer < shape.dimensions && shape.part < shape.counts[shape.outer];
    levels_ = shape.outer + is_cut;
  }

  // How many indices of the first dimension within the block lie in it.
  size_t part() const noexcept {
    if (levels_ == shape_.outer) return shape_.part;
    return std::min<size_t>(shape_.part, shape_.counts[shape_.outer] - position_[shape_.outer]);
  }
  // How many entries it has.
  size_t size() const noexcept {
    if (shape_.outer == shape_.dimensions) return 1;
    size_t within = part();
    for (size_t d = shape_.outer + 1; d < shape_.dimensions; ++d) within *= shape_.counts[d];
    return within;
  }
  size_t offset(size_t map) const noexcept { return offsets_[map]; }

  bool next() noexcept {
    for (size_t d = levels_; d-- > 0;) {
      const size_t by = d == shape_.outer ? shape_.part : 1;
      if (position_[d] + by < shape_.counts[d]) {
        position_[d] += by;
        for (size_t m = 0; m < offsets_.size(); ++m) offsets_[m] += by * maps_[m]->steps[d];
        return true;
      }
      for (size_t m = 0; m < offsets_.size(); ++m) offsets_[m] -= position_[d] * maps_[m]->steps[d];
      position_[d] = 0;
    }
    return false;
  }

 private:
  const Shape& shape_;
  std::span<const IndexMap* const> maps_;
  size_t levels_;
  std::vector<size_t> offsets_;
  size_t position_[64] = {};
};

// The map of a block that is cut off at the end of a dimension.
struct PartIndexMap : IndexMap {
  PartIndexMap(const IndexMap& whole, size_t of, size_t part) noexcept : IndexMap(whole) {
    if (part == of) return;
    std::copy_n(whole.inner, whole.inner_count, nest);
    nest[0].count = nest[0].count / of * part;
    inner = nest;
  }
  Dimension nest[64];
};

}  // namespace tv

#include "tables/kernels/double_pass.h"

#include <algorithm>

#include "tables/block.h"
#include "tables/kernels/double_loops.h"
#include "tables/kernels/sparse_pass.h"

namespace tv {
namespace {

// Visits the blocks of a shape in order, tracking each step's offset in its operand or target.
class DoubleWalk {
 public:
  DoubleWalk(const Shape& shape, const Step* steps, size_t count)
      : shape_(shape), steps_(steps), offsets_(count, 0) {
    const bool is_cut = shape.outer < shape.dimensions && shape.part < shape.counts[shape.outer];
    levels_ = shape.outer + is_cut;
  }

  // How many indices of the first dimension within the block lie in it.
  size_t part() const noexcept {
    if (levels_ == shape_.outer) return shape_.part;
    return std::min<size_t>(shape_.part, shape_.counts[shape_.outer] - position_[shape_.outer]);
  }
  size_t offset(size_t step) const noexcept { return offsets_[step]; }

  bool next() noexcept {
    for (size_t d = levels_; d-- > 0;) {
      const size_t by = d == shape_.outer ? shape_.part : 1;
      if (position_[d] + by < shape_.counts[d]) {
        position_[d] += by;
        for (size_t s = 0; s < offsets_.size(); ++s) offsets_[s] += by * steps_[s].map->steps[d];
        return true;
      }
      for (size_t s = 0; s < offsets_.size(); ++s) offsets_[s] -= position_[d] * steps_[s].map->steps[d];
      position_[d] = 0;
    }
    return false;
  }

 private:
  const Shape& shape_;
  const Step* steps_;
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

void run_step(const Step& step, const IndexMap& map, double* block, size_t offset) noexcept {
  switch (step.operation) {
    case StepKind::assign:
    case StepKind::multiply:
      return run_loops<Multiply<float>>(map, block, step.operand + offset);
    case StepKind::sum:
      return run_loops<Sum>(map, block, step.target + offset);
    case StepKind::max:
      return run_loops<Maximum>(map, block, step.target + offset);
  }
}

}  // namespace

void run_double_pass(const Shape& shape, const Step* steps, size_t count) {
  if (shape.is_sparse()) return run_sparse_double_pass(shape, steps, count);
  Block<double> block;
  block.allocate_uninitialized(std::min(shape.size, kCapacity.block));
  DoubleWalk walk(shape, steps, count);
  do {
    std::fill(block.begin(), block.end(), 1.0);
    for (size_t s = 0; s < count; ++s)
      run_step(steps[s], PartIndexMap(*steps[s].map, shape.part, walk.part()), block.data(), walk.offset(s));
  } while (walk.next());
}

}  // namespace tv

#include "tables/kernels/double_pass.h"

#include <algorithm>

#include "tables/block.h"
#include "tables/kernels/block_walk.h"
#include "tables/kernels/double_loops.h"
#include "tables/kernels/sparse_pass.h"

namespace tv {
namespace {

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
  std::vector<const IndexMap*> maps(count);
  std::transform(steps, steps + count, maps.begin(), [](const Step& step) { return step.map; });
  BlockWalk walk(shape, maps);
  do {
    std::fill(block.begin(), block.end(), 1.0);
    for (size_t s = 0; s < count; ++s)
      run_step(steps[s], PartIndexMap(*steps[s].map, shape.part, walk.part()), block.data(), walk.offset(s));
  } while (walk.next());
}

}  // namespace tv

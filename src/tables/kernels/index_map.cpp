// The strides of one table along the dimensions of another.

#include "tables/kernels/index_map.h"

#include <algorithm>

namespace tv {

void measure_whole_blocks(Shape& shape) noexcept {
  size_t within = 1;
  shape.outer = shape.dimensions;
  while (shape.outer > 0 && within * shape.counts[shape.outer - 1] <= limits.block)
    within *= shape.counts[--shape.outer];
  shape.part = shape.outer < shape.dimensions ? static_cast<uint32_t>(shape.counts[shape.outer]) : 1;
  shape.size = within;
  for (size_t d = 0; d < shape.outer; ++d) shape.size *= shape.counts[d];
}

void measure_shape(Shape& shape) noexcept {
  measure_whole_blocks(shape);
  size_t within = 1;
  for (size_t d = shape.outer; d < shape.dimensions; ++d) within *= shape.counts[d];
  if (shape.outer == 0 || within * 2 > limits.block) return;
  // Blocks along the next dimension of about the same size.
  const size_t states = shape.counts[--shape.outer];
  const size_t most = limits.block / within, parts = (states + most - 1) / most;
  shape.part = static_cast<uint32_t>((states + parts - 1) / parts);
}

constexpr size_t kNothing = static_cast<size_t>(-1);

void finish_index_map(IndexMap& map, const Shape& shape) noexcept {
  Dimension* const inner = map.inner;
  size_t count = 0, stride = 1, other_size = 1;
  size_t following = kNothing;  // the stride of the next dimension if it continues the last one
  // From the innermost dimension outwards; the nest is reversed at the end.
  for (size_t d = shape.dimensions; d-- > 0;) {
    const size_t step = map.steps[d], states = shape.counts[d];
    if (step) other_size *= states;
    if (d >= shape.outer) {
      const size_t within = d == shape.outer ? shape.part : states;
      if (step == following)
        inner[count - 1].count *= within;
      else
        inner[count++] = {within, stride, step};
      following = step * within;  // 0 after a dimension that the other table lacks
    }
    stride *= states;
  }
  if (count > 1) std::reverse(inner, inner + count);
  map.inner_count = count;
  map.other_size = other_size;
}

void map_dimension(IndexMap& map, const Shape& shape, size_t dimension) noexcept {
  std::fill_n(map.steps, shape.dimensions, 0);
  const bool single = dimension >= shape.dimensions;
  if (!single) map.steps[dimension] = 1;
  if (shape.outer > 0 || shape.size > limits.block) return finish_index_map(map, shape);
  size_t before = 1, after = 1;
  for (size_t d = 0; d < shape.dimensions; ++d) (d < dimension ? before : after) *= shape.counts[d];
  map.other_size = single ? 1 : shape.counts[dimension];
  if (!single) after /= map.other_size;
  size_t count = 0;
  if (before > 1) map.inner[count++] = {before, shape.size / before, 0};
  if (!single) map.inner[count++] = {map.other_size, after, 1};
  if (after > 1) map.inner[count++] = {after, 1, 0};
  map.inner_count = count;
}

}  // namespace tv

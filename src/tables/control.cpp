// How index spaces meet.

#include "tables/control.h"

#include <algorithm>

namespace tv {

void measure_shape(Shape& shape) noexcept {
  size_t within = 1;
  shape.outer = shape.dimensions;
  while (shape.outer > 0 && within * shape.counts[shape.outer - 1] <= kBlockSize)
    within *= shape.counts[--shape.outer];
  shape.part = shape.outer < shape.dimensions ? shape.counts[shape.outer] : 1;
  shape.size = within;
  for (size_t d = 0; d < shape.outer; ++d) shape.size *= shape.counts[d];
  if (shape.outer == 0 || within * 2 > kBlockSize) return;
  // Blocks along the next dimension of about the same size.
  const size_t states = shape.counts[--shape.outer];
  const size_t most = kBlockSize / within, parts = (states + most - 1) / most;
  shape.part = (states + parts - 1) / parts;
}

void finish_control(Control& control, const Shape& shape) noexcept {
  size_t count = 0, stride = 1;
  control.other_size = 1;
  // From the innermost dimension outwards; the nest is put into order at the end.
  for (size_t d = shape.dimensions; d-- > 0;) {
    const size_t step = control.steps[d];
    if (step) control.other_size *= shape.counts[d];
    if (d >= shape.outer) {
      const size_t within = d == shape.outer ? shape.part : shape.counts[d];
      Dimension* last = count ? &control.inner[count - 1] : nullptr;
      if (last && step == last->stride2 * last->count && (step == 0) == (last->stride2 == 0))
        last->count *= within;
      else
        control.inner[count++] = {within, stride, step};
    }
    stride *= shape.counts[d];
  }
  std::reverse(control.inner, control.inner + count);
  control.inner_count = count;
}

}  // namespace tv

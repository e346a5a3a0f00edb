// Controls and the passes that run under them.

#include "tables/control.h"

#include <algorithm>

#include "tables/parallel.h"

namespace tv {
namespace {

constexpr size_t kStepsPerPass = kMostFormingSteps;  // longer lists are run in several passes

void run_nest(const Kernels& kernels, const Step& step, const Dimension* nest, size_t count, float* table,
              size_t offset) noexcept {
  switch (step.operation) {
    case Operation::assign:
      return kernels.assign(nest, count, table, step.operand + offset);
    case Operation::multiply:
      return kernels.multiply(nest, count, table, step.operand + offset);
    case Operation::sum:
      return kernels.sum(nest, count, table, step.target + offset);
    case Operation::max:
      return kernels.max(nest, count, table, step.target + offset);
  }
}

void run_block(const Kernels& kernels, const Step& step, float* table, size_t offset) noexcept {
  run_nest(kernels, step, step.control->inner, step.control->inner_count, table, offset);
}

// The last block along a dimension that is cut into parts has `rest` indices of it instead of `part`.
void run_rest(const Kernels& kernels, const Step& step, size_t part, size_t rest, float* table,
              size_t offset) noexcept {
  Dimension nest[64];
  std::copy_n(step.control->inner, step.control->inner_count, nest);
  nest[0].count = nest[0].count / part * rest;
  run_nest(kernels, step, nest, step.control->inner_count, table, offset);
}

size_t parts_of(const Shape& shape) noexcept {
  return shape.outer < shape.dimensions ? (shape.counts[shape.outer] + shape.part - 1) / shape.part : 1;
}

// Walks the blocks of a table in order, keeping every step's offset into its other table.
class BlockWalk {
 public:
  BlockWalk(const Shape& shape, const Step* steps, size_t count, size_t first_block) noexcept
      : shape_(shape), steps_(steps), count_(count) {
    parts_ = parts_of(shape);
    next_part_ = first_block % parts_;
    first_block /= parts_;
    for (size_t s = 0; s < count; ++s) offsets_[s] = parts_ > 1 ? next_part_ * part_step(s) : 0;
    for (size_t d = shape.outer; d-- > 0;) {
      position_[d] = first_block % shape.counts[d];
      first_block /= shape.counts[d];
      for (size_t s = 0; s < count; ++s) offsets_[s] += position_[d] * steps[s].control->steps[d];
    }
  }

  size_t offset(size_t step) const noexcept { return offsets_[step]; }
  bool is_last_part() const noexcept { return next_part_ + 1 == parts_; }

  void next() noexcept {
    if (parts_ > 1) {
      const bool wraps = ++next_part_ == parts_;
      if (wraps) next_part_ = 0;
      for (size_t s = 0; s < count_; ++s)
        offsets_[s] += wraps ? part_step(s) - parts_ * part_step(s) : part_step(s);
      if (!wraps) return;
    }
    for (size_t d = shape_.outer; d-- > 0;) {
      const bool wraps = ++position_[d] == shape_.counts[d];
      for (size_t s = 0; s < count_; ++s) {
        const size_t step = steps_[s].control->steps[d];
        offsets_[s] += wraps ? step - shape_.counts[d] * step : step;
      }
      if (!wraps) return;
      position_[d] = 0;
    }
  }

 private:
  size_t part_step(size_t step) const noexcept {
    return shape_.part * steps_[step].control->steps[shape_.outer];
  }

  const Shape& shape_;
  const Step* steps_;
  size_t count_;
  size_t parts_;
  size_t next_part_;
  size_t offsets_[kStepsPerPass];
  size_t position_[64];
};

bool writes_target(const Step& step) noexcept { return step.target != nullptr; }

struct PassTask {
  const Shape& shape;
  float* table;
  const Step* steps;
  size_t count;
  size_t units;

  static void run(void* context, size_t begin, size_t end) {
    const PassTask& task = *static_cast<PassTask*>(context);
    run_pass(task.shape, task.table, task.steps, task.count, task.units, begin, end);
  }
};

void run_split(const Shape& shape, float* table, const Step* steps, size_t count,
               const ParallelSettings& settings) {
  const size_t units = splittable_units(shape, steps, count);
  PassTask task = {shape, table, steps, count, units};
  run_on_threads(units, number_of_threads(units, shape.size / units, settings), PassTask::run, &task);
}

}  // namespace

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

size_t splittable_units(const Shape& shape, const Step* steps, size_t count) noexcept {
  size_t units = 1;
  for (size_t d = 0; d < shape.outer; ++d) {
    for (size_t s = 0; s < count; ++s)
      if (writes_target(steps[s]) && steps[s].control->steps[d] == 0) return units;
    units *= shape.counts[d];
  }
  return units;
}

void run_pass(const Shape& shape, float* table, const Step* steps, size_t count, size_t units, size_t begin,
              size_t end) noexcept {
  const Kernels& kernels = tv::kernels();
  alignas(64) float buffer[kBlockSize];
  const bool stored = table != nullptr;
  if (!stored) table = buffer;
  const size_t parts = parts_of(shape);
  if (shape.outer == 0 && parts == 1) {  // a single block: nothing to walk
    for (size_t s = 0; s < count; ++s) run_block(kernels, steps[s], table, 0);
    return;
  }
  size_t blocks = parts, within = 1;
  for (size_t d = 0; d < shape.outer; ++d) blocks *= shape.counts[d];
  for (size_t d = shape.outer + 1; d < shape.dimensions; ++d) within *= shape.counts[d];
  const size_t states = shape.outer < shape.dimensions ? shape.counts[shape.outer] : 1;
  const size_t rest = states - (parts - 1) * shape.part;
  const size_t blocks_per_unit = blocks / units;
  if (stored) table += begin * (shape.size / units);
  for (; count > 0; count -= std::min(count, kStepsPerPass), steps += kStepsPerPass) {
    const size_t here = std::min(count, kStepsPerPass);
    BlockWalk walk(shape, steps, here, begin * blocks_per_unit);
    float* block = table;
    for (size_t b = begin * blocks_per_unit; b < end * blocks_per_unit; ++b, walk.next()) {
      const size_t part = walk.is_last_part() ? rest : shape.part;
      if (part == shape.part)
        for (size_t s = 0; s < here; ++s) run_block(kernels, steps[s], block, walk.offset(s));
      else
        for (size_t s = 0; s < here; ++s)
          run_rest(kernels, steps[s], shape.part, part, block, walk.offset(s));
      if (stored) block += part * within;
    }
  }
}

void run_pass(const Shape& shape, float* table, const Step* steps, size_t count,
              const ParallelSettings& settings) {
  if (settings.concurrency_level <= 1 || shape.size < settings.grain_size)
    return run_pass(shape, table, steps, count, 1, 0, 1);
  if (!table) return run_split(shape, table, steps, count, settings);
  // Operations on the table itself go together; a target that would hold back the others goes alone.
  for (size_t s = 0; s < count;) {
    size_t together = 1;
    while (s + together < count && !writes_target(steps[s + together])) ++together;
    if (s + together < count && splittable_units(shape, steps + s, together + 1) > 1) ++together;
    run_split(shape, table, steps + s, together, settings);
    s += together;
  }
}

}  // namespace tv

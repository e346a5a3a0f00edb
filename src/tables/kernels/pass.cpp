// Passes: the walk over the blocks of a table, and splitting it over threads.
//
// A pass is split along dimensions that every target has, so that each thread writes its own entries. Where
// there is none, it is split along one that few accumulators lack: each part sums into private accumulators,
// which are added in order. That is done for any number of threads, so that the number never changes a bit.

#include <algorithm>

#include "network/progress.h"
#include "tables/kernels/fused_product.h"
#include "tables/kernels/index_map.h"
#include "tables/kernels/parallel.h"
#include "tables/kernels/sparse_pass.h"

namespace tv {
namespace {

void run_nest(const Kernels& kernels, const Step& step, const Dimension* nest, size_t count, float* table,
              size_t offset) noexcept {
  switch (step.operation) {
    case StepKind::assign:
      return kernels.assign(nest, count, table, step.operand + offset);
    case StepKind::multiply:
      return kernels.multiply(nest, count, table, step.operand + offset);
    case StepKind::sum:
      return kernels.sum(nest, count, table, step.target + offset);
    case StepKind::max:
      return kernels.max(nest, count, table, step.target + offset);
  }
}

void run_block(const Kernels& kernels, const Step& step, float* table, size_t offset) noexcept {
  run_nest(kernels, step, step.map->inner, step.map->inner_count, table, offset);
}

// The last block along a dimension that is cut into parts has `rest` indices of it instead of `part`.
void run_rest(const Kernels& kernels, const Step& step, size_t part, size_t rest, float* table,
              size_t offset) noexcept {
  Dimension nest[64];
  std::copy_n(step.map->inner, step.map->inner_count, nest);
  nest[0].count = nest[0].count / part * rest;
  run_nest(kernels, step, nest, step.map->inner_count, table, offset);
}

size_t parts_of(const Shape& shape) noexcept {
  return shape.outer < shape.dimensions ? (shape.counts[shape.outer] + shape.part - 1) / shape.part : 1;
}

// How many indices a walk has along a dimension; for the one that is cut, how many parts.
size_t count_along(const Shape& shape, size_t dimension) noexcept {
  return dimension == shape.outer ? parts_of(shape) : shape.counts[dimension];
}

// Walks the blocks of a table in order, or those with some indices of its dimensions, tracking the position
// in the table and every step's offset in its other table.
class BlockWalk {
 public:
  BlockWalk(const Shape& shape, const Step* steps, size_t count) noexcept
      : shape_(shape), steps_(steps), count_(count), levels_(shape.outer + (parts_of(shape) > 1)) {
    size_t stride = 1;
    for (size_t d = shape.dimensions; d-- > size_t{shape.outer} + 1;) stride *= shape.counts[d];
    for (size_t d = std::min<size_t>(shape.outer + 1, shape.dimensions); d-- > 0; stride *= shape.counts[d]) {
      strides_[d] = stride;
      position_[d] = first_[d] = 0;
      end_[d] = d < levels_ ? count_along(shape, d) : 1;
    }
    std::fill_n(offsets_, count, 0);
  }

  // Before the walk: restricts it to these indices of a dimension.
  void confine(size_t dimension, size_t begin, size_t end) noexcept {
    position_[dimension] = first_[dimension] = begin;
    end_[dimension] = end;
    advance(dimension, static_cast<ptrdiff_t>(begin));
  }

  size_t place() const noexcept { return place_; }
  size_t offset(size_t step) const noexcept { return offsets_[step]; }
  size_t part() const noexcept {
    if (levels_ == shape_.outer) return shape_.part;
    return std::min<size_t>(shape_.part, shape_.counts[shape_.outer] - position_[shape_.outer] * shape_.part);
  }

  bool next() noexcept {
    for (size_t d = levels_; d-- > 0;) {
      if (++position_[d] < end_[d]) {
        advance(d, 1);
        return true;
      }
      advance(d, 1 + static_cast<ptrdiff_t>(first_[d]) - static_cast<ptrdiff_t>(position_[d]));
      position_[d] = first_[d];
    }
    return false;
  }

 private:
  void advance(size_t dimension, ptrdiff_t by) noexcept {
    const size_t times = static_cast<size_t>(by) * (dimension == shape_.outer ? shape_.part : 1);
    place_ += times * strides_[dimension];
    for (size_t s = 0; s < count_; ++s) offsets_[s] += times * steps_[s].map->steps[dimension];
  }

  const Shape& shape_;
  const Step* steps_;
  size_t count_;
  size_t levels_;  // dimensions that are walked
  size_t place_ = 0;
  size_t offsets_[kMaxFusedSteps];
  size_t strides_[64], position_[64], first_[64], end_[64];
};

// The first steps of a pass, as far as they assign or multiply, fused.
struct FusedProducts {
  static constexpr size_t kMost = 3;
  size_t count = 0;
  size_t steps = 0;  // so many of them
  FusedProduct list[kMost];

  // For blocks with so many indices of the first dimension within.
  void plan(const Shape& shape, size_t part, const Step* of_pass, size_t of_steps) noexcept {
    const size_t size = part * entries_of_part(shape);
    count = steps = 0;
    if (size < limits.least_fused) return;
    while (count < kMost && steps < of_steps && !of_pass[steps].target) {
      FactorNest nests[kMaxFused];
      const bool assigns = of_pass[steps].operation == StepKind::assign;
      size_t n = 0;
      for (; n < kMaxFused && steps + n < of_steps && !of_pass[steps + n].target; ++n) {
        if (n > 0 && of_pass[steps + n].operation == StepKind::assign) break;
        const IndexMap& map = *of_pass[steps + n].map;
        nests[n] = {map.inner, map.inner_count, map.inner[0].count / shape.part * part};
      }
      plan_fused(list[count++], nests, n, assigns);
      steps += n;
    }
  }

  // Forms a block; `operand` gives the address where step s begins.
  template <class Operand>
  void run(const Kernels& kernels, float* block, Operand operand) const noexcept {
    size_t first = 0;
    for (size_t i = 0; i < count; ++i) {
      const float* others[kMaxFused];
      for (size_t f = 0; f < list[i].count; ++f) others[f] = operand(first + list[i].order[f]);
      kernels.form(list[i], block, others);
      first += list[i].count;
    }
  }

 private:
  static size_t entries_of_part(const Shape& shape) noexcept {
    size_t size = 1;
    for (size_t d = shape.outer + 1; d < shape.dimensions; ++d) size *= shape.counts[d];
    return size;
  }
};

// Computed once for all blocks of a pass: the fused products of whole blocks and of the last one along a
// dimension that is cut into parts.
struct BlockPlan {
  FusedProducts whole, rest;

  BlockPlan(const Shape& shape, const Step* steps, size_t count) noexcept {
    whole.plan(shape, shape.part, steps, count);
    const size_t left = shape.outer < shape.dimensions ? shape.counts[shape.outer] % shape.part : 0;
    if (left) rest.plan(shape, left, steps, count);
  }
};

// Runs the steps over the blocks of a walk. Without a table every block is formed in a buffer.
void run_blocks(const Shape& shape, float* table, const Step* steps, size_t count, const BlockPlan& plan,
                BlockWalk& walk, ProgressMeter* progress) noexcept {
  const Kernels& kernels = tv::kernels();
  alignas(64) float buffer[kCapacity.block];
  do {
    float* block = table ? table + walk.place() : buffer;
    const size_t part = walk.part();
    const FusedProducts& fused_products = part == shape.part ? plan.whole : plan.rest;
    fused_products.run(kernels, block, [&](size_t s) { return steps[s].operand + walk.offset(s); });
    if (part == shape.part)
      for (size_t s = fused_products.steps; s < count; ++s)
        run_block(kernels, steps[s], block, walk.offset(s));
    else
      for (size_t s = fused_products.steps; s < count; ++s)
        run_rest(kernels, steps[s], shape.part, part, block, walk.offset(s));
    if (progress) progress->look_in(count * limits.block);
  } while (walk.next());
}

// Calls add(row, target) for every row along the innermost dimension of a short table, in their order.
template <class Add>
void for_each_row(const IndexMap& map, size_t length, const float* row, double* target, Add add) noexcept {
  constexpr Dimension single = {1, 1, 0};
  const size_t count = map.inner_count;
  const Dimension middle = count > 1 ? map.inner[count - 2] : single;
  const size_t digits = count > 2 ? count - 2 : 0;
  size_t position[kCapacity.short_table];
  std::fill_n(position, digits, 0);
  for (;;) {
    for (size_t i = 0; i < middle.count; ++i, row += length) add(row, target + i * middle.stride2);
    for (size_t d = digits;;) {
      if (d == 0) return;
      const Dimension& dimension = map.inner[--d];
      target += dimension.stride2;
      if (++position[d] < dimension.count) break;
      target -= dimension.count * dimension.stride2;
      position[d] = 0;
    }
  }
}

// Sums the entries of a short table one after the other. Most rows have two entries.
void sum_in_order(const IndexMap& map, const float* table, double* target) noexcept {
  constexpr Dimension single = {1, 1, 0};
  const Dimension inner = map.inner_count > 0 ? map.inner[map.inner_count - 1] : single;
  const size_t n = inner.count, step = inner.stride2;
  if (n == 2)
    for_each_row(map, 2, table, target, [step](const float* x, double* y) {
      y[0] += static_cast<double>(x[0]);
      y[step] += static_cast<double>(x[1]);
    });
  else if (step == 0)
    for_each_row(map, n, table, target, [n](const float* x, double* y) {
      double total = *y;
      for (size_t i = 0; i < n; ++i) total += static_cast<double>(x[i]);
      *y = total;
    });
  else if (step == 1)
    for_each_row(map, n, table, target, [n](const float* x, double* y) {
      for (size_t i = 0; i < n; ++i) y[i] += static_cast<double>(x[i]);
    });
  else
    for_each_row(map, n, table, target, [n, step](const float* x, double* y) {
      for (size_t i = 0; i < n; ++i) y[i * step] += static_cast<double>(x[i]);
    });
}

void run_short(float* table, const Step* steps, size_t count) noexcept {
  const Kernels& kernels = tv::kernels();
  alignas(64) float buffer[kCapacity.short_table];
  for (size_t s = 0; s < count; ++s) {
    if (steps[s].operation == StepKind::sum)
      sum_in_order(*steps[s].map, table ? table : buffer, steps[s].target);
    else
      run_block(kernels, steps[s], table ? table : buffer, 0);
  }
}

void run_single_block(float* table, const Step* steps, size_t count) noexcept {
  const Kernels& kernels = tv::kernels();
  alignas(64) float buffer[kCapacity.least_fused];
  for (size_t s = 0; s < count; ++s) run_block(kernels, steps[s], table ? table : buffer, 0);
}

// Functions with large frames are not inlined, so that passes over small tables do without them.
[[gnu::noinline]] void form_single_block(const Shape& shape, float* table, const Step* steps,
                                         size_t count) noexcept {
  const Kernels& kernels = tv::kernels();
  alignas(64) float buffer[kCapacity.block];
  float* block = table ? table : buffer;
  FusedProducts fused_products;
  fused_products.plan(shape, shape.part, steps, count);
  fused_products.run(kernels, block, [&](size_t s) { return steps[s].operand; });
  for (size_t s = fused_products.steps; s < count; ++s) run_block(kernels, steps[s], block, 0);
}

[[gnu::noinline]] void run_whole(const Shape& shape, float* table, const Step* steps, size_t count,
                                 ProgressMeter* progress) noexcept {
  for (; count > 0; count -= std::min(count, kMaxFusedSteps), steps += kMaxFusedSteps) {
    const size_t together = std::min(count, kMaxFusedSteps);
    const BlockPlan plan(shape, steps, together);
    BlockWalk walk(shape, steps, together);
    run_blocks(shape, table, steps, together, plan, walk, progress);
  }
}

// ---- Splitting ----

constexpr size_t kMostSplit = 4;  // dimensions

struct Split {
  size_t dimensions[kMostSplit];
  size_t count = 0;  // of the dimensions
  size_t units = 1;  // that they make together; 1 where the pass is not split
  size_t own = 0;    // private accumulators of each unit
};

// Accumulators of the targets that lack a dimension.
size_t lacking_totals(const Step* steps, size_t count, size_t dimension) noexcept {
  size_t totals = 0;
  for (size_t s = 0; s < count; ++s)
    if (steps[s].target && steps[s].map->steps[dimension] == 0) totals += steps[s].map->other_size;
  return totals;
}

// The cost of splitting along dimensions that some targets lack, and the work left for one of four threads.
double cost_of(const Split& split, const Shape& shape) noexcept {
  const double extra = static_cast<double>(split.units * split.own) / static_cast<double>(shape.size);
  return static_cast<double>((split.units + 3) / 4) / static_cast<double>(split.units) + extra;
}

// Depends on the table, the steps and the accumulators available, not on the number of threads.
Split choose_split(const Shape& shape, const Step* steps, size_t count, size_t capacity) noexcept {
  Split free;
  if (count > kMaxFusedSteps) return free;
  Split best;
  const size_t most_private = std::min(capacity, shape.size / limits.private_share);
  for (size_t d = 0; d < size_t{shape.outer} + (parts_of(shape) > 1); ++d) {
    const size_t own = lacking_totals(steps, count, d), indices = count_along(shape, d);
    if (own == 0) {
      if (free.units >= limits.split_units || free.count == kMostSplit) continue;
      free.dimensions[free.count++] = d;
      free.units *= indices;
      continue;
    }
    const Split split = {{d}, 1, std::min(indices, limits.private_units), own};
    if (own > most_private / split.units) continue;
    if (best.units < 2 || cost_of(split, shape) < cost_of(best, shape)) best = split;
  }
  return free.units > 1 ? free : best;
}

struct PassTask {
  const Shape& shape;
  float* table;
  const Step* steps;
  size_t count;
  const Split& split;
  const BlockPlan& plan;
  double* own;
  ProgressMeter* progress;
  pthread_t caller;  // the only one that reports to the host

  static void run(void* context, size_t begin, size_t end) {
    const PassTask& task = *static_cast<PassTask*>(context);
    for (size_t unit = begin; unit < end; ++unit) task.run_unit(unit);
  }

  void run_unit(size_t unit) const noexcept {
    Step redirected[kMaxFusedSteps];
    std::copy_n(steps, count, redirected);
    double* next = own + unit * split.own;
    if (split.own) std::fill_n(next, split.own, 0.0);
    for (size_t s = 0; split.own && s < count; ++s) {
      if (!steps[s].target || steps[s].map->steps[split.dimensions[0]] != 0) continue;
      redirected[s].target = next;
      next += steps[s].map->other_size;
    }
    BlockWalk walk(shape, redirected, count);
    confine(walk, unit);
    run_blocks(shape, table, redirected, count, plan, walk,
               pthread_equal(pthread_self(), caller) ? progress : nullptr);
  }

  void confine(BlockWalk& walk, size_t unit) const noexcept {
    if (split.own) {
      const size_t d = split.dimensions[0];
      const UnitRange range = units_of_thread(count_along(shape, d), split.units, unit);
      return walk.confine(d, range.begin, range.end);
    }
    for (size_t i = split.count; i-- > 0;) {
      const size_t d = split.dimensions[i], indices = count_along(shape, d);
      walk.confine(d, unit % indices, unit % indices + 1);
      unit /= indices;
    }
  }
};

// Adds the private accumulators of the units (or takes the largest) to the targets.
void gather(const Step* steps, size_t count, const Split& split, const double* own) noexcept {
  for (size_t s = 0; s < count; ++s) {
    if (!steps[s].target || steps[s].map->steps[split.dimensions[0]] != 0) continue;
    const size_t size = steps[s].map->other_size;
    double* const target = steps[s].target;
    for (size_t unit = 0; unit < split.units; ++unit) {
      const double* const part = own + unit * split.own;
      if (steps[s].operation == StepKind::max)
        for (size_t i = 0; i < size; ++i) target[i] = std::max(target[i], part[i]);
      else
        for (size_t i = 0; i < size; ++i) target[i] += part[i];
    }
    own += size;
  }
}

// A single step that assigns is a copy, for which the order of blocks is not the best.
bool is_copy(const Shape& shape, const float* table, const Step* steps, size_t count) noexcept {
  if (!table || count != 1 || steps->operation != StepKind::assign || shape.outer >= shape.dimensions)
    return false;
  const IndexMap& map = *steps->map;
  return map.inner[map.inner_count - 1].stride2 > 1;
}

struct CopyTask {
  Dimension nest[128];
  size_t count = 0;
  float* table;
  const float* other;

  CopyTask(const Shape& shape, float* to, const Step& step) noexcept : table(to), other(step.operand) {
    const IndexMap& map = *step.map;
    size_t stride = shape.size;
    for (size_t d = 0; d < shape.outer; ++d)
      nest[count++] = {shape.counts[d], stride /= shape.counts[d], map.steps[d]};
    const size_t first = count;
    for (size_t i = 0; i < map.inner_count; ++i) nest[count++] = map.inner[i];
    nest[first].count = nest[first].count / shape.part * shape.counts[shape.outer];
  }

  static void run(void* context, size_t begin, size_t end) {
    CopyTask here = *static_cast<CopyTask*>(context);
    here.nest[0].count = end - begin;
    kernels().assign(here.nest, here.count, here.table + begin * here.nest[0].stride,
                     here.other + begin * here.nest[0].stride2);
  }
};

void run_copy(const Shape& shape, float* table, const Step& step, const ParallelSettings& settings) {
  CopyTask task(shape, table, step);
  const size_t units = task.nest[0].count, threads = number_of_threads(units, shape.size / units, settings);
  run_on_threads(units, threads, CopyTask::run, &task, settings.workers);
}

// Several blocks, on several threads where that pays.
[[gnu::noinline]] void run_split(const Shape& shape, float* table, const Step* steps, size_t count,
                                 const ParallelSettings& settings) {
  double local[kCapacity.local_totals];
  const size_t capacity = std::max(settings.scratch_size, limits.local_totals);
  const Split split = choose_split(shape, steps, count, capacity);
  const bool may_share = settings.concurrency_level > 1 && shape.size >= settings.grain_size;
  if (split.units < 2 || (!may_share && split.own == 0))
    return run_whole(shape, table, steps, count, settings.progress);
  const BlockPlan plan(shape, steps, count);
  double* const own = split.units * split.own > limits.local_totals ? settings.scratch : local;
  PassTask task = {shape, table, steps, count, split, plan, own, settings.progress, pthread_self()};
  const size_t threads = number_of_threads(split.units, shape.size / split.units * count, settings);
  run_on_threads(split.units, threads, PassTask::run, &task, settings.workers);
  if (split.own) gather(steps, count, split, own);
}

}  // namespace

void run_pass(const Shape& shape, float* table, const Step* steps, size_t count,
              const ParallelSettings& settings) {
  if (shape.is_sparse()) return run_sparse_pass(shape, table, steps, count, settings);
  if (shape.size <= limits.short_table) return run_short(table, steps, count);
  if (is_copy(shape, table, steps, count)) return run_copy(shape, table, *steps, settings);
  if (shape.outer > 0 || parts_of(shape) > 1) return run_split(shape, table, steps, count, settings);
  if (shape.size < limits.least_fused) return run_single_block(table, steps, count);
  form_single_block(shape, table, steps, count);
}

}  // namespace tv

#include "tables/kernels/sparse_pass.h"

#include <algorithm>

#include "network/progress.h"
#include "tables/block.h"
#include "tables/kernels/kernels.h"

namespace tv {
namespace {

// Calls visit(begin, end, position) for the part of each run that lies among entries first to last - 1.
template <class Visit>
void for_each_run(const PositionList& list, size_t first, size_t last, Visit visit) noexcept {
  const uint32_t* const starts = static_cast<const uint32_t*>(list.data);
  const uint32_t* run = std::upper_bound(starts, starts + list.other_size, static_cast<uint32_t>(first)) - 1;
  for (size_t begin = first; begin < last; ++run) {
    const size_t end = std::min<size_t>(run[1], last);
    if (end > begin) visit(begin, end, static_cast<size_t>(run - starts));
    begin = std::max(begin, end);
  }
}

// Calls visit(i, position) for entries first to first + count - 1, counted from 0.
template <class Visit>
void for_each_position(const PositionList& list, size_t first, size_t count, Visit visit) noexcept {
  switch (list.form) {
    case PositionList::Form::runs:
      return for_each_run(list, first, first + count, [&](size_t begin, size_t end, size_t position) {
        for (size_t i = begin; i < end; ++i) visit(i - first, position);
      });
    case PositionList::Form::shorts: {
      const uint16_t* const at = static_cast<const uint16_t*>(list.data) + first;
      for (size_t i = 0; i < count; ++i) visit(i, size_t{at[i]});
      return;
    }
    case PositionList::Form::words: {
      const uint32_t* const at = static_cast<const uint32_t*>(list.data) + first;
      for (size_t i = 0; i < count; ++i) visit(i, size_t{at[i]});
      return;
    }
    case PositionList::Form::field32: {
      const uint32_t* const key = static_cast<const uint32_t*>(list.data) + first;
      const auto mask = static_cast<uint32_t>(list.mask);
      for (size_t i = 0; i < count; ++i) visit(i, size_t{key[i] >> list.shift & mask});
      return;
    }
    case PositionList::Form::field64: {
      const uint64_t* const key = static_cast<const uint64_t*>(list.data) + first * list.stride;
      for (size_t i = 0; i < count; ++i)
        visit(i, static_cast<size_t>(key[i * list.stride] >> list.shift & list.mask));
      return;
    }
  }
}

Dimension along(size_t count) noexcept { return {count, 1, 1}; }
Dimension against_one(size_t count) noexcept { return {count, 1, 0}; }

// Short runs are multiplied entry by entry.
constexpr size_t kLongRun = 16;

void multiply_runs(const PositionList& list, size_t first, size_t count, float* table,
                   const float* other) noexcept {
  const Kernels& kernels = tv::kernels();
  for_each_run(list, first, first + count, [&](size_t begin, size_t end, size_t position) {
    const float factor = other[position];
    if (end - begin >= kLongRun) {
      const Dimension run = against_one(end - begin);
      return kernels.multiply(&run, 1, table + (begin - first), other + position);
    }
    for (size_t i = begin; i < end; ++i) table[i - first] *= factor;
  });
}

void multiply(const PositionList& list, size_t first, size_t count, float* table,
              const float* other) noexcept {
  if (list.form == PositionList::Form::runs) return multiply_runs(list, first, count, table, other);
  kernels().multiply_at(list, first, count, table, other);
}

// The entries of one position that follow each other are added in a register first, in their order.
void sum(const PositionList& list, size_t first, size_t count, const float* table, double* other) noexcept {
  if (list.form == PositionList::Form::runs)
    return for_each_run(list, first, first + count, [&](size_t begin, size_t end, size_t position) {
      double total = other[position];
      for (size_t i = begin; i < end; ++i) total += static_cast<double>(table[i - first]);
      other[position] = total;
    });
  for_each_position(list, first, count,
                    [&](size_t i, size_t position) { other[position] += static_cast<double>(table[i]); });
}

void max(const PositionList& list, size_t first, size_t count, const float* table, double* other) noexcept {
  for_each_position(list, first, count, [&](size_t i, size_t position) {
    other[position] = std::max(other[position], static_cast<double>(table[i]));
  });
}

// One step over a block, whose entries begin with `first`.
void run_listed(const Step& step, size_t first, size_t count, float* block) noexcept {
  const PositionList& list = *step.map->list;
  switch (step.operation) {
    case StepKind::assign:
      std::fill_n(block, count, 1.0f);
      return multiply(list, first, count, block, step.operand);
    case StepKind::multiply:
      return multiply(list, first, count, block, step.operand);
    case StepKind::sum:
      return sum(list, first, count, block, step.target);
    case StepKind::max:
      return max(list, first, count, block, step.target);
  }
}

void run_step(const Step& step, size_t first, size_t count, float* block) noexcept {
  if (step.map->list) return run_listed(step, first, count, block);
  const bool is_scalar = step.map->other_size == 1;
  const Dimension nest = is_scalar ? against_one(count) : along(count);
  const size_t offset = is_scalar ? 0 : first;
  switch (step.operation) {
    case StepKind::assign:
      return kernels().assign(&nest, 1, block, step.operand + offset);
    case StepKind::multiply:
      return kernels().multiply(&nest, 1, block, step.operand + offset);
    case StepKind::sum:
      return kernels().sum(&nest, 1, block, step.target + offset);
    case StepKind::max:
      return kernels().max(&nest, 1, block, step.target + offset);
  }
}

void run_step(const Step& step, size_t first, size_t count, double* block) noexcept {
  const auto visit = [&](auto each) {
    if (step.map->list) return for_each_position(*step.map->list, first, count, each);
    const bool is_scalar = step.map->other_size == 1;
    for (size_t i = 0; i < count; ++i) each(i, is_scalar ? 0 : first + i);
  };
  switch (step.operation) {
    case StepKind::assign:
    case StepKind::multiply:
      return visit([&](size_t i, size_t at) { block[i] *= static_cast<double>(step.operand[at]); });
    case StepKind::sum:
      return visit([&](size_t i, size_t at) { step.target[at] += block[i]; });
    case StepKind::max:
      return visit([&](size_t i, size_t at) { step.target[at] = std::max(step.target[at], block[i]); });
  }
}

}  // namespace

void run_sparse_pass(const Shape& shape, float* table, const Step* steps, size_t count,
                     const ParallelSettings& settings) {
  alignas(64) float buffer[kCapacity.block];
  for (size_t first = 0; first < shape.size; first += kCapacity.block) {
    const size_t entries = std::min(kCapacity.block, shape.size - first);
    float* const block = table ? table + first : buffer;
    for (size_t s = 0; s < count; ++s) run_step(steps[s], first, entries, block);
    if (settings.progress) settings.progress->look_in(count * entries);
  }
}

void run_sparse_double_pass(const Shape& shape, const Step* steps, size_t count) {
  Block<double> block;
  block.allocate_uninitialized(std::min(shape.size, kCapacity.block));
  for (size_t first = 0; first < shape.size; first += kCapacity.block) {
    const size_t entries = std::min(kCapacity.block, shape.size - first);
    std::fill_n(block.data(), entries, 1.0);
    for (size_t s = 0; s < count; ++s) run_step(steps[s], first, entries, block.data());
  }
}

void read_positions(const PositionList& list, size_t first, size_t count, uint32_t* positions) noexcept {
  for_each_position(list, first, count,
                    [&](size_t i, size_t position) { positions[i] = static_cast<uint32_t>(position); });
}

IndexMap scalar_map() noexcept { return {}; }

IndexMap identity_map(const Shape& shape) noexcept {
  IndexMap map;
  map.other_size = shape.size;
  return map;
}

IndexMap list_map(const PositionList& list) noexcept {
  IndexMap map;
  map.list = &list;
  map.other_size = list.other_size;
  return map;
}

}  // namespace tv

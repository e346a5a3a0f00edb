// Finds the vector runs of a fused product.

#include "tables/kernels/fused_product.h"

#include <algorithm>

namespace tv {
namespace {

// The dimensions of a block, merged where all factors have proportional strides.
struct JointNest {
  size_t levels = 0;  // the innermost first
  size_t counts[kFusedLevels];
  size_t steps[kMaxFused][kFusedLevels];
};

JointNest join_nests(const FusedProduct& fused) noexcept {
  JointNest joint;
  const Dimension* at[kMaxFused];
  size_t size = 1;
  for (size_t f = 0; f < fused.count; ++f) {
    at[f] = fused.nests[f] + fused.nest_counts[f] - 1;
    size = fused.nests[f][0].stride * fused.nests[f][0].count;
  }
  for (size_t stride = 1; stride < size; ++joint.levels) {
    size_t end = size;
    for (size_t f = 0; f < fused.count; ++f) end = std::min(end, at[f]->stride * at[f]->count);
    joint.counts[joint.levels] = end / stride;
    for (size_t f = 0; f < fused.count; ++f) {
      joint.steps[f][joint.levels] = stride / at[f]->stride * at[f]->stride2;
      if (at[f]->stride * at[f]->count == end) --at[f];
    }
    stride = end;
  }
  return joint;
}

// The largest number of indices, at most `most`, in a few equal parts of a dimension.
size_t equal_part(size_t count, size_t most) noexcept {
  const size_t least = (count + most - 1) / most;
  for (size_t parts = least; parts < 2 * least + 2; ++parts)
    if (count % parts == 0) return count / parts;
  return 1;
}

struct RunFinder {
  FusedProduct& fused;
  bool along[kMaxFused];

  explicit RunFinder(FusedProduct& given) noexcept : fused(given) {
    fused.length = 1;
    for (size_t f = 0; f < fused.count; ++f) {
      fused.window[f] = 1;
      fused.index[f][0] = 0;
      along[f] = true;
    }
  }

  // How many indices of a dimension a run can span.
  size_t most_of(size_t level, const JointNest& joint) const noexcept {
    size_t most = std::min(joint.counts[level], limits.longest_run / fused.length);
    for (size_t f = 0; f < fused.count; ++f) {
      const size_t step = joint.steps[f][level];
      if (step == 0 ? fused.window[f] <= limits.gather_window : along[f] && step == fused.length) continue;
      const size_t left = fused.window[f] > limits.gather_window ? 0 : limits.gather_window - fused.window[f];
      most = std::min(most, 1 + (step ? left / step : 0));
    }
    return most;
  }

  void lengthen(size_t times, size_t level, const JointNest& joint) noexcept {
    for (size_t f = 0; f < fused.count; ++f) {
      const size_t step = joint.steps[f][level];
      along[f] = along[f] && (step == fused.length || times == 1);
      int* const index = fused.index[f];
      for (size_t i = 1; i < times; ++i)
        for (size_t j = 0; j < fused.length; ++j)
          index[i * fused.length + j] = index[j] + static_cast<int>(i * step);
      fused.window[f] += (times - 1) * step;
    }
    fused.length *= times;
  }

  // Indices for the whole last vector of a run.
  void fill_up() noexcept {
    for (size_t f = 0; f < fused.count; ++f)
      for (size_t i = fused.length; i < kCapacity.longest_run && i % 16 != 0; ++i) fused.index[f][i] = 0;
  }
};

void find_runs(FusedProduct& fused) noexcept {
  const JointNest joint = join_nests(fused);
  RunFinder finder(fused);
  size_t level = 0, taken = 1;
  for (; level < joint.levels; ++level) {
    taken = equal_part(joint.counts[level], finder.most_of(level, joint));
    finder.lengthen(taken, level, joint);
    if (taken < joint.counts[level]) break;
  }
  finder.fill_up();
  fused.levels = joint.levels - level;
  fused.runs = 1;
  for (size_t l = 0; l < fused.levels; ++l) {  // the outermost first
    const size_t from = joint.levels - 1 - l, part = from == level ? taken : 1;
    fused.outer[l] = joint.counts[from] / part;
    fused.runs *= fused.outer[l];
    for (size_t f = 0; f < fused.count; ++f) fused.steps[f][l] = joint.steps[f][from] * part;
  }
}

void exchange(FusedProduct& fused, size_t a, size_t b) noexcept {
  std::swap(fused.order[a], fused.order[b]);
  std::swap(fused.nest_counts[a], fused.nest_counts[b]);
  std::swap(fused.nests[a], fused.nests[b]);
  std::swap(fused.steps[a], fused.steps[b]);
  std::swap(fused.window[a], fused.window[b]);
  std::swap(fused.index[a], fused.index[b]);
}

}  // namespace

void plan_fused(FusedProduct& fused, const FactorNest* factors, size_t count, bool assigns) noexcept {
  fused.count = count;
  fused.assigns = assigns;
  for (size_t f = 0; f < count; ++f) {
    fused.order[f] = f;
    fused.nest_counts[f] = factors[f].count;
    std::copy_n(factors[f].nest, factors[f].count, fused.nests[f]);
    fused.nests[f][0].count = factors[f].outermost;
  }
  find_runs(fused);
  fused.along = 0;
  for (size_t f = 0; f < count; ++f) {
    if (fused.window[f] <= limits.gather_window) continue;
    if (f != fused.along) exchange(fused, f, fused.along);
    ++fused.along;
  }
}

}  // namespace tv

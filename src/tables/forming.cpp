// Finding the runs in which several factors meet a block.

#include "tables/forming.h"

#include <algorithm>

namespace tv {
namespace {

// The dimensions of a block, merged where all factors step as one.
struct JointNest {
  size_t levels = 0;  // the innermost first
  size_t counts[kFormedLevels];
  size_t steps[kMostTogether][kFormedLevels];
};

JointNest join_nests(const Forming& forming) noexcept {
  JointNest joint;
  const Dimension* at[kMostTogether];
  size_t size = 1;
  for (size_t f = 0; f < forming.count; ++f) {
    at[f] = forming.nests[f] + forming.nest_counts[f] - 1;
    size = forming.nests[f][0].stride * forming.nests[f][0].count;
  }
  for (size_t stride = 1; stride < size; ++joint.levels) {
    size_t end = size;
    for (size_t f = 0; f < forming.count; ++f) end = std::min(end, at[f]->stride * at[f]->count);
    joint.counts[joint.levels] = end / stride;
    for (size_t f = 0; f < forming.count; ++f) {
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
  Forming& forming;
  bool along[kMostTogether];

  explicit RunFinder(Forming& given) noexcept : forming(given) {
    forming.length = 1;
    for (size_t f = 0; f < forming.count; ++f) {
      forming.window[f] = 1;
      forming.index[f][0] = 0;
      along[f] = true;
    }
  }

  // How many indices of a dimension a run can take in.
  size_t most_of(size_t level, const JointNest& joint) const noexcept {
    size_t most = std::min(joint.counts[level], limits.longest_run / forming.length);
    for (size_t f = 0; f < forming.count; ++f) {
      const size_t step = joint.steps[f][level];
      if (step == 0 ? forming.window[f] <= limits.window : along[f] && step == forming.length) continue;
      const size_t room = forming.window[f] > limits.window ? 0 : limits.window - forming.window[f];
      most = std::min(most, 1 + (step ? room / step : 0));
    }
    return most;
  }

  void lengthen(size_t times, size_t level, const JointNest& joint) noexcept {
    for (size_t f = 0; f < forming.count; ++f) {
      const size_t step = joint.steps[f][level];
      along[f] = along[f] && (step == forming.length || times == 1);
      int* const index = forming.index[f];
      for (size_t i = 1; i < times; ++i)
        for (size_t j = 0; j < forming.length; ++j)
          index[i * forming.length + j] = index[j] + static_cast<int>(i * step);
      forming.window[f] += (times - 1) * step;
    }
    forming.length *= times;
  }

  // The last vector of a run is looked up as a whole.
  void fill_up() noexcept {
    for (size_t f = 0; f < forming.count; ++f)
      for (size_t i = forming.length; i < kCapacity.longest_run && i % 16 != 0; ++i) forming.index[f][i] = 0;
  }
};

void find_runs(Forming& forming) noexcept {
  const JointNest joint = join_nests(forming);
  RunFinder finder(forming);
  size_t level = 0, taken = 1;
  for (; level < joint.levels; ++level) {
    taken = equal_part(joint.counts[level], finder.most_of(level, joint));
    finder.lengthen(taken, level, joint);
    if (taken < joint.counts[level]) break;
  }
  finder.fill_up();
  forming.levels = joint.levels - level;
  forming.runs = 1;
  for (size_t l = 0; l < forming.levels; ++l) {  // the outermost first
    const size_t from = joint.levels - 1 - l, part = from == level ? taken : 1;
    forming.outer[l] = joint.counts[from] / part;
    forming.runs *= forming.outer[l];
    for (size_t f = 0; f < forming.count; ++f) forming.steps[f][l] = joint.steps[f][from] * part;
  }
}

void exchange(Forming& forming, size_t a, size_t b) noexcept {
  std::swap(forming.order[a], forming.order[b]);
  std::swap(forming.nest_counts[a], forming.nest_counts[b]);
  std::swap(forming.nests[a], forming.nests[b]);
  std::swap(forming.steps[a], forming.steps[b]);
  std::swap(forming.window[a], forming.window[b]);
  std::swap(forming.index[a], forming.index[b]);
}

}  // namespace

void plan_forming(Forming& forming, const FormedNest* factors, size_t count, bool assigns) noexcept {
  forming.count = count;
  forming.assigns = assigns;
  for (size_t f = 0; f < count; ++f) {
    forming.order[f] = f;
    forming.nest_counts[f] = factors[f].count;
    std::copy_n(factors[f].nest, factors[f].count, forming.nests[f]);
    forming.nests[f][0].count = factors[f].outermost;
  }
  find_runs(forming);
  forming.along = 0;
  for (size_t f = 0; f < count; ++f) {
    if (forming.window[f] <= limits.window) continue;
    if (f != forming.along) exchange(forming, f, forming.along);
    ++forming.along;
  }
}

}  // namespace tv

// Which parts of a schedule, or of an elimination plan, can run at the same time. The cliques around the root
// are the root_region; what lies beyond one of its links is a branch. Subtrees know nothing of each other:
// they can all collect, then the root_region collects and distributes, then they can all distribute.
#pragma once

#include <cstdint>
#include <vector>

#include "inference/engine.h"

namespace tv {

struct EliminationSchedule;

struct Subtrees {
  struct Part {
    size_t first, count;  // of the operations below
  };
  std::vector<uint32_t> operations;  // places in the schedule, or in the plan, those of a part in this order
  std::vector<Part> collect;         // one for each branch, the one with the most work first
  std::vector<Part> distribute;
  Part root_region = {0, 0};
  size_t threads = 0;  // for which they were chosen
  size_t totals = 0;   // the most that a pass in a branch needs
  size_t belief_totals = 0;

  bool empty() const noexcept { return collect.empty(); }
};

// Whether a schedule holds so much work that threads are started for it. Such schedules are kept operation by
// operation.
bool deserves_threads(const Domain& domain, const Schedule& schedule) noexcept;

// The same, were there any.
bool would_deserve_threads(const Domain& domain, const Schedule& schedule) noexcept;

// The same guessed before a schedule is written, from the marked cliques and the targets beliefs.
bool may_deserve_threads(const TreeEngine& engine) noexcept;

// Chooses the root_region so that `threads` threads are busy most of the time; without subtrees where that
// does not pay. Nothing that is computed depends on the choice.
Subtrees find_subtrees(const TreeEngine& engine, const Schedule& schedule, const ParallelSettings& settings);

// The same for a plan, whose operations are all it collects and then all it distributes.
Subtrees find_subtrees(const EliminationSchedule& plan, const ParallelSettings& settings);

}  // namespace tv

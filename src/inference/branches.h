// Which parts of a tape, or of an elimination plan, can run at the same time. The cliques around the root are
// the trunk; what lies beyond one of its links is a branch. Branches know nothing of each other: they can all
// collect, then the trunk collects and distributes, then they can all distribute.
#pragma once

#include <cstdint>
#include <vector>

#include "inference/engine.h"

namespace tv {

struct EliminationPlan;

struct Branches {
  struct Part {
    size_t first, count;  // of the items below
  };
  std::vector<uint32_t> items;  // places in the tape, or in the plan, those of a part in this order
  std::vector<Part> collect;    // one for each branch, the one with the most work first
  std::vector<Part> distribute;
  Part trunk = {0, 0};
  size_t threads = 0;  // for which they were chosen
  size_t totals = 0;   // the most that a pass in a branch needs
  size_t belief_totals = 0;

  bool empty() const noexcept { return collect.empty(); }
};

// Whether a tape holds so much work that threads are started for it. Such tapes are kept item by item.
bool deserves_threads(const Domain& domain, const Tape& tape) noexcept;

// The same, were there any.
bool would_deserve_threads(const Domain& domain, const Tape& tape) noexcept;

// The same guessed before a tape is written, from the marked cliques and the wanted beliefs.
bool may_deserve_threads(const TreeEngine& engine) noexcept;

// Chooses the trunk so that `threads` threads are busy most of the time; without branches where that does
// not pay. Nothing that is computed depends on the choice.
Branches find_branches(const TreeEngine& engine, const Tape& tape, const ParallelSettings& settings);

// The same for a plan, whose items are all it collects and then all it distributes.
Branches find_branches(const EliminationPlan& plan, const ParallelSettings& settings);

}  // namespace tv

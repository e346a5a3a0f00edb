// Subtree parallelism: which parts of a schedule can run at the same time. The cliques around the root form
// the root region; behind each of its links lies an independent subtree. All subtrees collect in parallel,
// then the root region collects and distributes, then all subtrees distribute in parallel.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "inference/engine.h"
#include "tables/kernels/parallel.h"

namespace tv {

struct EliminationSchedule;

struct Subtrees {
  struct Part {
    size_t first, count;  // of the operations below
  };
  std::vector<uint32_t> operations;  // positions in the schedule, in its order within each part
  std::vector<Part> collect;         // by subtree, the one with the most work first
  std::vector<Part> distribute;
  Part root_region = {0, 0};
  size_t threads = 0;  // for which the root region was chosen
  size_t totals = 0;   // the most accumulators that a pass in a subtree needs
  size_t belief_totals = 0;

  bool empty() const noexcept { return collect.empty(); }
};

// Calls run(part, thread) for each part on so many threads, which take the next one when they are done with
// one, until it returns false for some part; whether it never did.
template <class Run>
bool run_parts_on_threads(size_t parts, size_t threads, Workers* workers, const Run& run) {
  struct Context {
    const Run& run;
    size_t parts;
    std::atomic<size_t> next = 0;
    std::atomic<bool> stopped = false;
  } context = {run, parts};
  const auto work = [](void* given, size_t thread, size_t) {
    Context& all = *static_cast<Context*>(given);
    while (!all.stopped.load(std::memory_order_relaxed)) {
      const size_t part = all.next.fetch_add(1, std::memory_order_relaxed);
      if (part >= all.parts) return;
      if (!all.run(part, thread)) all.stopped.store(true, std::memory_order_relaxed);
    }
  };
  run_on_threads(threads, threads, work, &context, workers);
  return !context.stopped.load(std::memory_order_relaxed);
}

// Whether a schedule holds so much work that threads are started for it. Such schedules are cached operation
// by operation, not as gather lists.
bool deserves_threads(const Domain& domain, const Schedule& schedule) noexcept;

// The same if the domain were allowed several threads.
bool would_deserve_threads(const Domain& domain, const Schedule& schedule) noexcept;

// The same estimated before a schedule is built, from the marked cliques and the target beliefs.
bool may_deserve_threads(const TreeEngine& engine) noexcept;

// Chooses the root region so that `threads` threads are busy most of the time; no subtrees where that does
// not pay. Results do not depend on the choice.
Subtrees find_subtrees(const TreeEngine& engine, const Schedule& schedule, const ParallelSettings& settings);

// The same for an elimination schedule, whose operations are its collects followed by its distributes.
Subtrees find_subtrees(const EliminationSchedule& schedule, const ParallelSettings& settings);

}  // namespace tv

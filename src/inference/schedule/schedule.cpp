// The arena sizes that schedules need.

#include "inference/schedule/schedule.h"

#include <algorithm>
#include <new>

#include "inference/engine.h"
#include "inference/schedule/lazy_clique.h"

namespace tv {
namespace {

// The operations of a clique that collects, and of one that distributes. `beliefs` are those read from the
// clique and from all separators around it.
ScheduleSize collect_size(const Clique& clique) noexcept {
  const size_t members = clique.members().size(), links = clique.links.size();
  ScheduleSize size;
  size.operations = 1;
  size.potential_steps = std::max<size_t>(clique.potential_count(), 1);
  // Potentials, updates and findings; mass and marginal.
  size.steps = size.potential_steps + links + members + 3;
  size.maps = size.potential_steps + links + members + 1;  // and a scalar one
  size.dimensions = size.maps * members;
  return size;
}

ScheduleSize distribute_size(const Clique& clique, size_t beliefs) noexcept {
  const size_t members = clique.members().size(), links = clique.links.size();
  size_t around = 0;
  for (const Link& link : clique.links) around = size_add(around, link.separator->size);
  const size_t passes = around > limits.shared_totals ? std::max<size_t>(links, 1) : 1;
  ScheduleSize size;
  // Messages, and passes over separators from which a belief is read.
  size.operations = passes + beliefs + links + std::min(links, beliefs);
  size.potential_steps = std::max<size_t>(clique.potential_count(), 1);
  size.steps = size.potential_steps + 2 + beliefs + links;
  // Every pass over a lazy clique multiplies all factors and findings again.
  if (prefers_factors(clique)) size.steps += passes * (size.potential_steps + links + members + 1);
  size.maps = size.steps + 1;
  size.dimensions = size.maps * members;
  return size;
}

// Beliefs that are read from the clique or the separator towards its parent.
size_t beliefs_of(const Clique& clique) noexcept {
  return static_cast<size_t>(
      std::count_if(clique.members().begin(), clique.members().end(),
                    [&](const Node* node) { return placement(*node).belief_source().clique == &clique; }));
}

// The same with those that are read from separators towards children.
size_t beliefs_around(const Clique& clique) noexcept {
  size_t beliefs = 0;
  for (const Node* node : clique.members()) {
    const BeliefSource source = placement(*node).belief_source();
    beliefs += source.clique == &clique || (source.separator && source.separator->parent == &clique);
  }
  return beliefs;
}

void add(ScheduleSize& sum, const ScheduleSize& size) noexcept {
  sum.operations += size.operations;
  sum.steps += size.steps;
  sum.potential_steps += size.potential_steps;
  sum.maps += size.maps;
  sum.dimensions += size.dimensions;
}

void enlarge(ScheduleSize& largest, const ScheduleSize& size) noexcept {
  largest.operations = std::max(largest.operations, size.operations);
  largest.steps = std::max(largest.steps, size.steps);
  largest.potential_steps = std::max(largest.potential_steps, size.potential_steps);
  largest.maps = std::max(largest.maps, size.maps);
  largest.dimensions = std::max(largest.dimensions, size.dimensions);
}

ScheduleSize size_over_cliques(const JunctionTree& tree, size_t (*beliefs)(const Clique&) noexcept,
                               void (*combine)(ScheduleSize&, const ScheduleSize&) noexcept) noexcept {
  ScheduleSize size;
  for (size_t c = 0; c < tree.clique_count(); ++c) {
    const Clique& clique = *tree.cliques[c];
    combine(size, collect_size(clique));
    combine(size, distribute_size(clique, beliefs(clique)));
  }
  return size;
}

// Starts the list at `next` and moves `next` behind it.
template <class T>
void start_list(ArenaList<T>& list, unsigned char*& next, size_t count) noexcept {
  list.start(next);
  next += count * sizeof(T);
}

}  // namespace

size_t ScheduleSize::bytes() const noexcept {
  return operations * sizeof(Operation) + steps * sizeof(Step) + potential_steps * sizeof(PotentialStep) +
         maps * sizeof(IndexMap) + dimensions * (sizeof(size_t) + sizeof(Dimension));
}

void ScheduleLists::set_memory(std::unique_ptr<unsigned char[]> block, const ScheduleSize& size) noexcept {
  memory = std::move(block);
  unsigned char* next = memory.get();
  start_list(operations, next, size.operations);
  start_list(steps, next, size.steps);
  start_list(potential_steps, next, size.potential_steps);
  start_list(maps, next, size.maps);
  start_list(map_steps, next, size.dimensions);
  start_list(map_nests, next, size.dimensions);
}

void ScheduleLists::clear() noexcept {
  operations.clear();
  steps.clear();
  potential_steps.clear();
  maps.clear();
  map_steps.clear();
  map_nests.clear();
}

Schedule ScheduleLists::schedule() const noexcept {
  return {operations.data(), operations.size(), steps.data(), potential_steps.data(), potential_steps.size()};
}

ScheduleSize schedule_size(const JunctionTree& tree) noexcept {
  return size_over_cliques(tree, beliefs_of, add);
}

bool reserve_schedule(const JunctionTree& tree, ScheduleLists& lists) noexcept {
  const ScheduleSize size = schedule_size(tree);
  std::unique_ptr<unsigned char[]> memory(new (std::nothrow) unsigned char[size.bytes()]);
  if (memory) lists.set_memory(std::move(memory), size);
  return lists.memory != nullptr;
}

ScheduleSize streamed_size(const JunctionTree& tree) noexcept {
  return size_over_cliques(tree, beliefs_around, enlarge);
}

}  // namespace tv

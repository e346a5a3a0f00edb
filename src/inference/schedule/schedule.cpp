// The room that schedules need.

#include "inference/schedule/schedule.h"

#include <algorithm>
#include <new>

#include "inference/engine.h"
#include "inference/schedule/lazy_clique.h"

namespace tv {
namespace {

// What is done when a clique collects, and when it distributes. `beliefs` are those read from the clique and
// from all separators around it.
ScheduleSize collect_size(const Clique& clique) noexcept {
  const size_t members = clique.members().size(), links = clique.links.size();
  ScheduleSize room;
  room.operations = 1;
  room.potential_steps = std::max<size_t>(clique.potential_count(), 1);
  // Potentials, updates and findings; mass and marginal.
  room.steps = room.potential_steps + links + members + 3;
  room.maps = room.potential_steps + links + members + 1;  // and one for single numbers
  room.dimensions = room.maps * members;
  return room;
}

ScheduleSize distribute_size(const Clique& clique, size_t beliefs) noexcept {
  const size_t members = clique.members().size(), links = clique.links.size();
  size_t around = 0;
  for (const Link& link : clique.links) around = size_add(around, link.separator->size);
  const size_t passes = around > limits.shared_totals ? std::max<size_t>(links, 1) : 1;
  ScheduleSize room;
  // Messages, and passes over separators from which a belief is read.
  room.operations = passes + beliefs + links + std::min(links, beliefs);
  room.potential_steps = std::max<size_t>(clique.potential_count(), 1);
  room.steps = room.potential_steps + 2 + beliefs + links;
  // Every pass over a lazy clique starts with all factors and findings.
  if (prefers_factors(clique)) room.steps += passes * (room.potential_steps + links + members + 1);
  room.maps = room.steps + 1;
  room.dimensions = room.maps * members;
  return room;
}

// Those that are read from the clique or the separator towards its parent.
size_t beliefs_of(const Clique& clique) noexcept {
  return static_cast<size_t>(
      std::count_if(clique.members().begin(), clique.members().end(),
                    [&](const Node* node) { return compiled(*node).belief_source().clique == &clique; }));
}

// Those and the ones that are read from separators towards children.
size_t beliefs_around(const Clique& clique) noexcept {
  size_t beliefs = 0;
  for (const Node* node : clique.members()) {
    const BeliefSource source = compiled(*node).belief_source();
    beliefs += source.clique == &clique || (source.separator && source.separator->parent == &clique);
  }
  return beliefs;
}

void add(ScheduleSize& sum, const ScheduleSize& room) noexcept {
  sum.operations += room.operations;
  sum.steps += room.steps;
  sum.potential_steps += room.potential_steps;
  sum.maps += room.maps;
  sum.dimensions += room.dimensions;
}

void enlarge(ScheduleSize& largest, const ScheduleSize& room) noexcept {
  largest.operations = std::max(largest.operations, room.operations);
  largest.steps = std::max(largest.steps, room.steps);
  largest.potential_steps = std::max(largest.potential_steps, room.potential_steps);
  largest.maps = std::max(largest.maps, room.maps);
  largest.dimensions = std::max(largest.dimensions, room.dimensions);
}

ScheduleSize room_over_cliques(const JunctionTree& tree, size_t (*beliefs)(const Clique&) noexcept,
                               void (*take_in)(ScheduleSize&, const ScheduleSize&) noexcept) noexcept {
  ScheduleSize room;
  for (size_t c = 0; c < tree.clique_count(); ++c) {
    const Clique& clique = *tree.cliques[c];
    take_in(room, collect_size(clique));
    take_in(room, distribute_size(clique, beliefs(clique)));
  }
  return room;
}

// Hands out a part of the block and goes on behind it.
template <class T>
void take(FixedList<T>& list, unsigned char*& next, size_t count) noexcept {
  list.start(next);
  next += count * sizeof(T);
}

}  // namespace

size_t ScheduleSize::bytes() const noexcept {
  return operations * sizeof(Operation) + steps * sizeof(Step) + potential_steps * sizeof(PotentialStep) +
         maps * sizeof(IndexMap) + dimensions * (sizeof(size_t) + sizeof(Dimension));
}

void ScheduleLists::set_room(std::unique_ptr<unsigned char[]> block, const ScheduleSize& room) noexcept {
  memory = std::move(block);
  unsigned char* next = memory.get();
  take(operations, next, room.operations);
  take(steps, next, room.steps);
  take(potential_steps, next, room.potential_steps);
  take(maps, next, room.maps);
  take(map_steps, next, room.dimensions);
  take(map_nests, next, room.dimensions);
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
  return room_over_cliques(tree, beliefs_of, add);
}

bool reserve_schedule(const JunctionTree& tree, ScheduleLists& lists) noexcept {
  const ScheduleSize room = schedule_size(tree);
  std::unique_ptr<unsigned char[]> memory(new (std::nothrow) unsigned char[room.bytes()]);
  if (memory) lists.set_room(std::move(memory), room);
  return lists.memory != nullptr;
}

ScheduleSize streamed_size(const JunctionTree& tree) noexcept {
  return room_over_cliques(tree, beliefs_around, enlarge);
}

}  // namespace tv

// The room that tapes need.

#include "inference/tape.h"

#include <algorithm>
#include <new>

#include "inference/engine.h"
#include "inference/factored.h"

namespace tv {
namespace {

// What is done when a clique collects, and when it distributes. `beliefs` are those read from the clique and
// from all separators around it.
TapeRoom room_for_collecting(const Clique& clique) noexcept {
  const size_t members = clique.members().size(), links = clique.links.size();
  TapeRoom room;
  room.items = 1;
  room.potential_steps = std::max<size_t>(clique.potential_count(), 1);
  // Potentials, updates and findings; mass and marginal.
  room.steps = room.potential_steps + links + members + 3;
  room.controls = room.potential_steps + links + members + 1;  // and one for single numbers
  room.dimensions = room.controls * members;
  return room;
}

TapeRoom room_for_distributing(const Clique& clique, size_t beliefs) noexcept {
  const size_t members = clique.members().size(), links = clique.links.size();
  size_t around = 0;
  for (const Link& link : clique.links) around = size_add(around, link.separator->size);
  const size_t passes = around > limits.shared_totals ? std::max<size_t>(links, 1) : 1;
  TapeRoom room;
  // Messages, and passes over separators from which a belief is read.
  room.items = passes + beliefs + links + std::min(links, beliefs);
  room.potential_steps = std::max<size_t>(clique.potential_count(), 1);
  room.steps = room.potential_steps + 2 + beliefs + links;
  // Every pass over a factored clique starts with all factors and findings.
  if (prefers_factors(clique)) room.steps += passes * (room.potential_steps + links + members + 1);
  room.controls = room.steps + 1;
  room.dimensions = room.controls * members;
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

void add(TapeRoom& sum, const TapeRoom& room) noexcept {
  sum.items += room.items;
  sum.steps += room.steps;
  sum.potential_steps += room.potential_steps;
  sum.controls += room.controls;
  sum.dimensions += room.dimensions;
}

void enlarge(TapeRoom& largest, const TapeRoom& room) noexcept {
  largest.items = std::max(largest.items, room.items);
  largest.steps = std::max(largest.steps, room.steps);
  largest.potential_steps = std::max(largest.potential_steps, room.potential_steps);
  largest.controls = std::max(largest.controls, room.controls);
  largest.dimensions = std::max(largest.dimensions, room.dimensions);
}

TapeRoom room_over_cliques(const JunctionTree& tree, size_t (*beliefs)(const Clique&) noexcept,
                           void (*take_in)(TapeRoom&, const TapeRoom&) noexcept) noexcept {
  TapeRoom room;
  for (size_t c = 0; c < tree.clique_count(); ++c) {
    const Clique& clique = *tree.cliques[c];
    take_in(room, room_for_collecting(clique));
    take_in(room, room_for_distributing(clique, beliefs(clique)));
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

size_t TapeRoom::bytes() const noexcept {
  return items * sizeof(Item) + steps * sizeof(Step) + potential_steps * sizeof(PotentialStep) +
         controls * sizeof(Control) + dimensions * (sizeof(size_t) + sizeof(Dimension));
}

void TapeLists::set_room(std::unique_ptr<unsigned char[]> block, const TapeRoom& room) noexcept {
  memory = std::move(block);
  unsigned char* next = memory.get();
  take(items, next, room.items);
  take(steps, next, room.steps);
  take(potential_steps, next, room.potential_steps);
  take(controls, next, room.controls);
  take(control_steps, next, room.dimensions);
  take(control_nests, next, room.dimensions);
}

void TapeLists::clear() noexcept {
  items.clear();
  steps.clear();
  potential_steps.clear();
  controls.clear();
  control_steps.clear();
  control_nests.clear();
}

Tape TapeLists::tape() const noexcept {
  return {items.data(), items.size(), steps.data(), potential_steps.data(), potential_steps.size()};
}

TapeRoom room_for_tape(const JunctionTree& tree) noexcept { return room_over_cliques(tree, beliefs_of, add); }

bool make_room_for_tape(const JunctionTree& tree, TapeLists& lists) noexcept {
  const TapeRoom room = room_for_tape(tree);
  std::unique_ptr<unsigned char[]> memory(new (std::nothrow) unsigned char[room.bytes()]);
  if (memory) lists.set_room(std::move(memory), room);
  return lists.memory != nullptr;
}

TapeRoom room_for_portion(const JunctionTree& tree) noexcept {
  return room_over_cliques(tree, beliefs_around, enlarge);
}

}  // namespace tv

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
  room.findings = members;
  room.finding_dimensions = members * members;
  return room;
}

TapeRoom room_for_distributing(const Clique& clique, size_t beliefs) noexcept {
  const size_t members = clique.members().size(), links = clique.links.size();
  size_t around = 0;
  for (const Link& link : clique.links) around = size_add(around, link.separator->size);
  const size_t passes = around > kSharedTotals ? std::max<size_t>(links, 1) : 1;
  TapeRoom room;
  room.items = passes + beliefs + 2 * links;  // messages and the passes over their separators
  room.potential_steps = std::max<size_t>(clique.potential_count(), 1);
  room.steps = room.potential_steps + 2 + beliefs + links;
  if (!prefers_factors(clique)) return room;
  // Every pass starts with all factors and findings.
  room.steps += passes * (room.potential_steps + links + members + 1);
  room.findings = passes * members;
  room.finding_dimensions = room.findings * members;
  return room;
}

size_t beliefs_around(const Clique& clique) noexcept {
  size_t beliefs = clique.members().size();
  for (const Link& link : clique.links) beliefs += link.separator->members.size();
  return beliefs;
}

void add(TapeRoom& sum, const TapeRoom& room) noexcept {
  sum.items += room.items;
  sum.steps += room.steps;
  sum.potential_steps += room.potential_steps;
  sum.findings += room.findings;
  sum.finding_dimensions += room.finding_dimensions;
}

void enlarge(TapeRoom& largest, const TapeRoom& room) noexcept {
  largest.items = std::max(largest.items, room.items);
  largest.steps = std::max(largest.steps, room.steps);
  largest.potential_steps = std::max(largest.potential_steps, room.potential_steps);
  largest.findings = std::max(largest.findings, room.findings);
  largest.finding_dimensions = std::max(largest.finding_dimensions, room.finding_dimensions);
}

// Hands out a part of the block and goes on behind it.
template <class T>
void take(FixedList<T>& list, unsigned char*& next, size_t count) noexcept {
  list = {reinterpret_cast<T*>(next), 0};
  next += count * sizeof(T);
}

}  // namespace

size_t TapeRoom::bytes() const noexcept {
  return items * sizeof(Item) + steps * sizeof(Step) + potential_steps * sizeof(PotentialStep) +
         findings * sizeof(Control) + finding_dimensions * (sizeof(size_t) + sizeof(Dimension));
}

void TapeLists::set_room(std::unique_ptr<unsigned char[]> block, const TapeRoom& room) noexcept {
  memory = std::move(block);
  unsigned char* next = memory.get();
  take(items, next, room.items);
  take(steps, next, room.steps);
  take(potential_steps, next, room.potential_steps);
  take(finding_controls, next, room.findings);
  take(finding_steps, next, room.finding_dimensions);
  take(finding_nests, next, room.finding_dimensions);
}

void TapeLists::clear() noexcept {
  items.count = steps.count = potential_steps.count = 0;
  finding_controls.count = finding_steps.count = finding_nests.count = 0;
}

Tape TapeLists::tape() const noexcept {
  return {items.data, items.count, steps.data, potential_steps.data, potential_steps.count};
}

TapeRoom room_for_tape(const JunctionTree& tree) noexcept {
  TapeRoom room;
  size_t beliefs = tree.nodes.size();  // each of them is read once
  for (size_t c = 0; c < tree.clique_count(); ++c) {
    add(room, room_for_collecting(*tree.cliques[c]));
    add(room, room_for_distributing(*tree.cliques[c], beliefs));
    beliefs = 0;
  }
  return room;
}

bool make_room_for_tape(const JunctionTree& tree, TapeLists& lists) noexcept {
  const TapeRoom room = room_for_tape(tree);
  std::unique_ptr<unsigned char[]> memory(new (std::nothrow) unsigned char[room.bytes()]);
  if (memory) lists.set_room(std::move(memory), room);
  return lists.memory != nullptr;
}

TapeRoom room_for_portion(const JunctionTree& tree) noexcept {
  TapeRoom room;
  for (size_t c = 0; c < tree.clique_count(); ++c) {
    const Clique& clique = *tree.cliques[c];
    enlarge(room, room_for_collecting(clique));
    enlarge(room, room_for_distributing(clique, beliefs_around(clique)));
  }
  return room;
}

}  // namespace tv

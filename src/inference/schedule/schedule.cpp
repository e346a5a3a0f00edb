// The arena sizes that schedules need.

#include "inference/schedule/schedule.h"

#include <algorithm>
#include <new>

#include "inference/compress/sparse_tree.h"
#include "inference/engine.h"
#include "inference/schedule/lazy_clique.h"

namespace tv {
namespace {

// Members of the potentials of a clique that may be observed.
size_t potential_members(const Clique& clique) noexcept {
  size_t members = 0;
  for (const Node* node : clique.potentials) members += node->parents.size() + 1;
  for (const Table* table : clique.more_potentials) members += table->nodes.size();
  return members;
}

// With the lists of its maps, its shape and its potentials.
ScheduleSize with_lists(ScheduleSize size, const Clique& clique) noexcept {
  const size_t members = clique.members().size();
  size.map_steps = size.map_nests = size.maps * members;
  size.counts = members;
  size.observed = potential_members(clique);
  return size;
}

// The operations of a clique that collects, and of one that distributes. `beliefs` are those read from the
// clique and from all separators around it.
ScheduleSize collect_size(const Clique& clique) noexcept {
  const size_t members = clique.members().size(), links = clique.links.size();
  ScheduleSize size;
  size.operations = 1;
  size.potentials = std::max<size_t>(clique.potential_count(), 1);
  // Potentials, updates and findings; mass and marginal.
  size.steps = size.potentials + links + members + 3;
  size.maps = size.potentials + links + members + 1;  // and a scalar one
  size.constants = size.potentials;
  return with_lists(size, clique);
}

ScheduleSize distribute_size(const Clique& clique, size_t beliefs) noexcept {
  const size_t members = clique.members().size(), links = clique.links.size();
  size_t around = 0;
  for (const Link& link : clique.links) around = size_add(around, stored_size(*link.separator));
  const size_t passes = around > limits.shared_totals ? std::max<size_t>(links, 1) : 1;
  ScheduleSize size;
  // Messages, and passes over separators from which a belief is read.
  size.operations = passes + beliefs + links + std::min(links, beliefs);
  size.potentials = std::max<size_t>(clique.potential_count(), 1);
  size.steps = size.potentials + 2 + beliefs + links;
  // Every pass over a lazy clique multiplies all factors and findings again.
  if (prefers_factors(clique)) size.steps += passes * (size.potentials + links + members + 1);
  size.maps = size.steps + 1;
  size.constants = prefers_factors(clique) ? passes * size.potentials : size.potentials;
  size = with_lists(size, clique);
  for (const Link& link : clique.links) size.counts += link.separator->members.size();
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

constexpr size_t ScheduleSize::*kSizes[] = {
    &ScheduleSize::operations, &ScheduleSize::steps,    &ScheduleSize::maps,
    &ScheduleSize::potentials, &ScheduleSize::observed, &ScheduleSize::map_steps,
    &ScheduleSize::map_nests,  &ScheduleSize::counts,   &ScheduleSize::constants};

void add(ScheduleSize& sum, const ScheduleSize& size) noexcept {
  for (const auto list : kSizes) sum.*list += size.*list;
}

void enlarge(ScheduleSize& largest, const ScheduleSize& size) noexcept {
  for (const auto list : kSizes) largest.*list = std::max(largest.*list, size.*list);
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

}  // namespace

size_t ScheduleSize::bytes() const noexcept {
  size_t bytes = 0;
  ScheduleLists().for_each_list(*this,
                                [&](auto& list, size_t size) { bytes += size * sizeof(*list.data()); });
  return bytes;
}

void ScheduleLists::set_memory(std::unique_ptr<unsigned char[]> block, const ScheduleSize& size) noexcept {
  memory = std::move(block);
  unsigned char* next = memory.get();
  for_each_list(size, [&](auto& list, size_t count) {
    list.start(next);
    next += count * sizeof(*list.data());
  });
}

void ScheduleLists::clear() noexcept {
  for_each_list({}, [](auto& list, size_t) { list.clear(); });
}

Shape ScheduleLists::copy_shape(const Shape& shape) noexcept {
  Shape copy = shape;
  copy.counts = counts.take(shape.dimensions);
  std::copy_n(shape.counts, shape.dimensions, copy.counts);
  return copy;
}

Schedule ScheduleLists::schedule() const noexcept {
  return {operations.data(), operations.size(), steps.data(),     maps.data(), potentials.data(),
          potentials.size(), observed.data(),   constants.data(), {}};
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

#include "inference/schedule/lazy_clique.h"

#include <algorithm>

#include "api/boundary.h"
#include "inference/compress/sparse_tree.h"
#include "tables/kernels/sparse_pass.h"

namespace tv {
namespace {

constexpr size_t kMostMembers = 64;  // a pass may need two steps for each

// Calls visit(member, stride) for the members that a potential's copy spans, the last one first.
template <class Visit>
void for_each_member(const CliquePotential& plan, Visit visit) noexcept {
  for (size_t m = plan.members->size(); m-- > 0;)
    if (plan.strides[m] != 0 && (*plan.members)[m]->number_of_states > 1)
      visit(*(*plan.members)[m], plan.strides[m]);
}

void take_table(TreeEngine& engine, CliqueWork& work, Block<float> table) {
  std::vector<Block<float>>& stored = engine.stored;
  stored.push_back(std::move(table));
  work.table.numbers = stored.back().data();
  work.lazy = false;
}

// Allocates the index maps of a clique's factors.
struct OwnIndexMaps {
  const TreeEngine& engine;
  const CliqueWork& work;
  std::vector<std::unique_ptr<OwnIndexMap>>& list;

  template <class Fill>
  const IndexMap& make(Fill fill) const {
    list.push_back(std::make_unique<OwnIndexMap>(work.table.shape.dimensions));
    fill(list.back()->steps);
    finish_index_map(*list.back(), work.table.shape);
    return *list.back();
  }
  const IndexMap& add(const IndexMap& map) const {
    list.push_back(std::make_unique<OwnIndexMap>(0));
    static_cast<IndexMap&>(*list.back()) = map;
    return *list.back();
  }
  const IndexMap& entries() const { return add(identity_map(work.table.shape)); }
  const IndexMap& of_potential(const CliquePotential& plan) const {
    return make([&](size_t* steps) { step_in_potential(work.table, plan, steps); });
  }
  const IndexMap& of_link(const CliqueLink& link) const {
    if (work.sparse) return add(list_map(work.sparse->links[position_of(work, link)]));
    return make([&](size_t* steps) {
      step_in_separator(work.table, link, engine.separators[link.separator].old, steps);
    });
  }
  const IndexMap& of_member(size_t member) const {
    if (work.sparse) return add(list_map(work.sparse->table.states(member)));
    return make([&](size_t* steps) { step_in_member(work.table, member, steps); });
  }
  const IndexMap& scalar() const {
    if (work.sparse) return add(scalar_map());
    return make([&](size_t* steps) { std::fill_n(steps, work.table.shape.dimensions, 0); });
  }
};

}  // namespace

bool is_sparse(const Clique& clique) noexcept {
  return clique.tree->sparse && clique.tree->sparse->cliques[clique.position];
}

const float* initial_numbers(const TreeEngine& engine, const CliqueWork& work) noexcept {
  return engine.tree->sparse->initial.numbers.data() + work.sparse->first;
}

size_t potential_entries(const NodeList& members, const Node& node) noexcept {
  size_t size = 1;
  for (const Node* member : members)
    if (member == &node || node.parents.contains(member))
      size = size_multiply(size, member->number_of_states);
  return size;
}

size_t factor_entries(const Clique& clique) noexcept {
  size_t entries = 0;
  for (const Node* node : clique.potentials)
    if (!is_sparse(clique)) entries = size_add(entries, potential_entries(clique.members(), *node));
  for (const Link& link : clique.links) entries = size_add(entries, stored_size(*link.separator));
  return entries;
}

bool prefers_factors(const Clique& clique) noexcept {
  if (is_sparse(clique)) return true;
  const NodeCounters& counters = clique.domain().counters;
  const bool decides = counters.decision > 0 || counters.utility > 0;
  if (clique.tree->has_continuous || !clique.more_potentials.empty() || decides) return false;
  return clique.table.size >= limits.lazy_clique && clique.members().size() <= kMostMembers &&
         clique.potentials.size() + clique.links.size() <= limits.lazy_factors &&
         factor_entries(clique) <= clique.table.size / 2;
}

void copy_potential(const TreeEngine& engine, const CliquePotential& plan, const float* entries) noexcept {
  Dimension nest[64];
  size_t count = 0, stride = 1;
  for_each_member(plan, [&](const Node& node, size_t table_stride) {
    if (engine[node].observed_state >= 0) return;
    nest[count++] = {node.number_of_states, stride, table_stride};
    stride *= node.number_of_states;
  });
  std::reverse(nest, nest + count);
  kernels().assign(nest, count, plan.copy, entries);
}

float* message_buffer(const CliqueWork& receiver, const CliqueLink& link,
                      const SeparatorWork& separator) noexcept {
  return receiver.lazy && !link.holds ? link.received : separator.ratio;
}

void absorb_message(const CliqueWork& receiver, CliqueLink& link, const SeparatorWork& separator,
                    size_t size) noexcept {
  if (!link.received) return;
  const Dimension all = {size, 1, 1};
  if (!receiver.lazy)  // the schedule may date from when it was
    kernels().assign(&all, 1, link.received, separator.ratio);
  else if (link.holds)
    kernels().multiply(&all, 1, link.received, separator.ratio);
  link.holds = true;
}

void reduce_potentials(const TreeEngine& engine, const CliqueWork& work) noexcept {
  for (const CliquePotential& plan : work.potentials) {
    if (plan.layout == kNone) continue;
    Dimension nest[64];
    size_t count = 0, offset = 0, stride = 1, reduced_stride = 1;
    for_each_member(plan, [&](const Node& node, size_t) {
      const NodeState& data = engine[node];
      if (data.observed_state >= 0) return;
      if (data.next_observed_state >= 0) {
        offset += static_cast<size_t>(data.next_observed_state) * stride;
      } else {
        nest[count++] = {node.number_of_states, reduced_stride, stride};
        reduced_stride *= node.number_of_states;
      }
      stride *= node.number_of_states;
    });
    std::reverse(nest, nest + count);
    kernels().assign(nest, count, plan.copy, plan.copy + offset);
  }
}

void store_table(TreeEngine& engine, CliqueWork& work) {
  if (!work.lazy) return;
  Block<float> table;
  table.allocate_uninitialized(stored_size(*work.clique));
  take_table(engine, work, std::move(table));
}

void materialize_all_tables(TreeEngine& engine) {
  refresh_shapes(engine);
  for (CliqueWork& work : engine.cliques) {
    if (!work.lazy) continue;
    Block<float> table;
    table.allocate_uninitialized(stored_size(*work.clique));
    if (work.initialized) run_over_factors(engine, work, table.data(), nullptr);
    take_table(engine, work, std::move(table));
  }
}

void run_over_factors(const TreeEngine& engine, const CliqueWork& work, float* numbers, const Step* last) {
  std::vector<Step> steps;
  steps.reserve(work.potentials.size() + work.links.size() + work.table.members->size() + 2);
  std::vector<std::unique_ptr<OwnIndexMap>> maps;
  for_each_factor(
      engine, work, [](const CliqueLink& link) { return link.holds; }, OwnIndexMaps{engine, work, maps},
      [&](StepKind kind, const IndexMap& map, FactorBuffer, const float* factor) {
        steps.push_back({kind, &map, factor});
      });
  if (last) steps.push_back(*last);
  run_pass(work.table.shape, numbers, steps.data(), steps.size(), parallel_settings(work.clique->domain()));
}

}  // namespace tv

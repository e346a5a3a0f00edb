// Reducing tables by the observed states: which dimensions remain, which strides others have along them, and
// reducing initialised tables in place.

#include <algorithm>

#include "inference/compress/sparse_tree.h"
#include "inference/gaussian/cg_engine.h"
#include "inference/schedule/lazy_clique.h"
#include "inference/schedule/subtree.h"

namespace tv {
namespace {

bool becomes_observed(const TreeEngine& engine, const Node* node) noexcept {
  return engine[*node].next_observed_state >= 0;
}

bool pattern_changes(const TreeEngine& engine, const ReducedTable& table) noexcept {
  for (size_t m = 0; m < table.members->size(); ++m)
    if (table.dimension_of[m] == ReducedTable::kUnplanned ||
        table.is_observed(m) != becomes_observed(engine, (*table.members)[m]))
      return true;
  return false;
}

// Moves the entries that agree with the newly observed states to the front. The remaining dimensions stay in
// order, so that no entry is overwritten before it has been read.
void reduce(const TreeEngine& engine, const ReducedTable& table, float* numbers) noexcept {
  Dimension nest[64];
  size_t offset = 0, stride = 1, reduced_stride = 1, count = 0;
  for (size_t m = table.members->size(); m-- > 0;) {
    if (!table.spans(m)) continue;
    const size_t d = table.dimension_of[m];
    const size_t states = table.shape.counts[d];
    const Node* node = (*table.members)[m];
    if (becomes_observed(engine, node)) {
      offset += static_cast<size_t>(engine[*node].next_observed_state) * stride;
    } else {
      nest[count++] = {states, reduced_stride, stride};
      reduced_stride *= states;
    }
    stride *= states;
  }
  std::reverse(nest, nest + count);
  kernels().assign(nest, count, numbers, numbers + offset);
}

// A sparse table is never reduced: findings multiply its entries.
void set_sparse_shape(ReducedTable& table) noexcept {
  std::fill_n(table.dimension_of, table.members->size(), ReducedTable::kNoDimension);
  table.shape.counts[0] = table.sparse->size();
  table.shape.dimensions = 1;
  measure_shape(table.shape);
  table.shape.set_sparse();
}

void set_shape(const TreeEngine& engine, ReducedTable& table) noexcept {
  if (table.sparse) return set_sparse_shape(table);
  size_t dimensions = 0;
  for (size_t m = 0; m < table.members->size(); ++m) {
    const Node* node = (*table.members)[m];
    unsigned char& dimension = table.dimension_of[m];
    if (becomes_observed(engine, node)) {
      dimension = ReducedTable::kObserved;
    } else if (node->number_of_states <= 1) {
      dimension = ReducedTable::kNoDimension;
    } else {
      dimension = static_cast<unsigned char>(dimensions);
      table.shape.counts[dimensions++] = node->number_of_states;
    }
  }
  table.shape.dimensions = static_cast<uint16_t>(dimensions);
  measure_shape(table.shape);
}

void reduce_clique(const TreeEngine& engine, const CliqueWork& work) noexcept {
  if (work.lazy)
    reduce_potentials(engine, work);
  else
    reduce(engine, work.table, work.table.numbers);
}

// With the messages that lazy cliques at its ends have stored.
void reduce_separator(const TreeEngine& engine, size_t child) noexcept {
  const ReducedTable& table = engine.separators[child].old;
  reduce(engine, table, table.numbers);
  if (!engine.has_lazy) return;
  for (const CliqueLink& link : engine.cliques[child].links) {
    if (link.separator != child) continue;
    if (link.received) reduce(engine, table, link.received);
    const CliqueLink& back = engine.cliques[link.neighbor].links[link.back];
    if (back.received) reduce(engine, table, back.received);
  }
}

void plan_separator(TreeEngine& engine, size_t child, bool cuts) noexcept {
  SeparatorWork& work = engine.separators[child];
  if (!work.separator || !pattern_changes(engine, work.old)) return;
  if (cuts && engine.cliques[child].initialized) reduce_separator(engine, child);
  set_shape(engine, work.old);
}

void plan_clique(TreeEngine& engine, size_t clique, bool cuts) noexcept {
  CliqueWork& work = engine.cliques[clique];
  if (!pattern_changes(engine, work.table)) return;
  if (cuts && work.initialized) reduce_clique(engine, work);
  set_shape(engine, work.table);
  ++work.version;
}

// Sets the shapes of the tables whose observed members change; initialised ones are reduced where `cuts` says
// so. Separators first: the strides of links depend on their new shapes.
void plan_tables(TreeEngine& engine, bool cuts) noexcept {
  for (size_t c = 0; c < engine.cliques.size(); ++c) plan_separator(engine, c, cuts);
  for (size_t c = 0; c < engine.cliques.size(); ++c) plan_clique(engine, c, cuts);
}

// The same, looking only at tables with a node that becomes observed or ceases to be.
void plan_changed_tables(TreeEngine& engine) noexcept {
  for (const auto plan : {plan_separator, plan_clique})
    for_each_with_evidence(engine, [&](const Node& node) {
      if (engine[node].next_observed_state == engine[node].observed_state) return;
      order_cliques_with(engine, node);
      for (const size_t clique : engine.order) plan(engine, clique, true);
    });
}

}  // namespace

void step_in_potential(const ReducedTable& table, const CliquePotential& plan, size_t* steps) noexcept {
  size_t stride = 1;  // in a copy, which has no gaps
  for (size_t m = plan.members->size(); m-- > 0;) {
    if (!table.spans(m)) continue;
    const size_t d = table.dimension_of[m];
    steps[d] = plan.copy && plan.strides[m] ? stride : plan.strides[m];
    if (plan.strides[m]) stride *= table.shape.counts[d];
  }
}

void step_in_separator(const ReducedTable& table, const CliqueLink& link, const ReducedTable& separator,
                       size_t* steps) noexcept {
  size_t strides[64], stride = 1;
  for (size_t d = separator.shape.dimensions; d-- > 0; stride *= separator.shape.counts[d])
    strides[d] = stride;
  for (size_t m = 0; m < table.members->size(); ++m) {
    if (!table.spans(m)) continue;
    const size_t d = table.dimension_of[m];
    const MemberIndex there = link.member_of[m];
    steps[d] = there == kNoMember ? 0 : strides[separator.dimension_of[there]];
  }
}

void step_in_member(const ReducedTable& table, size_t member, size_t* steps) noexcept {
  std::fill_n(steps, table.shape.dimensions, 0);
  if (table.spans(member)) steps[table.dimension_of[member]] = 1;
}

bool refresh_potential(CliquePotential& plan) noexcept {
  const Table* table = plan.table();
  const size_t layout = table ? table->layout : kNone;
  if (!table) plan.uniform = 1.0f / static_cast<float>(plan.owner->number_of_states);
  if (layout == plan.layout) return false;
  plan.layout = layout;
  std::fill_n(plan.strides, plan.members->size(), 0);
  if (table) {
    size_t stride = 1;
    for (size_t i = table->discrete_count; i-- > 0; stride *= table->nodes[i]->number_of_states)
      plan.strides[plan.members->position(table->nodes[i])] = stride;
  }
  return true;
}

void apply_observed_states(TreeEngine& engine, bool everywhere) noexcept {
  refresh_shapes(engine);
  if (everywhere)
    plan_tables(engine, true);
  else
    plan_changed_tables(engine);
  for_each_with_evidence(
      engine, [&](const Node& node) { engine[node].observed_state = engine[node].next_observed_state; });
}

void refresh_shapes(TreeEngine& engine) noexcept {
  if (!engine.shapes_are_stale) return;
  engine.shapes_are_stale = false;
  // The numbers already have these shapes. The states that come next must not get lost meanwhile.
  const auto exchange = [&](const Node& node) {
    std::swap(engine[node].next_observed_state, engine[node].observed_state);
  };
  for_each_with_evidence(engine, exchange);
  plan_tables(engine, false);
  for_each_with_evidence(engine, exchange);
}

void forget_tables(TreeEngine& engine) noexcept {
  engine.marginals_only = engine.awaits_initial_numbers = false;
  engine.saved_potentials.clear();
  engine.is_extended = false;
  engine.lost_share = -std::numeric_limits<double>::infinity();
  for (CliqueWork& work : engine.cliques) {
    work.initialized = false;
    work.findings.clear();
    ++work.version;
  }
  if (engine.has_lazy) {
    for (CliqueLink& link : engine.clique_links) link.holds = false;
    std::fill(engine.clique_factors.begin(), engine.clique_factors.end(), 1.0f);
  }
  if (!engine.cg) return;
  engine.cg->holds_densities = false;
  engine.cg->growth = 0.0;
  ++engine.cg->round;
  ++engine.cg->resets;
}

}  // namespace tv

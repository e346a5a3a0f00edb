// The shapes of the utility engine: which dimensions remain unobserved, and the strides of tables and
// messages along them.

#include <algorithm>

#include "inference/engine.h"
#include "inference/evidence/evidence.h"
#include "inference/utility/utility_engine.h"

namespace tv {
namespace {

// Under fast retraction a selected state is a finding like others: it is left out where the node is asked for
// what follows from all evidence but its own.
ptrdiff_t known_state(const UtilityEngine& engine, const Node& node) noexcept {
  const ptrdiff_t state = engine[node].propagated_state;
  return engine.mode == tv_evidence_normal && state >= 0 ? state : kNoEvidence;
}

bool is_known(const UtilityEngine& engine, const Node& node) noexcept {
  return engine[node].known_state >= 0;
}

void set_shape(const UtilityEngine& engine, UtilityClique& work) noexcept {
  const NodeList& members = work.clique->members();
  size_t dimensions = 0;
  for (size_t m = 0; m < members.size(); ++m) {
    const bool spans = !is_known(engine, *members[m]) && members[m]->number_of_states > 1;
    work.dimension_of[m] = spans ? dimensions : kNone;
    if (spans) work.shape.counts[dimensions++] = members[m]->number_of_states;
  }
  work.shape.dimensions = static_cast<uint16_t>(dimensions);
  measure_whole_blocks(work.shape);
}

void plan_link(const UtilityEngine& engine, const UtilityClique& work, UtilityLink& link) noexcept {
  const NodeList& members = work.clique->members();
  const auto step_of = [&](size_t position) {  // in the separator without the observed members
    size_t step = 1;
    for (size_t s = position + 1; s < link.members->size(); ++s)
      if (!is_known(engine, *(*link.members)[s])) step *= (*link.members)[s]->number_of_states;
    return step;
  };
  for (size_t m = 0; m < members.size(); ++m)
    if (const size_t d = work.dimension_of[m]; d != kNone)
      link.map.steps[d] = link.member_of[m] == kNone ? 0 : step_of(link.member_of[m]);
  finish_index_map(link.map, work.shape);
}

void plan_home(const UtilityClique& work, UtilityMember& home) noexcept {
  std::fill_n(home.map.steps, work.shape.dimensions, 0);
  if (const size_t d = work.dimension_of[home.member]; d != kNone) home.map.steps[d] = 1;
  finish_index_map(home.map, work.shape);
}

void plan_operand(const UtilityClique& work, UtilityOperand& operand) noexcept {
  for (size_t m = 0; m < work.clique->members().size(); ++m)
    if (const size_t d = work.dimension_of[m]; d != kNone) operand.map.steps[d] = operand.strides[m];
  finish_index_map(operand.map, work.shape);
}

bool state_changes(const UtilityEngine& engine, const UtilityClique& work) noexcept {
  const NodeList& members = work.clique->members();
  return std::any_of(members.begin(), members.end(), [&](const Node* member) {
    return engine[*member].known_state != known_state(engine, *member);
  });
}

}  // namespace

void shape_utilities(UtilityEngine& engine) noexcept {
  for (UtilityClique& work : engine.cliques) work.dirty = engine.stale || state_changes(engine, work);
  for (const Node* node : engine.tree->nodes) engine[*node].known_state = known_state(engine, *node);
  for (UtilityClique& work : engine.cliques) {
    if (!work.dirty) continue;
    set_shape(engine, work);
    for (UtilityOperand& operand : work.operands) plan_operand(work, operand);
    for (UtilityLink& link : work.links) plan_link(engine, work, link);
    for (UtilityMember& home : work.homes) plan_home(work, home);
  }
}

void refresh_operand(const UtilityClique& work, UtilityOperand& operand) noexcept {
  const Table* table = operand.table();
  if (!table || table->layout == operand.layout) return;
  operand.layout = table->layout;
  std::fill_n(operand.strides, work.clique->members().size(), 0);
  size_t stride = 1;
  for (size_t i = table->discrete_count; i-- > 0; stride *= table->nodes[i]->number_of_states)
    operand.strides[work.clique->members().position(table->nodes[i])] = stride;
  plan_operand(work, operand);
}

size_t known_offset(const UtilityEngine& engine, const UtilityClique& work,
                    const UtilityOperand& operand) noexcept {
  size_t offset = 0;
  for (size_t m = 0; m < work.clique->members().size(); ++m)
    if (const ptrdiff_t state = engine[*work.clique->members()[m]].known_state; state > 0)
      offset += operand.strides[m] * static_cast<size_t>(state);
  return offset;
}

bool counts(const UtilityEngine& engine, const UtilityOperand& operand) noexcept {
  const Table* table = operand.table();
  return table && has_data(*table) && !(operand.node && engine[*operand.node].policy_left_out);
}

size_t operand_of(const UtilityEngine& engine, const Node& node) noexcept {
  const Clique* const clique = placement(node).assigned;
  if (!clique) return kNone;
  const std::span<UtilityOperand> operands = engine.cliques[clique->position].operands;
  const auto found = std::find_if(operands.begin(), operands.end(),
                                  [&](const UtilityOperand& operand) { return operand.node == &node; });
  return found == operands.end() ? kNone : static_cast<size_t>(&*found - engine.operands.data());
}

}  // namespace tv

// Absorbing evidence. Hard evidence fixes a state and reduces the tables. A likelihood becomes a likelihood
// ratio, the entered finding divided by the one that the tables already hold, which the next pass over the
// node's home clique multiplies in.

#include "inference/evidence/absorb_evidence.h"

#include <algorithm>
#include <cmath>

#include "api/boundary.h"
#include "inference/evidence/evidence.h"
#include "inference/schedule/lazy_clique.h"
#include "inference/schedule/run_schedule.h"
#include "inference/schedule/subtree.h"
#include "tables/kernels/number_bounds.h"

namespace tv {
namespace {

bool counts_as_zero(tv_number_t value) noexcept {
  return !(static_cast<double>(value) > kSmallestNormalFloat);
}

// A sparse tree keeps a vector for a selected state, too.
void copy_entered_finding(const TreeEngine& engine, const Node& node) noexcept {
  const ptrdiff_t state = engine.entered(node).state;
  if (engine.tree->sparse && state != kFindingVector) {
    tv_number_t* const vector = engine.propagated_finding(node);
    std::fill_n(vector, node.number_of_states, state == kNoEvidence ? 1.0f : 0.0f);
    if (state >= 0) vector[state] = 1.0f;
    return;
  }
  if (engine.entered(node).state == kFindingVector)
    std::copy(engine.entered(node).finding.begin(), engine.entered(node).finding.end(),
              engine.propagated_finding(node));
}

// Records the change of a node's evidence in its home clique and in the conflict.
void absorb(TreeEngine& engine, const Node& node, ptrdiff_t state, const tv_number_t* finding,
            tv_equilibrium_t equilibrium) noexcept {
  NodeState& data = engine[node];
  Clique& home = *placement(node).home;
  if (engine.equilibrium != tv_equilibrium_none) {
    const double probability = probability_of_evidence(engine, node, state, finding, equilibrium);
    CliqueWork& work = engine.cliques[home.position];
    if (!work.measured) engine.measured.push_back(home.position);
    work.measured = true;
    work.finding_probability *= probability;
    work.conflict *= probability;
    engine.finding_probability.multiply(probability);
  }
  data.in_conflict = true;
  mark_clique(engine, home.position);
}

void multiply_update_later(TreeEngine& engine, const Node& node) noexcept {
  const Clique& home = *placement(node).home;
  engine.cliques[home.position].findings.push_back(home.members().position(&node));
}

// The likelihood ratio that leads from the propagated finding to the entered one.
void make_likelihood_ratio(const TreeEngine& engine, const Node& node) noexcept {
  NodeState& data = engine[node];
  const ptrdiff_t entered = engine.entered(node).state, propagated = data.propagated_state;
  for (size_t i = 0; i < node.number_of_states; ++i) {
    const tv_number_t old = propagated == kFindingVector ? engine.propagated_finding(node)[i] : 1.0f;
    tv_number_t fresh = 1.0f;
    if (entered == kFindingVector) fresh = engine.entered(node).finding[i];
    if (entered >= 0) fresh = static_cast<size_t>(entered) == i ? 1.0f : 0.0f;
    engine.likelihood_ratio(node)[i] = counts_as_zero(old) ? 0.0f : fresh / old;
  }
}

// The binary logarithm of the largest ratio by which an entry can grow.
double growth_of_ratio(const TreeEngine& engine, const Node& node) noexcept {
  const tv_number_t* const update = engine.likelihood_ratio(node);
  const float largest = *std::max_element(update, update + node.number_of_states);
  return std::max(0.0, std::log2(static_cast<double>(largest)));
}

// Without memory for a vector, the conflicts of single cliques cannot be measured should they need it.
void remember_former(TreeEngine& engine, const Node& node) noexcept {
  const ptrdiff_t state = engine[node].propagated_state;
  engine.former_states.push_back(static_cast<int32_t>(state));
  if (state == kFindingVector)
    succeeds_with_memory([&] {
      engine.former_findings.insert(engine.former_findings.end(), engine.propagated_finding(node),
                                    engine.propagated_finding(node) + node.number_of_states);
    });
}

void enter_one(TreeEngine& engine, const Node& node, tv_equilibrium_t equilibrium) noexcept {
  NodeState& data = engine[node];
  remember_former(engine, node);
  const ptrdiff_t entered = engine.entered(node).state, propagated = data.propagated_state;
  const bool only_selects = !engine.tree->sparse && entered >= 0 &&
                            (propagated == kNoEvidence || engine.propagated_finding(node)[entered] == 1.0f);
  if (only_selects) {
    absorb(engine, node, entered, nullptr, equilibrium);
  } else {
    make_likelihood_ratio(engine, node);
    engine.lost_share += growth_of_ratio(engine, node);
    absorb(engine, node, kFindingVector, engine.likelihood_ratio(node), equilibrium);
    multiply_update_later(engine, node);
    copy_entered_finding(engine, node);
  }
  data.propagated_state = entered;
}

// They are sorted already where the host enters evidence in the order of its nodes.
void sort_positions(const ArenaList<uint32_t>& list) noexcept {
  if (!std::is_sorted(list.begin(), list.end())) std::sort(list.begin(), list.end());
}

// Neither entered nor propagated evidence, nor an observed state.
bool is_without_evidence(const TreeEngine& engine, const Node& node) noexcept {
  const NodeState& data = engine[node];
  return engine.entered(node).state == kNoEvidence && !engine.entered(node).value_flag &&
         data.propagated_state == kNoEvidence && !data.value_propagated && data.observed_state < 0 &&
         data.next_observed_state < 0 && !data.in_conflict;
}

bool must_be_retracted(const TreeEngine& engine, const Node& node) noexcept {
  const NodeState& data = engine[node];
  if (is_continuous(node))
    return data.value_propagated &&
           !(engine.entered(node).value_flag && engine.entered(node).value == data.propagated_value);
  const ptrdiff_t entered = engine.entered(node).state, propagated = data.propagated_state;
  if (propagated == kNoEvidence) return false;
  if (propagated >= 0) return entered == kNoEvidence ? node.number_of_states > 1 : entered != propagated;
  if (entered >= 0) return counts_as_zero(engine.propagated_finding(node)[entered]);
  for (size_t i = 0; i < node.number_of_states; ++i) {
    const tv_number_t fresh = entered == kNoEvidence ? 1.0f : engine.entered(node).finding[i];
    const tv_number_t old = engine.propagated_finding(node)[i];
    // A ratio that no float holds cannot be multiplied in.
    if (fresh > 0.0f && (counts_as_zero(old) || !std::isfinite(fresh / old))) return true;
  }
  return false;
}

}  // namespace

void collect_pending_nodes(TreeEngine& engine) noexcept {
  engine.pending.clear();
  sort_positions(engine.changed);
  for (const uint32_t position : engine.changed) {
    Node* node = engine.tree->nodes[position];
    engine[*node].evidence_changed = false;
    if (!is_discrete(*node) || !_tv_node_evidence_to_propagate(*node, engine[*node])) continue;
    engine.pending.push_back(node);
    engine.evidence_count -= evidence_is_propagated(*node, engine[*node]);
    engine.likelihood_count -= likelihood_is_propagated(*node, engine[*node]);
  }
  engine.changed.clear();
}

void count_pending_as_propagated(TreeEngine& engine) noexcept {
  for (const Node* node : engine.pending) {
    engine.evidence_count += evidence_is_propagated(*node, engine[*node]);
    engine.likelihood_count += likelihood_is_propagated(*node, engine[*node]);
  }
}

void tidy_evidence(TreeEngine& engine) noexcept {
  sort_positions(engine.evidence);
  const auto is_over = [&](uint32_t position) {
    const Node& node = *engine.tree->nodes[position];
    if (engine[node].evidence_changed || !is_without_evidence(engine, node)) return false;
    engine[node].evidence_listed = false;
    return true;
  };
  const uint32_t* end = std::remove_if(engine.evidence.begin(), engine.evidence.end(), is_over);
  engine.evidence.shrink(static_cast<size_t>(end - engine.evidence.begin()));
}

void copy_pending_evidence(TreeEngine& engine) noexcept {
  for (const Node* node : engine.pending) {
    copy_entered_finding(engine, *node);
    engine[*node].propagated_state = engine.entered(*node).state;
  }
}

void enter_pending_evidence(TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept {
  for (const Node* node : engine.pending) enter_one(engine, *node, equilibrium);
}

void mark_newly_observed(TreeEngine& engine) noexcept {
  for (const Node* node : engine.pending) {
    const NodeState& data = engine[*node];
    if (std::max<ptrdiff_t>(data.propagated_state, -1) == data.observed_state) continue;
    order_cliques_with(engine, *node);
    for (const size_t clique : engine.order) mark_clique(engine, clique);
  }
}

void mark_homes_of_pending(TreeEngine& engine) noexcept {
  for (const Node* node : engine.pending) mark_clique(engine, placement(*node).home->position);
}

void enter_all_evidence(TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept {
  mark_homes_of_pending(engine);
  engine.all_in_conflict = true;
  for_each_with_evidence(engine, [&](const Node& node) {
    NodeState& data = engine[node];
    if (data.propagated_state == kNoEvidence) return;
    absorb(engine, node, data.propagated_state, engine.propagated_finding(node), equilibrium);
  });
  enter_findings_again(engine);
}

void enter_findings_again(TreeEngine& engine) noexcept {
  for_each_with_evidence(engine, [&](const Node& node) {
    const NodeState& data = engine[node];
    if (!has_finding_vector(engine, data)) return;
    std::copy(engine.propagated_finding(node), engine.propagated_finding(node) + node.number_of_states,
              engine.likelihood_ratio(node));
    multiply_update_later(engine, node);
  });
}

void observe_states(TreeEngine& engine) noexcept {
  if (engine.tree->sparse) return;  // findings are multiplied
  const bool anew = engine.equilibrium == tv_equilibrium_none;
  bool changes = engine.shapes_are_stale;
  const auto fix = [&](const Node& node) {
    NodeState& data = engine[node];
    data.next_observed_state = std::max<ptrdiff_t>(data.propagated_state, -1);
    if (data.next_observed_state == data.observed_state) return;
    changes = true;
    if (anew) return;  // all cliques are marked
    order_cliques_with(engine, node);
    for (const size_t clique : engine.order) mark_clique(engine, clique);
  };
  if (anew || engine.mode == tv_evidence_fast_retraction)  // which reduces no tables
    for_each_with_evidence(engine, fix);
  else
    for (const Node* node : engine.pending) fix(*node);
  if (changes) apply_observed_states(engine, anew);
}

void observe_states_without_shapes(TreeEngine& engine) noexcept {
  if (engine.tree->sparse) return;
  for_each_with_evidence(engine, [&](const Node& node) {
    NodeState& data = engine[node];
    data.observed_state = data.next_observed_state = std::max<ptrdiff_t>(data.propagated_state, -1);
  });
  engine.shapes_are_stale = true;
}

bool evidence_must_be_retracted(const TreeEngine& engine) noexcept {
  const ArenaList<uint32_t>& list = engine.changed;
  return std::any_of(list.begin(), list.end(), [&](uint32_t position) {
    return must_be_retracted(engine, *engine.tree->nodes[position]);
  });
}

}  // namespace tv

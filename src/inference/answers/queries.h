// What the queries of inference have in common: which node and which tree answer a question, and
// the checks that come before every answer. A query reads; it never propagates.
#pragma once

#include "api/status.h"
#include "inference/engine.h"

namespace tv {

// A linked node answers for everything that was propagated.
inline const Node& answering_node(const Node& node) noexcept {
  return node.linked_node ? *node.linked_node : node;
}

// The tree that holds the node or, for a node that is only assigned to a clique, the clique's tree.
// Null where there is none. The domain is compiled.
inline const JunctionTree* tree_with_potential(const Node& node) noexcept {
  const NodePlacement& place = placement(node);
  return place.tree || !place.assigned ? place.tree : place.assigned->tree;
}
inline TreeEngine* result_engine(const InferenceState& state, const Node& node) noexcept {
  const JunctionTree* const tree = tree_with_potential(node);
  return tree ? state.trees[tree->position].get() : nullptr;
}

inline tv_status_t refuse_uncompiled() noexcept {
  return refuse(tv_status_not_compiled, "the network is not compiled");
}
inline tv_status_t refuse_without_equilibrium() noexcept {
  return refuse(tv_status_no_equilibrium, "nothing valid is propagated: propagate first");
}

inline bool require_compiled(const Domain& domain) noexcept {
  return is_compiled(domain) || refuse_uncompiled() == tv_status_none;
}

// `not_compiled`, or `no_equilibrium` for a node whose tree has no valid tables.
inline bool require_equilibrium(const Node& node) noexcept {
  if (!require_compiled(*node.domain)) return false;
  const TreeEngine* const engine = result_engine(own_state(*node.domain), node);
  return !engine || engine->equilibrium != tv_equilibrium_none ||
         refuse_without_equilibrium() == tv_status_none;
}

// The node to be read for what was propagated on `node`; null after a failed check, which is stored.
inline const Node* node_with_results(const Node* node, bool argument_is_valid) noexcept {
  if (!check(argument_is_valid)) return nullptr;
  const Node& answering = answering_node(*node);
  return require_equilibrium(answering) ? &answering : nullptr;
}

inline bool is_discrete_node(const Node* node) noexcept { return node && is_discrete(*node); }
inline bool is_continuous_node(const Node* node) noexcept { return node && is_continuous(*node); }
inline bool is_state(const Node* node, size_t state) noexcept {
  return is_discrete_node(node) && state < node->number_of_states;
}

// Whether the tables are marginals of the distribution given all evidence (up to a constant).
inline bool holds_marginals(const TreeEngine& engine) noexcept {
  return engine.equilibrium == tv_equilibrium_sum &&
         (engine.mode == tv_evidence_normal || !engine.evidence_propagated);
}

// Of the domain's own state.
template <class Test>
bool any_tree(const Domain& domain, Test test) {
  for (const auto& engine : own_state(domain).trees)
    if (test(*engine)) return true;
  return false;
}

// The checks that open every query about a whole domain or about one tree.
inline bool check_compiled(const Domain* domain) noexcept {
  return check(domain) && require_compiled(*domain);
}
inline bool check_compiled(const JunctionTree* tree) noexcept {
  return check(tree) && require_compiled(*tree->domain);
}

inline bool is_invalid(const TreeEngine& engine) noexcept {
  return engine.equilibrium == tv_equilibrium_none;
}

// The same, and every tree that is asked about has valid tables.
inline bool check_equilibrium(const Domain* domain) noexcept {
  return check_compiled(domain) &&
         (!any_tree(*domain, is_invalid) || refuse_without_equilibrium() == tv_status_none);
}
inline bool check_equilibrium(const JunctionTree* tree) noexcept {
  return check_compiled(tree) &&
         (!is_invalid(*tree->engine) || refuse_without_equilibrium() == tv_status_none);
}

}  // namespace tv

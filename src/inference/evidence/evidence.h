// Evidence on nodes. What the host has entered is kept beside what the tables of the tree reflect;
// each tree counts the nodes where the two differ, so that "is there anything to propagate" costs
// nothing. Entered evidence is always in normal form, so equal evidence has one representation.
#pragma once

#include "inference/state.h"

namespace tv {

// ---- Entering and retracting; arguments have been checked ----

// All of these reach the linked nodes too. Where a finding vector must be allocated std::bad_alloc may
// travel, with nothing changed. The evidence is that of a query, or without one the domain's own.
void _tv_node_select_state(Node& node, size_t state, InferenceState* query = nullptr) noexcept;
void _tv_node_enter_finding(Node& node, size_t state, tv_number_t value, InferenceState* query = nullptr);
void _tv_node_enter_findings(Node& node, const tv_number_t* findings);  // one for each state
void _tv_node_enter_value(Node& node, double value, InferenceState* query = nullptr) noexcept;
void _tv_node_retract_findings(Node& node, InferenceState* query = nullptr) noexcept;
void retract_all_findings(Domain& domain) noexcept;
void retract_listed_findings(InferenceState& state) noexcept;  // on all nodes of trees

// Makes the entered evidence of `node` that of `source`, a node of the same kind with as many states;
// null stands for no evidence.
void _tv_node_copy_evidence(Node& node, const Node* source);

// The index that is equivalent to the vector: a state, kNoEvidence (all ones) or kFindingVector.
ptrdiff_t convert_entered_findings_to_state_index(const std::vector<tv_number_t>& finding) noexcept;

// Puts a node into its engine's lists of evidence and of changed evidence.
void list_evidence(TreeEngine& engine, const Node& node) noexcept;

// What hosts may enter: otherwise the refusal is stored and returned.
tv_status_t check_state(const Node* node, size_t state) noexcept;
tv_status_t check_finding(const Node* node, size_t state, tv_number_t value) noexcept;
tv_status_t check_value(const Node* node, double value) noexcept;
bool takes_evidence(const Node* node) noexcept;

// ---- Entered evidence ----

inline bool evidence_is_entered(const Node& node, const EnteredEvidence& entered) noexcept {
  return is_continuous(node) ? entered.value_flag : entered.state != kNoEvidence;
}
bool _tv_node_evidence_is_entered(const Node& node) noexcept;
bool likelihood_is_entered(const Node& node) noexcept;
tv_number_t entered_finding(const Node& node, size_t state) noexcept;

// ---- Propagated evidence ----

bool evidence_is_propagated(const Node& node, const NodeState& state) noexcept;
bool _tv_node_hard_evidence_is_propagated(const Node& node, const NodeState& state) noexcept;
bool likelihood_is_propagated(const Node& node, const NodeState& state) noexcept;
tv_number_t finding_that_is_propagated(const Node& node, const NodeState& record, size_t state) noexcept;

// Whether a decision has been taken: once that is propagated its state replaces its policy.
inline bool decision_is_made(const Node& node, const EnteredEvidence& entered) noexcept {
  return node.category == tv_category_decision && entered.state >= 0;
}

// Whether what is entered differs from what is propagated.
bool _tv_node_evidence_to_propagate(const Node& node, const NodeState& state) noexcept;
bool tree_has_evidence_to_propagate(const TreeEngine& engine);  // or new tables of required instantiations
bool _tv_domain_evidence_to_propagate(const Domain& domain);
bool _tv_domain_evidence_is_propagated(const Domain& domain) noexcept;

// ---- What may be propagated ----

// The "free will" rule of decisions: nothing that a decision without evidence may influence through
// chance nodes has been observed, and what is known of a decision is its state. False when it is broken, with
// `invalid_evidence` and a message stored.
bool _tv_jt_evidence_is_valid(const TreeEngine& engine);
bool _tv_domain_evidence_is_valid(const InferenceState& state);

// Whether every node that the domain requires to be instantiated has a selected state; stores the same if
// not.
bool _tv_domain_ijt_nodes_are_instantiated(const InferenceState& state) noexcept;

}  // namespace tv

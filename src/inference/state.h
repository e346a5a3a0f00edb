// What one set of evidence has made of a compiled forest. The domain has a state of its own, which the host
// sees; further ones share the forest, which they only read.
#pragma once

#include <memory>
#include <vector>

#include "compile/forest.h"

namespace tv {

// Of one node.
struct NodeState {
  // What a question about a belief reads stands together.
  tv_number_t* belief = nullptr;  // one per state; then the propagated finding and the likelihood ratio
  ptrdiff_t propagated_state = kNoEvidence;  // encoded like EnteredEvidence::state
  EnteredEvidence* entered = nullptr;        // what is entered on it
  ptrdiff_t observed_state = -1;             // the one state to which the tables are restricted, or -1
  ptrdiff_t next_observed_state = -1;        // the same for the propagation that is being prepared
  ptrdiff_t known_state = -1;                // to which expected utilities are restricted, or -1
  double* expected_utility = nullptr;        // one per state; of a utility node the expectation and the
                                             // variance; null in a tree without utilities
  double propagated_value = 0.0;
  size_t table_configuration = kNone;  // states of required instantiations in the node's table, as they were
                                       // when the tree's tables were built
  bool value_propagated = false;
  bool table_touched = false;     // since the configurations of its sparse tree were last looked at
  bool evidence_listed = false;   // the node stands in its engine's list of evidence,
  bool evidence_changed = false;  // and in that of evidence that has changed
  bool in_conflict = false;      // the conflict of its home takes in the evidence that was last entered on it
  bool is_target = false;        // to be updated by the current propagation
  bool policy_left_out = false;  // of a decision: its state stands in the place of its policy
  unsigned char trail_marks = 0;  // of the d-connection search; 0 outside it
};

struct InferenceState {
  InferenceState();
  ~InferenceState();

  Domain* domain = nullptr;
  std::vector<NodeState> nodes;                    // by node number - 1
  std::vector<std::unique_ptr<TreeEngine>> trees;  // by position of the tree
  Block<tv_number_t> numbers;            // beliefs, propagated findings and likelihood ratios of all nodes
  std::vector<EnteredEvidence> entered;  // by node number - 1; empty where the nodes have their own
  std::shared_ptr<void> sampler;         // made for what is propagated, see analysis/simulation/sampler.h

  // Of the domain; the others leave its tables alone.
  bool is_own() const noexcept { return entered.empty(); }

  NodeState& operator[](const Node& node) noexcept { return nodes[node.number - 1]; }
  const NodeState& operator[](const Node& node) const noexcept { return nodes[node.number - 1]; }

  // Null for a node that lies in no tree.
  TreeEngine* engine_of(const Node& node) const noexcept {
    const JunctionTree* const tree = placement(node).tree;
    return tree ? trees[tree->position].get() : nullptr;
  }
};

// The propagated finding of a discrete node, one number per state, read under kFindingVector.
inline tv_number_t* propagated_finding(const Node& node, const NodeState& state) noexcept {
  return state.belief + node.number_of_states;
}

// Of a compiled domain.
inline InferenceState& own_state(const Domain& domain) noexcept { return *domain.forest->state; }
inline NodeState& state_of(const Node& node) noexcept { return own_state(*node.domain)[node]; }

}  // namespace tv

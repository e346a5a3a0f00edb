// Expected utilities that propagation has left with the nodes of a compiled domain.
#pragma once

#include "inference/state.h"

namespace tv {

// Of a state of a discrete node: the utility of its whole tree given the state and the evidence, 0 for an
// impossible state. Of a utility node: its expectation (0) and its variance (1). 0 in a tree without
// utilities.
double expected_utility(const InferenceState& all, const Node& node, size_t state) noexcept;

// The sum over the utility nodes.
double total_expected_utility(const InferenceState& all) noexcept;

// Whether such a question makes sense; the answer after further checks, or -1 with the status stored. All
// trees that are asked about are in equilibrium.
bool has_expected_utility(const Node* node, size_t state) noexcept;
tv_number_t checked_expected_utility(const InferenceState& all, const Node& node, size_t state) noexcept;
double checked_total_utility(const InferenceState& all) noexcept;

}  // namespace tv

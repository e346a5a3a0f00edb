// Reading the equilibrium: beliefs and what is computed from them. Nothing is normalised on reading.
#pragma once

#include "inference/state.h"

namespace tv {

// The checks of the public queries have been made: the domain is compiled and the node's tree has
// valid tables.

// The probability of one state. A node whose state was propagated as evidence has exactly 1 and 0.
tv_number_t belief_of(const InferenceState& all, const Node& node, size_t state) noexcept;
tv_number_t own_belief(const Node& node, size_t state) noexcept;  // in the domain's own state

// The same after the checks; -1 with the status stored where it cannot be read.
tv_number_t checked_belief(const InferenceState& all, const Node& node, size_t state) noexcept;

// The one state that the node can be in given the evidence, or -1 when more than one is left.
ptrdiff_t get_inferred_state(const Node& node) noexcept;

// In natural units.
double node_entropy(const Node& node) noexcept;

// The number that a state of a node with numbers or intervals stands for, or the span over which it is spread
// evenly. The node has state values.
struct StateSpan {
  double low, high;
  double mean() const noexcept { return low / 2 + high / 2; }
  double variance() const noexcept { return (high - low) * (high - low) / 12; }
};
StateSpan state_span(const Node& node, size_t state) noexcept;

struct MeanAndVariance {
  double mean = 0;
  double variance = 0;
};

// Of a continuous node, or of a discrete one with numbers or intervals as states (a value is spread
// evenly over its interval): `usage` for any other node and unless the tree holds marginals,
// `invalid_state_values` where values are missing or out of order, or an interval that is possible has
// no end. Stores nothing.
tv_status_t mean_and_variance(const InferenceState& all, const Node& node, MeanAndVariance& result) noexcept;
tv_status_t own_mean_and_variance(const Node& node, MeanAndVariance& result) noexcept;

}  // namespace tv

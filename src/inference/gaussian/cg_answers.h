// What can be read of continuous nodes once their tree is in equilibrium.
#pragma once

#include <memory>

#include "inference/answers/beliefs.h"

namespace tv {

// Of a continuous node given all evidence. `overflow` where it is no finite number; stores nothing.
tv_status_t cg_mean_and_variance(const InferenceState& state, const Node& node,
                                 MeanAndVariance& result) noexcept;

// Means and covariances of the clique's continuous members for each of its configurations; zero where a
// configuration is impossible.
void cg_materialize(const Clique& clique, double* cg_data) noexcept;

// The joint distribution of discrete and continuous nodes; null with the status stored. The discrete nodes
// stand first, both kinds in the order given.
std::unique_ptr<Table> cg_marginal(InferenceState& state, const NodeList& nodes);

// The exact distribution of a continuous node: a mixture over the discrete nodes of the table, normal in each
// configuration.
std::unique_ptr<Table> cg_distribution(InferenceState& state, const Node& node);

}  // namespace tv

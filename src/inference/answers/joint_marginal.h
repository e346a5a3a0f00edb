// Marginals of several nodes.
#pragma once

#include <memory>

#include "inference/state.h"

namespace tv {

// The joint distribution of the nodes, whether or not one clique holds them; null with the status stored.
// That of continuous nodes is given by means and covariances, for each configuration of the discrete nodes.
std::unique_ptr<Table> joint_marginal(InferenceState& state, const NodeList& nodes);

}  // namespace tv

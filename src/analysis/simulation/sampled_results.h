// What function nodes and utilities are in a configuration that was drawn.
#pragma once

#include "network/domain.h"

namespace tv {

// The number that a discrete node with numbers or intervals stands for in a state: `usage` for other nodes,
// `invalid_state_values` where there is none.
tv_status_t number_of_state(const Node& node, size_t state, double& number) noexcept;

// Adds the values of utilities and of real-valued functions to the sample of the domain. A value that cannot
// be computed is left out.
tv_status_t evaluate_sampled_nodes(Domain& domain);

}  // namespace tv

// Normalising the components of a chain graph.
#pragma once

#include "compile/forest.h"

namespace tv {

// Checks the chain potentials of a tree and computes the divisor of each of its components. `chain_graph`
// when a configuration of the parents leaves a component no possible configuration,
// `invalid_probability_potential` for negative or huge entries.
tv_status_t compute_chain_divisors(Forest& forest, const JunctionTree& tree);

}  // namespace tv

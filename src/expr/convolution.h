// The distribution of a random number of independent copies of a quantity, added up.
#pragma once

#include "expr/distributions.h"

namespace tv {

// The probabilities of the child's intervals for an aggregate over the results of propagation. What is wrong
// is logged: `invalid_expression`, `invalid_state_values`, `insufficient_state_range`, or what the results
// lack.
tv_status_t aggregate_masses(const DistributionValue& aggregate, Node& child, Trace& trace, double* masses);

}  // namespace tv

// What function nodes are computed from: the results of the last propagation. Declared here for the
// evaluation of expressions; the answers are given by inference (inference/answers/function_values.cpp).
// None of these stores a status. `no_equilibrium` and `not_compiled` say that there are no results,
// `computation_failed` that they do not determine what is asked for.
#pragma once

#include <vector>

#include "network/domain.h"

namespace tv {

// The number that a node stands for as an operand: the expected utility of a utility node, the mean of any
// other (of a node with intervals, the mean of their middles). Not for real-valued function nodes.
tv_status_t result_number(Node& node, double& number);

// The one state in which the evidence leaves a discrete node.
tv_status_t result_state(const Node& node, size_t& state);

tv_status_t result_variance(Node& node, double& variance);
tv_status_t result_quantile(Node& node, double probability, double& quantile);
tv_status_t result_beliefs(const Node& node, std::vector<double>& beliefs);

}  // namespace tv

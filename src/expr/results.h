// What function nodes are computed from: the results of the last propagation. Inference answers, through
// functions that every domain knows. None of them stores a status. `no_equilibrium` and `not_compiled` say
// that there are no results, `computation_failed` that they do not determine what is asked for.
#pragma once

#include <vector>

#include "network/domain.h"

namespace tv {

struct PropagationResults {
  // The number that a node stands for as an operand: the expected utility of a utility node, the mean of any
  // other (of a node with intervals, the mean of their middles). Not for real-valued function nodes.
  tv_status_t (*number)(Node& node, double& number);

  // The one state in which the evidence leaves a discrete node.
  tv_status_t (*state)(const Node& node, size_t& state);

  tv_status_t (*variance)(Node& node, double& variance);
  tv_status_t (*quantile)(Node& node, double probability, double& quantile);
  tv_status_t (*beliefs)(const Node& node, std::vector<double>& beliefs);
};

inline const PropagationResults& results_of(const Node& node) noexcept {
  return *node.domain->hooks->results;
}

}  // namespace tv

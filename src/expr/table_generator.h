// Tables from models.
#pragma once

#include <vector>

#include "network/domain.h"

namespace tv {

// Generates the node's table from its model, whether or not the model is stale. On failure, whose reasons
// have been logged, the table stays as it was and the model stale.
tv_status_t generate_table(Node& node);

// Whether the table hangs on results of propagation: that of a discrete function node with parents, or of a
// node with real-valued function nodes among its parents.
bool depends_on_results(const Node& node) noexcept;

// The results from which the table would be generated now; a failure means that they cannot be read.
tv_status_t current_inputs(Node& node, std::vector<double>& inputs);

// Brings the table of a node with a model up to date: generates it when the model is stale, or when the
// results that it depends on have changed since. What cannot be read leaves the table as it is.
tv_status_t refresh_table(Node& node);

}  // namespace tv

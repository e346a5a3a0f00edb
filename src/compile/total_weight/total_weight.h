// Triangulations of least total weight.
#pragma once

#include "compile/total_weight/component_search.h"
#include "text/trace.h"

namespace tv {

// Triangulates a prime component by its minimal separators, within the limits that the domain sets. Vertices
// are in the order of the domain's initial triangulation where there is one. `is_optimal` is set where the
// result is proven to be of least cost. `error` when the host asked to stop triangulation; the search alone
// ends with the best triangulation that is known.
tv_status_t triangulate_using_separators(const VertexGraph& graph, Trace& trace, Progress& progress,
                                         SearchEffort& effort, std::vector<VertexSet>& cliques,
                                         bool& is_optimal);

}  // namespace tv

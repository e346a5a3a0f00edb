// The search for a cheaper triangulation of a prime component than the greedy methods find.
#pragma once

#include "compile/total_weight/effort.h"
#include "compile/triangulate/elimination.h"

namespace tv {

// Improves the greedy triangulation of a connected graph, with at most so much work; a host that wants the
// search to end gets the best triangulation so far. `is_optimal` is set where it is proven to be of least
// cost. `error` when the host asked to stop triangulation itself.
tv_status_t search_for_triangulation(const VertexGraph& graph, Progress& progress, SearchEffort& effort,
                                     std::vector<VertexSet>& cliques, bool& is_optimal);

}  // namespace tv

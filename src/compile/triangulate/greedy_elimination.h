// The greedy methods of elimination.
#pragma once

#include "compile/triangulate/elimination_graph.h"

namespace tv {

// The word of a greedy method in the trace.
const char* method_name(tv_triangulation_method_t method) noexcept;

// Eliminates the vertices of `graph` greedily by a method from `clique_size` to `fill_in_weight`, and removes
// redundant fill-ins. `error` when the host asked to stop.
tv_status_t triangulate_greedily(const VertexGraph& graph, const EliminationGraph& start,
                                 tv_triangulation_method_t method, Trace& trace, Progress& progress,
                                 std::vector<VertexSet>& cliques);

// Eliminates the vertices of a connected graph from one end to the other, among those next to the ones that
// are gone always that of the lightest clique: long graphs that greedy methods cut in pieces are cheap in
// this way. `error` when the host asked to stop.
tv_status_t triangulate_by_sweep(const VertexGraph& graph, Progress& progress,
                                 std::vector<VertexSet>& cliques);

}  // namespace tv

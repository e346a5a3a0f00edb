// Triangulation by an elimination order that is given.
#pragma once

#include "compile/triangulate/elimination.h"

namespace tv {

// Eliminates the vertices of `graph` in their own order and removes redundant fill-ins. `error` when the host
// asked to stop.
tv_status_t triangulate_in_vertex_order(const VertexGraph& graph, Trace& trace, Progress& progress,
                                        std::vector<VertexSet>& cliques);

}  // namespace tv

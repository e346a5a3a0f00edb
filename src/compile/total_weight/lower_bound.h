// What no triangulation goes below.
#pragma once

#include "compile/triangulate/vertex_graph.h"

namespace tv {

// A weight that the heaviest clique of every triangulation of the graph reaches.
double least_heaviest_clique(const VertexGraph& graph);

}  // namespace tv

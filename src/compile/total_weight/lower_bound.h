// What no triangulation goes below.
#pragma once

#include "compile/triangulate/elimination.h"

namespace tv {

// A weight that the heaviest clique of every triangulation of a graph reaches.
double least_heaviest_clique(const VertexGraph& graph);

// A cost that no triangulation of a connected graph goes below: the least one where there are few minimal
// separators, else the weight of a clique that each has. `cost` is that of some triangulation.
double least_possible_cost(const VertexGraph& graph, double cost, Progress& progress);

}  // namespace tv

// Decomposition of a graph along its complete minimal separators.
#pragma once

#include "compile/triangulate/elimination.h"

namespace tv {

// A maximal vertex set that no complete separator splits.
struct PrimeComponent {
  VertexSet vertices;
  // Of the triangulation of the induced graph by fewest fill-ins, in its numbers; empty where nobody made it.
  std::vector<VertexSet> cliques;
  bool is_complete;
};

// In ascending order of their vertices. `error` when the host asked to stop.
tv_status_t find_prime_components(const VertexGraph& graph, Progress& progress,
                                  std::vector<PrimeComponent>& components);

}  // namespace tv

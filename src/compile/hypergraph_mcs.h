// Maximum-cardinality search over cliques: puts the cliques of a chordal graph into an order in which
// each one meets the earlier ones inside one of them, its parent, and numbers the vertices on the way.
#pragma once

#include "compile/triangulate/elimination.h"

namespace tv {

struct CliqueOrder {
  static constexpr size_t kNoParent = static_cast<size_t>(-1);

  std::vector<size_t> order;       // cliques in the order of the search
  std::vector<size_t> parent;      // by clique; kNoParent for the first one of each tree
  std::vector<size_t> number;      // by vertex: discrete ones 1 to D, continuous ones from D + 1 on
  std::vector<size_t> visited_by;  // by vertex: the clique that numbered it
};

// Each vertex lies in a clique and each link inside one.
bool cliques_cover_graph(const VertexGraph& graph, const std::vector<VertexSet>& cliques);

// `cliques` are the maximal cliques of a chordal graph over the vertices of `graph`. `error` when the host
// asked to stop.
tv_status_t _tv_perform_hypergraph_mcs(const VertexGraph& graph, const std::vector<VertexSet>& cliques,
                                       Progress& progress, CliqueOrder& result);

}  // namespace tv

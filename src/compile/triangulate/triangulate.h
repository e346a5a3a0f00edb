// Triangulation of a whole domain.
#pragma once

#include "compile/hypergraph_mcs.h"
#include "compile/triangulate/elimination.h"

namespace tv {

// A triangulated moral graph.
struct Triangulation {
  VertexGraph graph;
  std::vector<VertexSet> cliques;
  std::vector<bool> optimal;  // by prime component that is not complete: its cost is proven to be the least
  CliqueOrder search;
};

// Triangulates the moral graph of the forest by any of the methods.
tv_status_t triangulate_domain(const Forest& forest, tv_triangulation_method_t method, Trace& trace,
                               Progress& progress, Triangulation& result);

// Puts the cliques into order and numbers the nodes: the numbers are their elimination ranks. `error`
// when some node or link lies in no clique, or when the host asked to stop.
tv_status_t order_cliques(Triangulation& triangulation, Progress& progress);

// The nodes of an ordered triangulation, those with the highest numbers first.
NodeList elimination_sequence(const Triangulation& triangulation);

// Triangulates by eliminating the nodes exactly in the given order, which has been checked.
tv_status_t build_cliques_from_order(const Forest& forest, const NodeList& order, Trace& trace,
                                     Progress& progress, Triangulation& result);

// `enumeration` unless the (null-terminated) order names each node that takes part once, the continuous
// nodes before the discrete ones.
tv_status_t _tv_check_elimination_order(const Domain& domain, Node* const* order);

}  // namespace tv

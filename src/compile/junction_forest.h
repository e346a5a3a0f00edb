// Making the records of cliques, separators and junction trees from a triangulation.
#pragma once

#include "compile/triangulate/triangulate.h"

namespace tv {

// Clique records with their tables, and the elimination ranks of the nodes.
void create_cliques(Forest& forest, const Triangulation& triangulation);

void report_cliques(const Forest& forest, Trace& trace);

// Trees, separators and links; the ways to the strong roots.
void build_junction_forest(Forest& forest, Trace& trace);

// The decisions of the domain, an ancestor before its descendants, otherwise by number.
NodeList _tv_domain_create_decision_order(const Domain& domain);

// Home cliques, belief sources and trees of the nodes, and the member lists of the trees.
void create_node_data_structures(Forest& forest);

// `error` when no clique holds some family.
tv_status_t assign_potentials(Forest& forest, Trace& trace);

}  // namespace tv

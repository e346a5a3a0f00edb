// The graph of the nodes that a pattern of evidence leaves open, and orders to eliminate them in. Unlike the
// triangulation of a domain this is done in the middle of a propagation: it must be quick, and any good order
// will do.
#pragma once

#include <cstdint>
#include <vector>

#include "compile/forest.h"

namespace tv {

// Whether a node has more than one state left.
inline bool is_unobserved(const Node& node) noexcept {
  return compiled(node).propagated_state < 0 && node.number_of_states > 1;
}

// Vertices are numbered in the order of the tree's list of nodes.
struct ReducedGraph {
  std::vector<Node*> nodes;      // by vertex
  std::vector<uint32_t> starts;  // by vertex, and one more: where its part of `neighbors` begins
  std::vector<uint32_t> neighbors;

  size_t size() const noexcept { return nodes.size(); }
  double weight(uint32_t v) const noexcept { return static_cast<double>(nodes[v]->number_of_states); }
};

// The moral graph of a tree of discrete nodes without those that are not open.
ReducedGraph reduced_moral_graph(const JunctionTree& tree);

// Each time the vertex that adds the fewest links, weighted by the states of their ends. Vertices that add
// none go first; empty where too many are left then.
std::vector<uint32_t> least_fill_order(const ReducedGraph& graph);

// The order in which the compiled tree eliminates them.
std::vector<uint32_t> compiled_order(const ReducedGraph& graph);

}  // namespace tv

// The moral graph reduced by the observed nodes, and elimination orders for it. Unlike the triangulation of a
// domain this is done in the middle of a propagation: it must be quick, and any good order will do.
#pragma once

#include <cstdint>
#include <vector>

#include "inference/engine.h"

namespace tv {

// Whether more than one state of a node is possible.
inline bool is_unobserved(const TreeEngine& engine, const Node& node) noexcept {
  return engine[node].propagated_state < 0 && node.number_of_states > 1;
}

// Vertices are numbered in the order of the tree's list of nodes.
struct ReducedGraph {
  std::vector<Node*> nodes;      // by vertex
  std::vector<uint32_t> starts;  // by vertex, and one more: where its part of `neighbors` begins
  std::vector<uint32_t> neighbors;

  size_t size() const noexcept { return nodes.size(); }
  double weight(uint32_t v) const noexcept { return static_cast<double>(nodes[v]->number_of_states); }
};

// The moral graph of a tree of discrete nodes without the observed ones.
ReducedGraph reduced_moral_graph(const TreeEngine& engine);

// A greedy order: each time the vertex whose elimination adds the least fill-in, links weighted by the states
// of their ends. Simplicial vertices go first; empty where too many others remain.
std::vector<uint32_t> least_fill_order(const ReducedGraph& graph);

// The order in which the compiled tree eliminates them.
std::vector<uint32_t> compiled_order(const ReducedGraph& graph);

}  // namespace tv

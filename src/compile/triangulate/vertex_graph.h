// The undirected graph that triangulation works on: vertices numbered 0, 1, 2 ... , sorted neighbour
// lists, and the weights of vertex sets. Memory is linear in the number of links.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "compile/forest.h"

namespace tv {

using Vertex = std::uint32_t;
using VertexSet = std::vector<Vertex>;  // ascending

class VertexGraph {
 public:
  std::vector<Node*> nodes;  // by vertex

  size_t size() const noexcept { return nodes.size(); }
  std::span<const Vertex> neighbors(Vertex v) const noexcept {
    return {links_.data() + ends_[v], ends_[v + 1] - ends_[v]};
  }
  size_t link_ends() const noexcept { return links_.size(); }  // two for each link
  bool adjacent(Vertex a, Vertex b) const noexcept;
  bool is_complete(const VertexSet& set) const noexcept;  // all of them adjacent to each other

  // Building: the neighbours of one vertex after the other, each time ended.
  void reserve(size_t vertices, size_t link_ends);
  void add_neighbor(Vertex neighbor) { links_.push_back(neighbor); }
  void end_neighbors() {
    const auto first = links_.begin() + static_cast<ptrdiff_t>(ends_.back());
    if (!std::is_sorted(first, links_.end())) std::sort(first, links_.end());
    ends_.push_back(links_.size());
  }

 private:
  std::vector<size_t> ends_{0};  // by vertex: where the lists before it end
  VertexSet links_;              // list behind list
};

// The number of states of a discrete vertex, 1 for a continuous one.
inline double state_count(const Node& node) noexcept {
  return is_discrete(node) ? static_cast<double>(node.number_of_states) : 1.0;
}

// The factor by which n continuous members make a clique heavier: a number, n means, and the lower
// triangle of a covariance matrix for each configuration.
inline double continuous_factor(size_t n) noexcept {
  return n == 0 ? 1.0 : static_cast<double>(1 + ((n * (n + 3)) >> 1));
}

double compute_weight(const VertexGraph& graph, const VertexSet& set) noexcept;
double cost_of_cliques(const VertexGraph& graph, const std::vector<VertexSet>& cliques) noexcept;

// The moral graph kept in the forest, a vertex for each node of the list in its order.
VertexGraph _tv_create_moral_graph(const Forest& forest, const NodeList& nodes);

// Makes graphs that sets of vertices induce, renumbered 0, 1, 2 ... in their order. The time is linear in the
// links of the set, also when some of its vertices have many neighbours elsewhere.
class InducedGraphs {
 public:
  explicit InducedGraphs(const VertexGraph& graph) : graph_(graph), number_(graph.size(), kOutside) {}
  VertexGraph operator()(const VertexSet& set);

 private:
  static constexpr Vertex kOutside = static_cast<Vertex>(-1);
  const VertexGraph& graph_;
  VertexSet number_;  // by vertex
};

// Every domain node that takes part, in the domain's node order.
NodeList participating_nodes(const Domain& domain);

}  // namespace tv

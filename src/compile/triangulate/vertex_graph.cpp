// Building vertex graphs and weighing sets of their vertices.
#include "compile/triangulate/vertex_graph.h"

#include <algorithm>

namespace tv {

bool VertexGraph::adjacent(Vertex a, Vertex b) const noexcept {
  const bool a_is_smaller = neighbors(a).size() <= neighbors(b).size();
  const std::span<const Vertex> list = neighbors(a_is_smaller ? a : b);
  return std::binary_search(list.begin(), list.end(), a_is_smaller ? b : a);
}

bool VertexGraph::is_complete(const VertexSet& set) const noexcept {
  for (size_t i = 0; i < set.size(); ++i) {
    for (size_t j = i + 1; j < set.size(); ++j) {
      if (!adjacent(set[i], set[j])) return false;
    }
  }
  return true;
}

void VertexGraph::reserve(size_t vertices, size_t link_ends) {
  nodes.reserve(vertices);
  ends_.reserve(vertices + 1);
  links_.reserve(link_ends);
}

double compute_weight(const VertexGraph& graph, const VertexSet& set) noexcept {
  double weight = 1.0;
  size_t continuous = 0;
  for (const Vertex v : set) {
    weight *= state_count(*graph.nodes[v]);
    continuous += is_continuous(*graph.nodes[v]);
  }
  return weight * continuous_factor(continuous);
}

double cost_of_cliques(const VertexGraph& graph, const std::vector<VertexSet>& cliques) noexcept {
  double cost = 0.0;
  for (const VertexSet& clique : cliques) cost += compute_weight(graph, clique);
  return cost;
}

VertexGraph _tv_create_moral_graph(const Forest& forest, const NodeList& nodes) {
  VertexGraph graph;
  graph.reserve(nodes.size(), forest.moral_neighbors.size());
  graph.nodes.assign(nodes.begin(), nodes.end());
  std::vector<Vertex> vertex_of(forest.nodes.size());
  for (Vertex v = 0; v < graph.size(); ++v) vertex_of[graph.nodes[v]->number - 1] = v;
  for (const Node* node : nodes) {
    for (Node* const* moral = forest.nodes[node->number - 1].moral_neighbors; *moral; ++moral)
      graph.add_neighbor(vertex_of[(*moral)->number - 1]);
    graph.end_neighbors();
  }
  return graph;
}

VertexGraph InducedGraphs::operator()(const VertexSet& set) {
  VertexGraph induced;
  const size_t count = set.size();
  size_t link_ends = 0;
  for (Vertex i = 0; i < count; ++i) {
    number_[set[i]] = i;
    link_ends += std::min(graph_.neighbors(set[i]).size(), count);
  }
  induced.reserve(count, link_ends);
  for (const Vertex v : set) {
    induced.nodes.push_back(graph_.nodes[v]);
    const std::span<const Vertex> all = graph_.neighbors(v);
    if (all.size() / 16 < count) {
      for (const Vertex u : all) {
        if (number_[u] != kOutside) induced.add_neighbor(number_[u]);
      }
    } else {
      for (Vertex j = 0; j < count; ++j) {
        if (std::binary_search(all.begin(), all.end(), set[j])) induced.add_neighbor(j);
      }
    }
    induced.end_neighbors();
  }
  for (const Vertex v : set) number_[v] = kOutside;
  return induced;
}

NodeList participating_nodes(const Domain& domain) {
  NodeList nodes;
  nodes.reserve(domain.counters.discrete + domain.counters.continuous);
  for (Node& node : domain.nodes) {
    if (is_discrete_or_continuous(node)) nodes.push_back(&node);
  }
  return nodes;
}

}  // namespace tv

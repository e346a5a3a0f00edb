// Building vertex graphs and weighing sets of their vertices.
#include "compile/vertex_graph.h"

#include <algorithm>

namespace tv {

bool VertexGraph::adjacent(Vertex a, Vertex b) const noexcept {
  const bool a_is_smaller = neighbors[a].size() <= neighbors[b].size();
  const VertexSet& list = neighbors[a_is_smaller ? a : b];
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
  graph.nodes.assign(nodes.begin(), nodes.end());
  std::vector<Vertex> vertex_of(forest.nodes.size());
  for (Vertex v = 0; v < graph.size(); ++v) vertex_of[graph.nodes[v]->number - 1] = v;
  graph.neighbors.resize(graph.size());
  for (Vertex v = 0; v < graph.size(); ++v) {
    Node* const* const moral = forest.nodes[graph.nodes[v]->number - 1].moral_neighbors;
    Node* const* end = moral;
    while (*end) ++end;
    VertexSet& list = graph.neighbors[v];
    list.reserve(static_cast<size_t>(end - moral));
    for (Node* const* neighbor = moral; neighbor != end; ++neighbor)
      list.push_back(vertex_of[(*neighbor)->number - 1]);
    std::sort(list.begin(), list.end());
  }
  return graph;
}

VertexGraph induced_graph(const VertexGraph& graph, const VertexSet& set) {
  VertexGraph induced;
  const size_t count = set.size();
  induced.nodes.reserve(count);
  induced.neighbors.resize(count);
  for (Vertex i = 0; i < count; ++i) {
    induced.nodes.push_back(graph.nodes[set[i]]);
    const VertexSet& all = graph.neighbors[set[i]];
    VertexSet& list = induced.neighbors[i];
    if (all.size() / 16 < count) {
      auto position = set.begin();
      for (const Vertex v : all) {
        position = std::lower_bound(position, set.end(), v);
        if (position == set.end()) break;
        if (*position == v) list.push_back(static_cast<Vertex>(position - set.begin()));
      }
    } else {
      for (Vertex j = 0; j < count; ++j) {
        if (std::binary_search(all.begin(), all.end(), set[j])) list.push_back(j);
      }
    }
  }
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

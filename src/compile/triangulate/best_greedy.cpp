// Trying the greedy methods one after the other.
#include "compile/triangulate/best_greedy.h"

#include "network/node_operations.h"

namespace tv {

bool weighted_heuristics_are_useful(const VertexGraph& graph) noexcept {
  const Node& first = *graph.nodes.front();
  return std::any_of(graph.nodes.begin(), graph.nodes.end(), [&](const Node* node) {
    return node->kind != first.kind ||
           (is_discrete(*node) && node->number_of_states != first.number_of_states);
  });
}

tv_status_t try_all_greedy_methods(const VertexGraph& graph, const std::vector<VertexSet>& by_fill_in_size,
                                   Progress& progress, std::vector<VertexSet>& cliques) {
  CheapestTriangulation cheapest(graph);
  const auto offer = [&](std::vector<VertexSet> found) -> tv_status_t {
    cheapest.offer(std::move(found));
    return tv_status_none;
  };
  if (tv_status_t status = for_each_greedy_triangulation(graph, by_fill_in_size, progress, offer))
    return status;
  cliques = std::move(cheapest.cliques);
  return tv_status_none;
}

}  // namespace tv

// The greedy triangulations of a graph, and the cheapest of them.
#pragma once

#include "compile/triangulate/greedy_elimination.h"

namespace tv {

// Weights order the vertices as sizes do when all of them weigh the same.
bool weighted_heuristics_are_useful(const VertexGraph& graph) noexcept;

// Triangulates `graph` by each greedy method that is useful and shows the cliques to `visit`.
// `by_fill_in_size` is what that method finds, where it is known already. Writes no trace; `error` when the
// host asked to stop.
template <class Visit>
tv_status_t for_each_greedy_triangulation(const VertexGraph& graph,
                                          const std::vector<VertexSet>& by_fill_in_size, Progress& progress,
                                          Visit visit) {
  Trace silent(nullptr);
  const EliminationGraph start(graph);
  const bool try_weighted = weighted_heuristics_are_useful(graph);
  for (const tv_triangulation_method_t method :
       {tv_method_clique_size, tv_method_clique_weight, tv_method_fill_in_size, tv_method_fill_in_weight}) {
    const bool is_weighted = method == tv_method_clique_weight || method == tv_method_fill_in_weight;
    if (is_weighted && !try_weighted) continue;
    std::vector<VertexSet> found;
    if (method == tv_method_fill_in_size && !by_fill_in_size.empty()) {
      found = by_fill_in_size;
    } else if (tv_status_t status = triangulate_greedily(graph, start, method, silent, progress, found)) {
      return status;
    }
    if (tv_status_t status = visit(std::move(found))) return status;
  }
  return tv_status_none;
}

// The cheapest of several triangulations; of equally cheap ones the first.
class CheapestTriangulation {
 public:
  explicit CheapestTriangulation(const VertexGraph& graph) : graph_(graph) {}

  void offer(std::vector<VertexSet> offered) {
    const double cost_of_it = cost_of_cliques(graph_, offered);
    if (!cliques.empty() && cost_of_it >= cost) return;
    cost = cost_of_it;
    cliques = std::move(offered);
  }

  std::vector<VertexSet> cliques;  // empty until there is one
  double cost = 0.0;

 private:
  const VertexGraph& graph_;
};

// The cheapest of the greedy triangulations.
tv_status_t try_all_greedy_methods(const VertexGraph& graph, const std::vector<VertexSet>& by_fill_in_size,
                                   Progress& progress, std::vector<VertexSet>& cliques);

}  // namespace tv

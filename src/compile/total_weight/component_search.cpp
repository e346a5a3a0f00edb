// Searching a component: from the cheapest of the greedy triangulations and a sweep, with the work that it is
// worth.
#include "compile/total_weight/component_search.h"

#include "compile/hypergraph_mcs.h"
#include "compile/total_weight/triangulation_search.h"
#include "compile/triangulate/best_greedy.h"
#include "compile/triangulate/ordered_elimination.h"

namespace tv {
namespace {

// The graph with its vertices in another order.
VertexGraph reordered(const VertexGraph& graph, const VertexSet& order) {
  VertexGraph result;
  result.reserve(graph.size(), graph.link_ends());
  VertexSet number(graph.size());
  for (Vertex i = 0; i < order.size(); ++i) number[order[i]] = i;
  for (const Vertex v : order) {
    result.nodes.push_back(graph.nodes[v]);
    for (const Vertex u : graph.neighbors(v)) result.add_neighbor(number[u]);
    result.end_neighbors();
  }
  return result;
}

// A clique that was merged into a neighbour may leave a fill-in that nothing needs.
tv_status_t remove_redundant_fill_ins(const VertexGraph& graph, Progress& progress,
                                      std::vector<VertexSet>& cliques) {
  CliqueOrder search;
  if (tv_status_t status = _tv_perform_hypergraph_mcs(graph, cliques, progress, search)) return status;
  VertexSet order(graph.size());
  for (Vertex v = 0; v < graph.size(); ++v) order[graph.size() - search.number[v]] = v;
  Trace silent(nullptr);
  if (tv_status_t status = triangulate_in_vertex_order(reordered(graph, order), silent, progress, cliques))
    return status;
  for (VertexSet& clique : cliques) {
    for (Vertex& v : clique) v = order[v];
    std::sort(clique.begin(), clique.end());
  }
  return tv_status_none;
}

}  // namespace

tv_status_t search_for_triangulation(const VertexGraph& graph, Progress& progress, SearchEffort& effort,
                                     std::vector<VertexSet>& cliques, bool& is_optimal) {
  if (!effort.is_worthwhile(cost_of_cliques(graph, cliques))) return tv_status_none;
  CheapestTriangulation start(graph);
  start.offer(std::move(cliques));
  if (tv_status_t status = triangulate_by_sweep(graph, progress, cliques)) return status;
  start.offer(std::move(cliques));
  cliques = start.cliques;
  CliqueOrder order;
  if (tv_status_t status = _tv_perform_hypergraph_mcs(graph, cliques, progress, order)) return status;
  const size_t work = effort.work_for(graph.size(), start.cost);
  const Domain& domain = *graph.nodes.front()->domain;
  Progress search_progress(domain, kSearchTask);
  SearchBudget budget(search_progress, domain.memory_limit);
  is_optimal = TriangulationSearch(graph, budget).improve(cliques, order.parent, work);
  effort.give_back(work - std::min(work, budget.work()));
  if (tv_status_t status = remove_redundant_fill_ins(graph, progress, cliques)) return status;
  // A clique that was merged into a heavier one may have been cheaper than those that take its place.
  if (cost_of_cliques(graph, cliques) > start.cost) {
    cliques = std::move(start.cliques);
    is_optimal = false;
  }
  return tv_status_none;
}

}  // namespace tv

// Prime components from a junction tree of a minimal triangulation: two neighbouring cliques belong to
// the same component exactly when their separator is not complete in the graph itself (Leimer 1993;
// Olesen and Madsen 2002). Any minimal triangulation will do; a greedy one made minimal is quick on
// sparse graphs.
#include "compile/prime_components.h"

#include <algorithm>

#include "compile/hypergraph_mcs.h"

namespace tv {

tv_status_t find_prime_components(const VertexGraph& graph, Progress& progress,
                                  std::vector<VertexSet>& components) {
  Trace silent(nullptr);
  Elimination elimination(graph.size());
  if (tv_status_t status = eliminate_greedily(graph, tv_method_fill_in_size, silent, progress, elimination)) {
    return status;
  }
  if (tv_status_t status = _tv_remove_redundant_fill_ins(graph, elimination, silent, progress)) return status;
  std::vector<VertexSet> cliques = elimination.cliques.take();
  CliqueOrder search;
  if (tv_status_t status = _tv_perform_hypergraph_mcs(graph, cliques, progress, search)) return status;

  // A clique joins the component of its parent unless a complete separator lies between them.
  std::vector<size_t> component_of(cliques.size());
  for (const size_t clique : search.order) {
    VertexSet separator;
    for (const Vertex v : cliques[clique]) {
      if (search.visited_by[v] != clique) separator.push_back(v);
    }
    if (separator.empty() || graph.is_complete(separator)) {
      component_of[clique] = components.size();
      components.push_back(cliques[clique]);
      continue;
    }
    component_of[clique] = component_of[search.parent[clique]];
    VertexSet& component = components[component_of[clique]];
    component.insert(component.end(), cliques[clique].begin(), cliques[clique].end());
  }
  for (VertexSet& component : components) {
    std::sort(component.begin(), component.end());
    component.erase(std::unique(component.begin(), component.end()), component.end());
  }
  std::sort(components.begin(), components.end());
  return tv_status_none;
}

}  // namespace tv

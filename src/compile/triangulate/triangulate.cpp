// Triangulation component by component: a complete component is a clique, any other one is eliminated
// greedily. Components are taken in ascending order of their vertex sets, vertices being numbered in the
// domain's node order.
#include "compile/triangulate/triangulate.h"

#include <algorithm>

#include "api/boundary.h"
#include "compile/compile_qualitatively.h"
#include "compile/triangulate/greedy_elimination.h"
#include "compile/triangulate/prime_components.h"
#include "network/node_operations.h"

namespace tv {
namespace {

tv_status_t triangulate_by_elimination(const VertexGraph& graph, const EliminationGraph& start,
                                       tv_triangulation_method_t method, Trace& trace, Progress& progress,
                                       std::vector<VertexSet>& cliques) {
  trace.print("\n    Using minimum %s heuristic for triangulation:\n\n", method_name(method));
  if (tv_status_t status = triangulate_greedily(graph, start, method, trace, progress, cliques))
    return status;
  trace.print("\nFound triangulation of prime component of cost %s\n",
              CostText(cost_of_cliques(graph, cliques)).c_str());
  return tv_status_none;
}

// Weights order the vertices as sizes do when all of them weigh the same.
bool weighted_heuristics_are_useful(const VertexGraph& graph) noexcept {
  const Node& first = *graph.nodes.front();
  return std::any_of(graph.nodes.begin(), graph.nodes.end(), [&](const Node* node) {
    return node->kind != first.kind ||
           (is_discrete(*node) && node->number_of_states != first.number_of_states);
  });
}

// Of equally cheap results that of the earlier method is kept.
tv_status_t try_all_greedy_methods(const VertexGraph& graph, const PrimeComponent& component, Trace& trace,
                                   Progress& progress, std::vector<VertexSet>& cliques) {
  trace.text("\n    Using the best greedy heuristic for triangulation\n\n");
  Trace silent(nullptr);
  const EliminationGraph start(graph);
  const bool try_weighted = weighted_heuristics_are_useful(graph);
  double best_cost = 0.0;
  for (const tv_triangulation_method_t method :
       {tv_method_clique_size, tv_method_clique_weight, tv_method_fill_in_size, tv_method_fill_in_weight}) {
    const bool is_weighted = method == tv_method_clique_weight || method == tv_method_fill_in_weight;
    if (is_weighted && !try_weighted) continue;
    std::vector<VertexSet> found;
    if (method == tv_method_fill_in_size && !component.cliques.empty()) {
      found = component.cliques;
    } else if (tv_status_t status =
                   triangulate_by_elimination(graph, start, method, silent, progress, found)) {
      return status;
    }
    const double cost = cost_of_cliques(graph, found);
    if (!cliques.empty() && cost >= best_cost) continue;
    best_cost = cost;
    cliques = std::move(found);
  }
  return tv_status_none;
}

void trace_component(const VertexGraph& graph, const VertexSet& component, Trace& trace) {
  if (!trace.enabled()) return;
  trace.print("\nTriangulating prime component with %zu member%s:\n", component.size(),
              component.size() == 1 ? "" : "s");
  NodeList members;
  members.reserve(component.size());
  for (const Vertex v : component) members.push_back(graph.nodes[v]);
  trace_names(trace, members.begin(), members.end());
}

// Appends the cliques of one component to `cliques`.
tv_status_t triangulate_prime_component(const VertexGraph& graph, InducedGraphs& induce,
                                        const PrimeComponent& component, tv_triangulation_method_t method,
                                        Trace& trace, Progress& progress, std::vector<VertexSet>& cliques) {
  const VertexSet& vertices = component.vertices;
  trace_component(graph, vertices, trace);
  if (component.is_complete) {
    trace.print("This component is a clique of cost %s\n", CostText(compute_weight(graph, vertices)).c_str());
    cliques.push_back(vertices);
    return tv_status_none;
  }
  const VertexGraph induced = induce(vertices);
  std::vector<VertexSet> found;
  const tv_status_t status =
      method == tv_method_best_greedy
          ? try_all_greedy_methods(induced, component, trace, progress, found)
          : triangulate_by_elimination(induced, EliminationGraph(induced), method, trace, progress, found);
  if (status) return status;
  for (VertexSet& clique : found) {
    for (Vertex& v : clique) v = vertices[v];
    cliques.push_back(std::move(clique));
  }
  return trace.status();
}

void trace_elimination_sequence(const Triangulation& triangulation, Trace& trace) {
  if (!trace.enabled()) return;
  trace.text("\n\nElimination sequence:\n\n");
  for (Node* node : elimination_sequence(triangulation)) trace.print("%s\n", name_of(*node));
}

bool is_method(tv_triangulation_method_t method) noexcept {
  return method >= tv_method_clique_size && method <= tv_method_best_greedy;
}

}  // namespace

tv_status_t order_cliques(Triangulation& triangulation, Progress& progress) {
  if (!cliques_cover_graph(triangulation.graph, triangulation.cliques)) return tv_status_error;
  return _tv_perform_hypergraph_mcs(triangulation.graph, triangulation.cliques, progress,
                                    triangulation.search);
}

NodeList elimination_sequence(const Triangulation& triangulation) {
  const size_t count = triangulation.graph.size();
  std::vector<Node*> by_rank(count);
  for (Vertex v = 0; v < count; ++v)
    by_rank[count - triangulation.search.number[v]] = triangulation.graph.nodes[v];
  NodeList sequence;
  sequence.reserve(count);
  for (Node* node : by_rank) sequence.push_back(node);
  return sequence;
}

tv_status_t triangulate_domain(const Forest& forest, tv_triangulation_method_t method, Trace& trace,
                               Progress& progress, Triangulation& result) {
  result.graph = _tv_create_moral_graph(forest, participating_nodes(*forest.domain));
  trace.text("\n");
  std::vector<PrimeComponent> components;
  if (tv_status_t status = find_prime_components(result.graph, progress, components)) return status;
  InducedGraphs induce(result.graph);
  for (const PrimeComponent& component : components) {
    if (tv_status_t status = triangulate_prime_component(result.graph, induce, component, method, trace,
                                                         progress, result.cliques)) {
      return status;
    }
  }
  if (tv_status_t status = order_cliques(result, progress)) return status;
  trace.print("\n\nTotal cost of triangulation for all prime components is %s\n",
              CostText(cost_of_cliques(result.graph, result.cliques)).c_str());
  trace_elimination_sequence(result, trace);
  return trace.status();
}

tv_status_t triangulate_as_asked(Domain& domain, tv_triangulation_method_t method) {
  if (method == tv_method_total_weight) return tv_status_error;
  QualitativeCompilation compilation(domain);
  compilation.trace().time_stamp();
  compilation.moralize();
  Triangulation triangulation;
  if (tv_status_t status = triangulate_domain(compilation.forest(), method, compilation.trace(),
                                              compilation.progress(), triangulation)) {
    return status;
  }
  return compilation.finish(triangulation);
}

}  // namespace tv

tv_status_t tv_domain_triangulate(tv_domain_t* domain, tv_triangulation_method_t method) {
  return tv::guarded([&]() -> tv_status_t {
    const bool can_triangulate = domain && tv::has_participating_node(*domain) &&
                                 !tv::is_triangulated(*domain) && tv::is_method(method);
    const bool lacks_initial_triangulation = can_triangulate && method == tv_method_total_weight &&
                                             domain->max_separator_size > 0 &&
                                             domain->initial_triangulation.empty();
    if (!tv::check(can_triangulate && !lacks_initial_triangulation)) return tv_status_usage;
    return tv::triangulate_as_asked(*domain, method);
  });
}

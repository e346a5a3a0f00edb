// Triangulation component by component: a complete component is a clique, any other one is eliminated
// greedily, or its minimal separators are looked at. Components are taken in ascending order of their vertex
// sets, vertices being numbered in the domain's node order, or in that of its initial triangulation.
#include "compile/triangulate/triangulate.h"

#include <algorithm>

#include "api/boundary.h"
#include "compile/compile_qualitatively.h"
#include "compile/total_weight/total_weight.h"
#include "compile/triangulate/best_greedy.h"
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

void trace_component(const VertexGraph& graph, const VertexSet& component, Trace& trace) {
  if (!trace.enabled()) return;
  trace.print("\nTriangulating prime component with %zu member%s:\n", component.size(),
              component.size() == 1 ? "" : "s");
  NodeList members;
  members.reserve(component.size());
  for (const Vertex v : component) members.push_back(graph.nodes[v]);
  trace_names(trace, members.begin(), members.end());
}

// Triangulates the components one after the other.
class ComponentTriangulator {
 public:
  ComponentTriangulator(const Domain& domain, tv_triangulation_method_t method, Trace& trace,
                        Progress& progress, const std::vector<PrimeComponent>& components,
                        Triangulation& result)
      : method_(method),
        trace_(trace),
        progress_(progress),
        components_(components),
        result_(result),
        effort_(domain, vertices_to_triangulate()),
        induce_(result.graph) {}

  tv_status_t run() {
    for (const PrimeComponent& component : components_)
      if (tv_status_t status = triangulate_prime_component(component)) return status;
    return tv_status_none;
  }

 private:
  size_t vertices_to_triangulate() const noexcept {
    size_t count = 0;
    for (const PrimeComponent& component : components_)
      if (!component.is_complete) count += component.vertices.size();
    return count;
  }

  // Appends the cliques of one component to those of the result.
  tv_status_t triangulate_prime_component(const PrimeComponent& component) {
    const VertexSet& vertices = component.vertices;
    trace_component(result_.graph, vertices, trace_);
    if (component.is_complete) {
      trace_.print("This component is a clique of cost %s\n",
                   CostText(compute_weight(result_.graph, vertices)).c_str());
      result_.cliques.push_back(vertices);
      return tv_status_none;
    }
    const VertexGraph induced = induce_(vertices);
    std::vector<VertexSet> found;
    bool is_optimal = false;
    if (tv_status_t status = triangulate_graph(induced, component.cliques, found, is_optimal)) return status;
    result_.optimal.push_back(is_optimal);
    for (VertexSet& clique : found) {
      for (Vertex& v : clique) v = vertices[v];
      result_.cliques.push_back(std::move(clique));
    }
    return trace_.status();
  }

  tv_status_t triangulate_graph(const VertexGraph& graph, const std::vector<VertexSet>& by_fill_in_size,
                                std::vector<VertexSet>& cliques, bool& is_optimal) {
    if (method_ == tv_method_total_weight)
      return triangulate_using_separators(graph, trace_, progress_, effort_, cliques, is_optimal);
    if (method_ != tv_method_best_greedy)
      return triangulate_by_elimination(graph, EliminationGraph(graph), method_, trace_, progress_, cliques);
    trace_.text("\n    Using the best greedy heuristic for triangulation\n\n");
    if (tv_status_t status = try_all_greedy_methods(graph, by_fill_in_size, progress_, cliques))
      return status;
    return search_for_triangulation(graph, progress_, effort_, cliques, is_optimal);
  }

  tv_triangulation_method_t method_;
  Trace& trace_;
  Progress& progress_;
  const std::vector<PrimeComponent>& components_;
  Triangulation& result_;
  SearchEffort effort_;
  InducedGraphs induce_;
};

// The flags are in the order of the components, which is that of the vertices. The forest has them in the
// order of the domain's nodes, whatever order the vertices have.
void order_flags_as_in_domain(const Domain& domain, const VertexGraph& graph,
                              const std::vector<PrimeComponent>& components, std::vector<bool>& optimal) {
  std::vector<size_t> position(domain.node_count);
  for (size_t count = 0; const Node* node : participating_nodes(domain)) position[node->number - 1] = count++;
  std::vector<std::pair<std::vector<size_t>, bool>> flags;
  for (const PrimeComponent& component : components) {
    if (component.is_complete) continue;
    std::vector<size_t> members;
    for (const Vertex v : component.vertices) members.push_back(position[graph.nodes[v]->number - 1]);
    std::sort(members.begin(), members.end());
    flags.emplace_back(std::move(members), optimal[flags.size()]);
  }
  std::sort(flags.begin(), flags.end());
  for (size_t i = 0; i < flags.size(); ++i) optimal[i] = flags[i].second;
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
  const Domain& domain = *forest.domain;
  const bool by_initial = method == tv_method_total_weight && !domain.initial_triangulation.empty();
  result.graph =
      _tv_create_moral_graph(forest, by_initial ? domain.initial_triangulation : participating_nodes(domain));
  trace.text("\n");
  std::vector<PrimeComponent> components;
  if (tv_status_t status = find_prime_components(result.graph, progress, components)) return status;
  ComponentTriangulator triangulator(domain, method, trace, progress, components, result);
  if (tv_status_t status = triangulator.run()) return status;
  if (by_initial) order_flags_as_in_domain(domain, result.graph, components, result.optimal);
  if (tv_status_t status = order_cliques(result, progress)) return status;
  trace.print("\n\nTotal cost of triangulation for all prime components is %s\n",
              CostText(cost_of_cliques(result.graph, result.cliques)).c_str());
  trace_elimination_sequence(result, trace);
  return trace.status();
}

tv_status_t triangulate_as_asked(Domain& domain, tv_triangulation_method_t method) {
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

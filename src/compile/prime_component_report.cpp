// What hosts ask about the prime components of a triangulated domain. It is found out when it is first asked
// for: compilation needs none of it.
#include "api/boundary.h"
#include "compile/forest.h"
#include "compile/total_weight/lower_bound.h"
#include "compile/triangulate/prime_components.h"

namespace tv {
namespace {

// Every clique lies in one component, whose cost it is part of.
void add_costs(const Forest& forest, const VertexGraph& graph, const std::vector<PrimeComponent>& components,
               std::vector<PrimeComponentReport>& reports) {
  std::vector<Vertex> vertex_of(forest.nodes.size());
  for (Vertex v = 0; v < graph.size(); ++v) vertex_of[graph.nodes[v]->number - 1] = v;
  CliqueSet index(graph.size());
  for (const PrimeComponent& component : components) index.add(component.vertices);
  for (const Clique& clique : forest.cliques) {
    VertexSet members;
    for (const Node* node : clique.members()) members.push_back(vertex_of[node->number - 1]);
    std::sort(members.begin(), members.end());
    reports[index.clique_over(members)].cost += compute_weight(graph, members);
  }
}

tv_status_t report_prime_components(Forest& forest) {
  if (!forest.prime_components.empty()) return tv_status_none;
  const VertexGraph graph = _tv_create_moral_graph(forest, participating_nodes(*forest.domain));
  Progress progress(*forest.domain);
  std::vector<PrimeComponent> components;
  if (tv_status_t status = find_prime_components(graph, progress, components)) return status;
  std::vector<PrimeComponentReport> reports(components.size());
  add_costs(forest, graph, components, reports);
  InducedGraphs induce(graph);
  size_t incomplete = 0;
  for (size_t i = 0; i < components.size(); ++i) {
    PrimeComponentReport& report = reports[i];
    report.members.reserve(components[i].vertices.size());
    for (const Vertex v : components[i].vertices) report.members.push_back(graph.nodes[v]);
    const size_t number = components[i].is_complete ? kNone : incomplete++;
    const bool is_optimal = number == kNone || (number < forest.optimal.size() && forest.optimal[number]);
    report.bound =
        is_optimal ? report.cost : least_possible_cost(induce(components[i].vertices), report.cost, progress);
  }
  forest.prime_components = std::move(reports);
  return tv_status_none;
}

// The reports of a triangulated domain; null after a failure, whose status is stored.
std::vector<PrimeComponentReport>* reports_of(tv_domain_t* domain) {
  if (!check(domain && is_triangulated(*domain))) return nullptr;
  if (tv_status_t status = report_prime_components(*domain->forest)) {
    store_status(status);
    return nullptr;
  }
  return &domain->forest->prime_components;
}

PrimeComponentReport* report_of(tv_domain_t* domain, size_t index) {
  std::vector<PrimeComponentReport>* reports = reports_of(domain);
  return reports && check(index < reports->size()) ? &(*reports)[index] : nullptr;
}

double figure_of(tv_domain_t* domain, size_t index, double PrimeComponentReport::*figure) {
  return guarded(-1.0, [&] {
    const PrimeComponentReport* report = report_of(domain, index);
    return report ? report->*figure : -1.0;
  });
}

}  // namespace
}  // namespace tv

size_t tv_domain_get_number_of_prime_components(tv_domain_t* domain) {
  return tv::guarded(tv::kNone, [&] {
    const auto* reports = tv::reports_of(domain);
    return reports ? reports->size() : tv::kNone;
  });
}

tv_node_t** tv_domain_get_prime_component(tv_domain_t* domain, size_t index) {
  return tv::guarded(static_cast<tv_node_t**>(nullptr), [&]() -> tv_node_t** {
    tv::PrimeComponentReport* report = tv::report_of(domain, index);
    return report ? report->members.terminated() : nullptr;
  });
}

double tv_domain_get_prime_component_cost(tv_domain_t* domain, size_t index) {
  return tv::figure_of(domain, index, &tv::PrimeComponentReport::cost);
}

double tv_domain_get_prime_component_bound(tv_domain_t* domain, size_t index) {
  return tv::figure_of(domain, index, &tv::PrimeComponentReport::bound);
}

// Structures of the links that a domain has, and links for a domain from a structure.
#include <algorithm>
#include <memory>

#include "api/boundary.h"
#include "learn/structure/link_plan.h"
#include "network/node_operations.h"

namespace tv {
namespace {

// The chance nodes of the domain, in the order of their names.
std::vector<Node*> named_chance_nodes(Domain& domain) {
  std::vector<Node*> nodes;
  for (Node& node : domain.nodes) {
    if (node.category != tv_category_chance) continue;
    name_of(node);
    nodes.push_back(&node);
  }
  std::sort(nodes.begin(), nodes.end(), [](const Node* a, const Node* b) { return a->name < b->name; });
  return nodes;
}

// Undirected links of the domain are such links of the structure.
std::unique_ptr<Structure> structure_of(Domain& domain) {
  const std::vector<Node*> nodes = named_chance_nodes(domain);
  auto structure = std::make_unique<Structure>();
  structure->graph = PartialGraph(nodes.size());
  std::vector<size_t> places(domain.node_count, kNone);
  for (const Node* node : nodes) {
    places[node->number - 1] = structure->nodes.size();
    structure->nodes.push_back({node->name, 0});
  }
  for (size_t v = 0; v < nodes.size(); ++v) {
    for (const Node* parent : nodes[v]->parents)
      if (const size_t from = places[parent->number - 1]; from != kNone) structure->graph.direct(from, v);
    for (const Node* neighbor : nodes[v]->neighbors)
      if (const size_t other = places[neighbor->number - 1]; other != kNone) structure->graph.join(v, other);
  }
  return structure;
}

}  // namespace
}  // namespace tv

tv_structure_t* tv_domain_get_structure(tv_domain_t* domain) {
  return tv::guarded(static_cast<tv_structure_t*>(nullptr), [&]() -> tv_structure_t* {
    return tv::check(domain) ? tv::structure_of(*domain).release() : nullptr;
  });
}

tv_status_t tv_domain_set_structure(tv_domain_t* domain, const tv_structure_t* structure) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain && structure)) return tv_status_usage;
    tv::LinkPlan plan(*domain, *structure);
    if (tv_status_t status = plan.make()) return status;
    plan.commit();
    return tv_status_none;
  });
}

// Copies of nodes and of whole domains. What belongs to the host (user data, streams, handlers) and
// what compilation made stay behind.
#include <memory>
#include <utility>
#include <vector>

#include "api/boundary.h"
#include "network/domain.h"
#include "network/links/link_changes.h"
#include "network/name_table.h"
#include "network/node_operations.h"
#include "network/node_tables.h"

namespace tv {
namespace {

void copy_attributes(AttributeList& copy, const AttributeList& attributes) {
  for (const Attribute& attribute : attributes) {
    auto twin = std::make_unique<Attribute>();
    twin->key = attribute.key;
    twin->value = attribute.value;
    copy.push_front(std::move(twin));
  }
  copy.reverse();
}

// All that does not refer to other nodes; the name is left to the caller.
std::unique_ptr<Node> copy_own_properties(const Node& node, Domain& domain) {
  auto copy = std::make_unique<Node>();
  copy->domain = &domain;
  copy->category = node.category;
  copy->kind = node.kind;
  copy->level = node.level;
  copy->number_of_states = node.number_of_states;
  copy->subtype = node.subtype;
  copy->state_labels = node.state_labels;
  copy->state_values = node.state_values;
  copy->entered = node.entered;
  copy->cases = node.cases;
  copy->label = node.label;
  copy->x = node.x;
  copy->y = node.y;
  copy_attributes(copy->attributes, node.attributes);
  return copy;
}

// The node's tables for its copy, with `map` telling what becomes of the nodes in them.
template <class Map>
void copy_tables(Node& copy, const Node& node, Map map) {
  if (node.table) copy.table = copy_for_owner(*node.table, copy, map);
  if (node.blank_table) copy.blank_table = copy_for_owner(*node.blank_table, copy, map);
  if (node.experience_table) copy.experience_table = copy_for_owner(*node.experience_table, copy, map);
  if (node.fading_table) copy.fading_table = copy_for_owner(*node.fading_table, copy, map);
  copy.table_checked = node.table_checked;
  if (node.model) copy.model = node.domain->hooks->models->copy(*node.model, copy, map);
}

void copy_settings(Domain& copy, const Domain& domain) {
  copy.node_count = domain.node_count;
  copy.counters = domain.counters;
  copy.cases = domain.cases;
  copy.function_outlets = domain.function_outlets;
  copy.model_count = domain.model_count;
  copy.grain_size = domain.grain_size;
  copy.concurrency_level = domain.concurrency_level;
  copy.em_concurrency_level = domain.em_concurrency_level;
  copy.file_name = domain.file_name;
  copy.is_class = domain.is_class;
  copy.node_width = domain.node_width;
  copy.node_height = domain.node_height;
  copy.memory_limit = domain.memory_limit;
  copy.zero_compression = domain.zero_compression;
  copy.log_likelihood_tolerance = domain.log_likelihood_tolerance;
  copy.max_em_iterations = domain.max_em_iterations;
  copy.max_number_of_separators = domain.max_number_of_separators;
  copy.max_separator_size = domain.max_separator_size;
  copy.separator_score = domain.separator_score;
  copy.triangulation_effort = domain.triangulation_effort;
  copy_attributes(copy.attributes, domain.attributes);
}

template <class Map>
NodeList mapped(const NodeList& nodes, Map map) {
  NodeList result;
  if (!nodes.empty()) result.reserve(nodes.size());
  for (Node* node : nodes) result.push_back(map(node));
  return result;
}

// Gives the tables of a new node their serial numbers.
void register_tables(Node& node) noexcept {
  for (Table* table : tables_of(node))
    if (table) table->number = ++node.domain->table_count;
}

}  // namespace

std::unique_ptr<Domain> clone_domain(const Domain& domain) {
  auto clone = std::make_unique<Domain>(*domain.hooks);
  copy_settings(*clone, domain);
  std::vector<Node*> by_number(domain.node_count);
  for (const Node& node : domain.nodes) {
    Node& copy = clone->nodes.push_front(copy_own_properties(node, *clone));
    copy.number = node.number;
    copy.has_name = node.has_name;
    copy.name = node.name;
    by_number[node.number - 1] = &copy;
  }
  clone->nodes.reverse();

  const auto twin = [&](const Node* node) { return by_number[node->number - 1]; };
  for (const Node& node : domain.nodes) {
    Node& copy = *twin(&node);
    copy.parents = mapped(node.parents, twin);
    copy.children = mapped(node.children, twin);
    copy.neighbors = mapped(node.neighbors, twin);
    if (node.linked_node && node.linked_node->domain == &domain) copy.linked_node = twin(node.linked_node);
    copy_tables(copy, node, twin);
    register_tables(copy);
  }
  for (const ChainPotential& potential : domain.chain_potentials) {
    std::unique_ptr<Table> table = copy_with_nodes(*potential.table, *clone, twin);
    clone->chain_potentials.push_back({mapped(potential.children, twin), std::move(table)});
    clone->chain_potentials.back().table->number = ++clone->table_count;
  }
  clone->initial_triangulation = mapped(domain.initial_triangulation, twin);
  clone->required_instantiations = mapped(domain.required_instantiations, twin);
  for (Node* node : clone->required_instantiations) node->is_required = true;
  return clone;
}

Node* clone_node(Node& node) {
  Domain& domain = *node.domain;
  std::unique_ptr<Node> clone = copy_own_properties(node, domain);
  Node& copy = *clone;
  copy_tables(copy, node, [&](Node* other) { return other == &node ? &copy : other; });
  copy.parents = node.parents;
  for (Node* parent : node.parents) parent->children.reserve_one_more();

  register_tables(copy);
  if (copy.model) ++domain.model_count;
  for (Node* parent : node.parents) {
    parent->children.push_back(&copy);
    if (parent->category == tv_category_function) ++domain.function_outlets;
  }
  return &enlist_node(domain, std::move(clone));
}

}  // namespace tv

tv_node_t* tv_node_clone(tv_node_t* node) {
  return tv::guarded(static_cast<tv_node_t*>(nullptr),
                     [&]() -> tv_node_t* { return tv::check(node) ? tv::clone_node(*node) : nullptr; });
}

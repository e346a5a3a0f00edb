// Creating and deleting nodes, their category and subtype, and the plain queries.
#include <utility>

#include "api/boundary.h"
#include "network/domain.h"
#include "network/links/chain_graph.h"
#include "network/links/link_changes.h"
#include "network/links/links.h"
#include "network/name_table.h"
#include "network/node_operations.h"
#include "network/node_tables.h"
#include "network/refusals.h"
#include "tables/host_table.h"

namespace tv {
namespace {

size_t* counter_of(NodeCounters& counters, tv_node_category_t category) noexcept {
  switch (category) {
    case tv_category_chance:
      return &counters.chance;
    case tv_category_decision:
      return &counters.decision;
    case tv_category_utility:
      return &counters.utility;
    case tv_category_function:
      return &counters.function;
    case tv_category_instance:
      return &counters.instance;
    default:
      return nullptr;
  }
}

// Adds the node to the counters, or (`change` -1) takes it out of them.
void count_node(const Node& node, size_t change) noexcept {
  NodeCounters& counters = node.domain->counters;
  if (size_t* counter = counter_of(counters, node.category)) *counter += change;
  if (is_discrete(node)) counters.discrete += change;
  if (is_continuous(node)) counters.continuous += change;
}

constexpr size_t kOneMore = 1, kOneLess = static_cast<size_t>(-1);

bool is_decision_model(const NodeCounters& counters) noexcept {
  return counters.decision > 0 || counters.utility > 0;
}

bool exists(tv_node_category_t category, tv_node_kind_t kind) noexcept {
  const bool is_discrete_kind = kind == tv_kind_discrete;
  switch (category) {
    case tv_category_chance:
    case tv_category_decision:
      return is_discrete_kind || kind == tv_kind_continuous;
    case tv_category_function:
      return is_discrete_kind || kind == tv_kind_other;
    case tv_category_utility:
      return true;
    default:
      return false;
  }
}

// Conditional-Gaussian nodes and decision models do not mix.
bool kinds_mix(const NodeCounters& counters, tv_node_category_t category, tv_node_kind_t kind) noexcept {
  if (category == tv_category_function || category == tv_category_instance) return true;
  if (category == tv_category_chance && !is_decision_model(counters)) return true;
  return kind != tv_kind_continuous && counters.continuous == 0;
}

// The first decision or utility node makes a decision model of the domain, with more rules for functions.
bool functions_allow(const Domain& domain, tv_node_category_t category) {
  const bool starts_decision_model = (category == tv_category_decision || category == tv_category_utility) &&
                                     !is_decision_model(domain.counters);
  return !starts_decision_model || domain.counters.function == 0 ||
         _tv_function_nodes_satisfy_limid_constraints(domain);
}

tv_status_t refuse_decision_model() noexcept {
  return refuse(tv_status_cyclic_functional_dependency,
                "in a decision model function nodes cannot stand between other nodes");
}

tv_status_t check_creation(const Domain& domain, tv_node_category_t category, tv_node_kind_t kind) {
  if (!kinds_mix(domain.counters, category, kind))
    return refuse(tv_status_cg_limids_not_supported,
                  "continuous nodes do not mix with decisions and utilities");
  if (!functions_allow(domain, category)) return refuse_decision_model();
  return tv_status_none;
}

void disconnect_from_parents(Node& node) noexcept {
  while (!node.parents.empty()) disconnect(*node.parents.back(), node);
}

void disconnect_from_children(Node& node) noexcept {
  for (Node* child : node.children) child->parents.erase(&node);
  if (node.category == tv_category_function) node.domain->function_outlets -= node.children.size();
  node.children.clear();
}

}  // namespace

Node* new_node(Domain& domain, tv_node_category_t category, tv_node_kind_t kind, tv_node_subtype_t subtype) {
  if (!require(exists(category, kind), tv_status_usage)) return nullptr;
  if (category == tv_category_utility) kind = tv_kind_other;
  if (check_creation(domain, category, kind)) return nullptr;
  auto node = std::make_unique<Node>();
  node->domain = &domain;
  node->category = category;
  node->kind = kind;
  if (kind == tv_kind_discrete) {
    node->subtype = subtype;
    node->number_of_states = subtype == tv_subtype_boolean ? 2 : 1;
  }
  return &enlist_node(domain, std::move(node));
}

Node& enlist_node(Domain& domain, std::unique_ptr<Node> node) noexcept {
  node->number = ++domain.node_count;
  count_node(*node, kOneMore);
  structure_changed(domain);
  return domain.nodes.push_front(std::move(node));
}

tv_status_t delete_node(Node& node) {
  Domain& domain = *node.domain;
  TableChanges changes;
  for (Node* child : node.children) remove_parent_from_tables(changes, *child, node);
  ChainDeparture departure(node);
  const ModelHooks& models = *domain.hooks->models;
  ModelChanges model_changes = models.without_node(node);

  structure_changed(domain);
  changes.commit();
  departure.commit();
  models.commit(model_changes);
  disconnect_from_parents(node);
  disconnect_from_children(node);
  domain.required_instantiations.erase(&node);
  forget_node(node);
  for (Node& other : domain.nodes) {
    if (other.number > node.number) --other.number;
    if (other.linked_node == &node) other.linked_node = nullptr;
  }
  if (domain.name_table && node.has_name) domain.name_table->erase(node);
  count_node(node, kOneLess);
  if (node.model) --domain.model_count;
  --domain.node_count;
  domain.nodes.remove(node);
  return tv_status_none;
}

tv_status_t set_category(Node& node, tv_node_category_t category) {
  const bool can_change = is_discrete(node) && node.category != tv_category_function && !node.model;
  if (!can_change || (category != tv_category_chance && category != tv_category_decision))
    return refuse(tv_status_usage,
                  "only a discrete chance or decision node without a model changes its category; \"%s\" "
                  "stays what it is",
                  shown_name(node));
  if (category == node.category) return tv_status_none;
  if (in_chain_component(node))
    return refuse(tv_status_usage, "node \"%s\" has undirected links, which join chance nodes",
                  shown_name(node));
  Domain& domain = *node.domain;
  if (category == tv_category_decision) {
    if (tv_status_t status = check_creation(domain, category, node.kind)) return status;
  }
  structure_changed(domain);
  count_node(node, kOneLess);
  node.category = category;
  count_node(node, kOneMore);
  if (category == tv_category_decision) {  // only distributions are learned
    node.experience_table.reset();
    node.fading_table.reset();
  }
  node.table_checked = false;
  return tv_status_none;
}

tv_status_t set_subtype(Node& node, tv_node_subtype_t subtype) {
  const bool exists = subtype >= tv_subtype_label && subtype <= tv_subtype_interval;
  if (!is_discrete(node) || !exists || (subtype == tv_subtype_boolean && node.number_of_states != 2))
    return store_status(tv_status_usage);
  if (subtype != node.subtype) node.domain->hooks->models->mark_all_stale(node);
  node.subtype = subtype;
  return tv_status_none;
}

}  // namespace tv

tv_node_t* tv_domain_new_node(tv_domain_t* domain, tv_node_category_t category, tv_node_kind_t kind) {
  return tv::guarded(static_cast<tv_node_t*>(nullptr), [&]() -> tv_node_t* {
    return tv::check(domain) ? tv::new_node(*domain, category, kind) : nullptr;
  });
}

tv_status_t tv_node_delete(tv_node_t* node) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(node)) return tv_status_usage;
    return tv::delete_node(*node);
  });
}

tv_node_category_t tv_node_get_category(const tv_node_t* node) {
  return tv::check(node) ? node->category : tv_category_error;
}

tv_status_t tv_node_set_category(tv_node_t* node, tv_node_category_t category) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(node)) return tv_status_usage;
    return tv::set_category(*node, category);
  });
}

tv_node_kind_t tv_node_get_kind(const tv_node_t* node) {
  return tv::check(node) ? node->kind : tv_kind_error;
}

tv_node_subtype_t tv_node_get_subtype(const tv_node_t* node) {
  return tv::check(node && tv::is_discrete(*node)) ? node->subtype : tv_subtype_error;
}

tv_status_t tv_node_set_subtype(tv_node_t* node, tv_node_subtype_t subtype) {
  if (!tv::check(node)) return tv_status_usage;
  return tv::set_subtype(*node, subtype);
}

tv_domain_t* tv_node_get_domain(const tv_node_t* node) { return tv::check(node) ? node->domain : nullptr; }

tv_node_t* tv_domain_get_first_node(const tv_domain_t* domain) {
  return tv::check(domain) ? domain->nodes.first() : nullptr;
}

tv_node_t* tv_node_get_next(const tv_node_t* node) { return tv::check(node) ? node->next : nullptr; }

tv_status_t tv_node_set_user_data(tv_node_t* node, void* data) {
  if (!tv::check(node)) return tv_status_usage;
  node->user_data = data;
  return tv_status_none;
}

void* tv_node_get_user_data(const tv_node_t* node) { return tv::check(node) ? node->user_data : nullptr; }

tv_status_t tv_node_set_position(tv_node_t* node, long x, long y) {
  if (!tv::check(node)) return tv_status_usage;
  node->x = x;
  node->y = y;
  return tv_status_none;
}

tv_status_t tv_node_get_position(const tv_node_t* node, long* x, long* y) {
  if (!tv::check(node && x && y)) return tv_status_usage;
  *x = node->x;
  *y = node->y;
  return tv_status_none;
}

tv_status_t tv_node_set_label(tv_node_t* node, const char* label) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(node && label)) return tv_status_usage;
    node->label = label;
    return tv_status_none;
  });
}

const char* tv_node_get_label(const tv_node_t* node) {
  return tv::check(node) ? node->label.c_str() : nullptr;
}

// Arc reversal (Shachter, 1986): the link from X to Y becomes one from Y to X, each node inherits the
// parents of the other, and the product of the two tables stays what it was.
#include <algorithm>
#include <utility>

#include "api/boundary.h"
#include "network/links/chain_graph.h"
#include "network/links/graph_search.h"
#include "network/links/link_changes.h"
#include "network/links/links.h"
#include "network/links/reverse_regressions.h"
#include "network/node_tables.h"
#include "network/refusals.h"
#include "tables/table_operations.h"

namespace tv {
namespace {

// The parents of `donor` that `node` lacks, in the order in which inserting them keeps them in the
// donor's order: every discrete one goes to the front.
std::vector<Node*> missing_parents(const Node& node, const Node& donor) {
  std::vector<Node*> missing;
  for (Node* parent : donor.parents)
    if (parent != &node && !node.parents.contains(parent)) missing.push_back(parent);
  const auto discrete_end =
      std::find_if(missing.begin(), missing.end(), [](Node* parent) { return !is_discrete(*parent); });
  std::reverse(missing.begin(), discrete_end);
  return missing;
}

NodeList with_parents(const NodeList& parents, const std::vector<Node*>& more) {
  NodeList result = parents;
  for (Node* parent : more) insert_parent(result, parent);
  return result;
}

std::unique_ptr<Table> checked_copy(Node& node, tv_status_t& status) {
  std::unique_ptr<Table> copy =
      node.table ? clone_table(*node.table) : default_node_table(node, node.parents);
  status = validate_conditional_probability_potential(*copy, true);
  return copy;
}

// Each is independent of the other, and so they remain.
void reverse_blank_tables(TableChanges& changes, Node& x, Node& y, const NodeList& x_parents,
                          const NodeList& y_parents) {
  if (x.blank_table) changes.set_node_table(x, default_node_table(x, x_parents));
  if (y.blank_table) changes.set_node_table(y, default_node_table(y, y_parents));
}

// The tables of X given `x_parents` (which hold Y) and of Y given `y_parents`, by way of their joint.
tv_status_t reverse_tables(TableChanges& changes, Node& x, Node& y, const NodeList& x_parents,
                           const NodeList& y_parents) {
  tv_status_t status = tv_status_none;
  const std::unique_ptr<Table> x_table = checked_copy(x, status);
  if (status) return status;
  const std::unique_ptr<Table> y_table = checked_copy(y, status);
  if (status) return status;

  std::unique_ptr<Table> joint = default_node_table(x, x_parents);
  std::unique_ptr<Table> y_given_rest = default_node_table(y, y_parents);
  if ((status = allocate_table_data(*joint)) || (status = allocate_table_data(*y_given_rest))) return status;
  if (is_continuous(x)) {
    if ((status = reverse_regression_tables(x, y, *x_table, *y_table, *joint, *y_given_rest))) return status;
    changes.set_node_table(x, std::move(joint));
    changes.set_node_table(y, std::move(y_given_rest));
    return tv_status_none;
  }
  if ((status = extend_table(*x_table, *joint))) return status;
  if ((status = multiply_table(*joint, *y_table))) return status;
  if ((status = sum_marginalize_table(*joint, *y_given_rest))) return status;
  // X is the last node of the joint, so that normalising its runs conditions on all others.
  if ((status = validate_conditional_probability_potential(*joint, true))) return status;
  changes.set_node_table(x, std::move(joint));
  changes.set_node_table(y, std::move(y_given_rest));
  return tv_status_none;
}

tv_status_t reverse_link(Node& x, Node& y) {
  const std::vector<Node*> below_x = reachable_nodes(x, {&x, &y});
  if (std::find(below_x.begin(), below_x.end(), &y) != below_x.end())
    return refuse(tv_status_cyclic_network,
                  "there is another way from \"%s\" to \"%s\", so that the link cannot be reversed",
                  shown_name(x), shown_name(y));

  std::vector<Node*> x_gains = missing_parents(x, y);
  const std::vector<Node*> y_gains = missing_parents(y, x);
  x_gains.push_back(&y);
  NodeList x_parents = with_parents(x.parents, x_gains);
  NodeList y_parents = with_parents(y.parents, y_gains);
  y_parents.erase(&x);

  TableChanges changes;
  if (!x.table && !y.table)
    reverse_blank_tables(changes, x, y, x_parents, y_parents);
  else if (tv_status_t status = reverse_tables(changes, x, y, x_parents, y_parents))
    return status;
  change_parents_in_learning_tables(changes, x, nullptr, x_gains);
  change_parents_in_learning_tables(changes, y, &x, y_gains);
  for (Node* parent : x_gains) parent->children.reserve_one_more();
  for (Node* parent : y_gains) parent->children.reserve_one_more();

  changes.commit();
  x.parents = std::move(x_parents);
  y.parents = std::move(y_parents);
  x.children.erase(&y);
  size_t& outlets = x.domain->function_outlets;
  for (Node* parent : x_gains) {
    parent->children.push_back(&x);
    outlets += parent->category == tv_category_function;
  }
  for (Node* parent : y_gains) {
    parent->children.push_back(&y);
    outlets += parent->category == tv_category_function;
  }
  raise_to(below_x, y.level);
  structure_changed(*x.domain);
  return tv_status_none;
}

}  // namespace

tv_status_t reverse_edge(Node& node1, Node& node2) {
  const bool are_chance_nodes = node1.category == tv_category_chance && node2.category == tv_category_chance;
  const bool stays = node1.model || node2.model || in_chain_component(node1) || in_chain_component(node2);
  if (!are_chance_nodes || node1.kind != node2.kind || stays)
    return refuse(tv_status_usage,
                  "the link between \"%s\" and \"%s\" cannot be reversed: chance nodes of one kind, without "
                  "models and undirected links, are expected",
                  shown_name(node1), shown_name(node2));
  if (is_parent(node1, node2)) return reverse_link(node1, node2);
  if (is_parent(node2, node1)) return reverse_link(node2, node1);
  return refuse(tv_status_usage, "there is no link between \"%s\" and \"%s\"", shown_name(node1),
                shown_name(node2));
}

}  // namespace tv

tv_status_t tv_node_reverse_edge(tv_node_t* node1, tv_node_t* node2) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(node1 && node2)) return tv_status_usage;
    return tv::reverse_edge(*node1, *node2);
  });
}

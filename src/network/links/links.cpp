// Adding, removing and switching parents. The rules come first, then everything that needs memory is
// prepared, and the graph and the tables change at the end, where nothing can fail.
#include "network/links/links.h"

#include <algorithm>
#include <string_view>

#include "api/boundary.h"
#include "api/memory.h"
#include "network/links/chain_graph.h"
#include "network/links/functional_trails.h"
#include "network/links/graph_search.h"
#include "network/links/link_changes.h"
#include "network/node_operations.h"
#include "network/node_tables.h"
#include "network/refusals.h"

namespace tv {
namespace {

// `usage` where no link from the one node to the other can be, whatever else the network holds.
tv_status_t check_parent(const Node& child, const Node& parent) noexcept {
  const char* reason = nullptr;
  if (child.domain != parent.domain)
    reason = "they belong to different domains";
  else if (is_parent(parent, child))
    reason = "it is there already";
  else if (child.category == tv_category_instance || parent.category == tv_category_instance)
    reason = "instances have no links";
  else if (child.category == tv_category_function)
    return tv_status_none;
  else if (parent.category == tv_category_utility)
    reason = "a utility node has no children but functions";
  else if (is_discrete(child) && is_continuous(parent))
    reason = "a discrete node has no continuous parents";
  if (!reason) return tv_status_none;
  return refuse(tv_status_usage, "no link from \"%s\" to \"%s\": %s", shown_name(parent), shown_name(child),
                reason);
}

tv_status_t refuse_cycle(const Node& parent, const Node& child) noexcept {
  return refuse(tv_status_cyclic_network, "a link from \"%s\" to \"%s\" would close a cycle",
                shown_name(parent), shown_name(child));
}

tv_status_t refuse_missing_link(const Node& parent, const Node& child) noexcept {
  return refuse(tv_status_usage, "there is no link from \"%s\" to \"%s\" alone", shown_name(parent),
                shown_name(child));
}

// A node without stored values or labels has default ones, the same as any other node of its size.
bool have_equal_states(const Node& a, const Node& b) noexcept {
  if (a.number_of_states != b.number_of_states || a.subtype != b.subtype) return false;
  const bool is_interval = a.subtype == tv_subtype_interval;
  if ((is_interval || a.subtype == tv_subtype_number) &&
      !(a.state_values.empty() && b.state_values.empty())) {
    for (size_t i = 0; i < a.number_of_states + is_interval; ++i)
      if (state_value(a, i) != state_value(b, i)) return false;
  }
  if (a.subtype == tv_subtype_label && !(a.state_labels.empty() && b.state_labels.empty())) {
    for (size_t i = 0; i < a.number_of_states; ++i)
      if (std::string_view(state_label(a, i)) != state_label(b, i)) return false;
  }
  return true;
}

bool are_compatible(const Node& a, const Node& b) noexcept {
  return a.category == b.category && a.kind == b.kind && (!is_discrete(a) || have_equal_states(a, b));
}

}  // namespace

Node** copy_for_host(const NodeList& nodes) noexcept {
  const size_t size = size_multiply(size_add(nodes.size(), 1), sizeof(Node*));
  Node** copy = static_cast<Node**>(_tv_allocate(size));
  if (copy) std::copy_n(nodes.terminated(), nodes.size() + 1, copy);
  return copy;
}

// Looks in the shorter of the two lists that tell.
bool is_parent(const Node& parent, const Node& child) noexcept {
  return child.parents.size() <= parent.children.size() ? child.parents.contains(&parent)
                                                        : parent.children.contains(&child);
}

void insert_parent(NodeList& parents, Node* parent) {
  if (is_discrete(*parent))
    parents.push_front(parent);
  else
    parents.push_back(parent);
}

void prepare_link(Node& parent, Node& child) {
  child.parents.reserve_one_more();
  parent.children.reserve_one_more();
}

void connect(Node& parent, Node& child) noexcept {
  insert_parent(child.parents, &parent);
  parent.children.push_back(&child);
  if (parent.category == tv_category_function) ++parent.domain->function_outlets;
}

void disconnect(Node& parent, Node& child) noexcept {
  child.parents.erase(&parent);
  parent.children.erase(&child);
  if (parent.category == tv_category_function) --parent.domain->function_outlets;
}

tv_status_t add_parent(Node& child, Node& parent) {
  if (tv_status_t status = check_parent(child, parent)) return status;
  if (would_close_cycle(parent, child)) return refuse_cycle(parent, child);
  if (tv_status_t status = check_functional_trails(parent, child)) return status;
  TableChanges changes;
  add_parent_to_tables(changes, child, parent);
  prepare_link(parent, child);
  changes.commit();
  connect(parent, child);
  if (child.model) child.domain->hooks->models->mark_stale(*child.model);
  structure_changed(*child.domain);
  return tv_status_none;
}

tv_status_t remove_parent(Node& child, Node& parent) {
  if (!is_parent(parent, child) || link_is_shared(parent, child)) return refuse_missing_link(parent, child);
  TableChanges changes;
  remove_parent_from_tables(changes, child, parent);
  const ModelHooks& models = *child.domain->hooks->models;
  ModelChanges model_changes = models.without_parent(child, parent);
  changes.commit();
  models.commit(model_changes);
  disconnect(parent, child);
  structure_changed(*child.domain);
  return tv_status_none;
}

tv_status_t switch_parent(Node& child, Node& old_parent, Node& new_parent) {
  if (!is_parent(old_parent, child) || link_is_shared(old_parent, child))
    return refuse_missing_link(old_parent, child);
  if (tv_status_t status = check_parent(child, new_parent)) return status;
  if (!are_compatible(old_parent, new_parent))
    return refuse(tv_status_usage, "nodes \"%s\" and \"%s\" differ in their kind or states",
                  shown_name(old_parent), shown_name(new_parent));
  if (would_close_cycle(new_parent, child)) return refuse_cycle(new_parent, child);
  if (tv_status_t status = check_functional_trails(new_parent, child, {&old_parent, &child})) return status;
  prepare_link(new_parent, child);
  const ModelHooks& models = *child.domain->hooks->models;
  ModelChanges model_changes = models.with_other_parent(child, old_parent, new_parent);
  models.commit(model_changes);
  replace_parent_in_tables(child, old_parent, new_parent);
  child.parents.replace(&old_parent, &new_parent);
  old_parent.children.erase(&child);
  new_parent.children.push_back(&child);  // of the same category: the count of outlets stays
  structure_changed(*child.domain);
  return tv_status_none;
}

}  // namespace tv

tv_status_t tv_node_add_parent(tv_node_t* child, tv_node_t* parent) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(child && parent)) return tv_status_usage;
    return tv::add_parent(*child, *parent);
  });
}

tv_status_t tv_node_remove_parent(tv_node_t* child, tv_node_t* parent) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(child && parent)) return tv_status_usage;
    return tv::remove_parent(*child, *parent);
  });
}

tv_status_t tv_node_remove_discrete_parent(tv_node_t* child, tv_node_t* parent) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(child && parent && tv::is_discrete(*parent))) return tv_status_usage;
    return tv::remove_parent(*child, *parent);
  });
}

tv_status_t tv_node_switch_parent(tv_node_t* child, tv_node_t* old_parent, tv_node_t* new_parent) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(child && old_parent && new_parent)) return tv_status_usage;
    return tv::switch_parent(*child, *old_parent, *new_parent);
  });
}

tv_node_t** tv_node_get_parents(const tv_node_t* node) {
  return tv::check(node) ? node->parents.terminated() : nullptr;
}

tv_node_t** tv_node_get_children(const tv_node_t* node) {
  return tv::check(node) ? node->children.terminated() : nullptr;
}

tv_node_t** tv_node_get_ancestors(const tv_node_t* node) {
  return tv::guarded(static_cast<tv_node_t**>(nullptr), [&]() -> tv_node_t** {
    return tv::check(node) ? tv::copy_for_host(tv::find_ancestors(*node)) : nullptr;
  });
}

tv_node_t** tv_node_get_descendants(const tv_node_t* node) {
  return tv::guarded(static_cast<tv_node_t**>(nullptr), [&]() -> tv_node_t** {
    return tv::check(node) ? tv::copy_for_host(tv::find_descendants(*node)) : nullptr;
  });
}

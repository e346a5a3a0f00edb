// The links that nodes get are put in their lists at once, so that the rules see the network as it would be.
#include "learn/structure/link_plan.h"

#include <algorithm>
#include <utility>

#include "expr/model.h"
#include "learn/structure/graph/direct_links.h"
#include "network/links/functional_trails.h"
#include "network/links/link_changes.h"
#include "network/name_table.h"
#include "network/node_operations.h"
#include "network/refusals.h"

namespace tv {

LinkPlan::~LinkPlan() {
  if (are_swapped_) swap_lists();
}

tv_status_t LinkPlan::make() {
  if (!domain_.chain_potentials.empty())
    return refuse(tv_status_usage, "the domain has undirected links, which a structure cannot tell");
  graph_ = structure_.graph;
  if (!direct_all(graph_, structure_.knowledge))
    return refuse(tv_status_usage,
                  "the links of the structure cannot all be directed: directed ones close a "
                  "cycle, or constraints leave no way");
  if (tv_status_t status = find_nodes()) return status;
  if (tv_status_t status = check_kinds()) return status;
  compare_links();
  for (size_t v = 0; v < places_.size(); ++v) plan_parents(v);
  for (size_t v = 0; v < places_.size(); ++v) plan_children(v);
  swap_lists();
  if (tv_status_t status = order_nodes()) return status;
  if (tv_status_t status = check_function_nodes()) return status;
  for (Place& place : places_)
    if (place.has_other_parents) restart_tables(tables_, *place.node, place.node->parents);
  return tv_status_none;
}

void LinkPlan::commit() noexcept {
  are_swapped_ = false;
  if (!has_changes()) return;
  structure_changed(domain_);
  tables_.commit();
  for (Place& place : places_)
    if (place.has_other_parents && place.node->model) delete_model(*place.node->model);
  for (std::unique_ptr<Node>& hidden : hidden_) {
    Node& node = enlist_node(domain_, std::move(hidden));
    if (domain_.name_table && !domain_.name_table->insert(node)) domain_.name_table.reset();
  }
  for (Node* node : order_)
    for (const Node* parent : node->parents) node->level = std::max(node->level, parent->level);
}

tv_status_t LinkPlan::find_nodes() {
  place_by_number_.assign(domain_.node_count, kNone);
  for (const StructureNode& wanted : structure_.nodes) {
    Node* node = find_node(domain_, wanted.name);
    if (wanted.hidden_states > 0) {
      if (node) return refuse(tv_status_twice, "there is another node \"%s\"", wanted.name.c_str());
      if (tv_status_t status = make_hidden_node(wanted)) return status;
      node = hidden_.back().get();
    } else if (!node || node->category != tv_category_chance) {
      return refuse(tv_status_usage, "the domain has no chance node \"%s\"", wanted.name.c_str());
    }
    place_by_number_[node->number - 1] = places_.size();
    places_.push_back({node, {}, {}, {}, {}});
  }
  return tv_status_none;
}

tv_status_t LinkPlan::make_hidden_node(const StructureNode& hidden) {
  if (tv_status_t status = _tv_check_name(hidden.name, !domain_.is_class)) return status;
  auto node = std::make_unique<Node>();
  node->domain = &domain_;
  node->kind = tv_kind_discrete;
  node->number_of_states = hidden.hidden_states;
  node->name = hidden.name;
  node->has_name = true;
  place_by_number_.push_back(kNone);
  node->number = place_by_number_.size();  // as it will be
  hidden_.push_back(std::move(node));
  return tv_status_none;
}

tv_status_t LinkPlan::check_kinds() const {
  for (const Place& child : places_) {
    if (!is_discrete(*child.node)) continue;
    for (const size_t parent : graph_.parents(place_of(*child.node)))
      if (is_continuous(*places_[parent].node))
        return refuse(tv_status_usage,
                      "no link from \"%s\" to \"%s\": a discrete node has no continuous parents",
                      shown_name(*places_[parent].node), shown_name(*child.node));
  }
  return tv_status_none;
}

void LinkPlan::compare_links() {
  present_ = BitMatrix(places_.size());
  for (size_t v = 0; v < places_.size(); ++v)
    for (const Node* parent : places_[v].node->parents)
      if (place_of(*parent) != kNone) present_.set(v, place_of(*parent));
  for (size_t v = 0; v < places_.size(); ++v)
    for (size_t parent = 0; parent < places_.size(); ++parent)
      if (present_.has(v, parent) != graph_.is_directed(parent, v)) places_[v].has_other_parents = true;
}

void LinkPlan::plan_parents(size_t v) {
  Place& place = places_[v];
  if (!place.has_other_parents) return;
  for (Node* parent : place.node->parents)
    if (place_of(*parent) == kNone) place.parents.push_back(parent);
  for (const size_t parent : graph_.parents(v)) insert_parent(place.parents, places_[parent].node);
}

// Links that stay do so at their place, as long as the child's other links stay.
void LinkPlan::plan_children(size_t v) {
  Place& place = places_[v];
  const auto is_changed = [&](const Node& child) {
    return place_of(child) != kNone && places_[place_of(child)].has_other_parents;
  };
  for (Node* child : place.node->children)
    if (is_changed(*child))
      place.has_other_children = true;
    else
      place.children.push_back(child);
  for (const size_t child : graph_.children(v))
    if (places_[child].has_other_parents) {
      place.has_other_children = true;
      place.children.push_back(places_[child].node);
    }
}

bool LinkPlan::has_changes() const noexcept {
  return !hidden_.empty() || std::any_of(places_.begin(), places_.end(),
                                         [](const Place& place) { return place.has_other_parents; });
}

void LinkPlan::swap_lists() noexcept {
  are_swapped_ = !are_swapped_;
  for (Place& place : places_) {
    if (place.has_other_parents) std::swap(place.node->parents, place.parents);
    if (place.has_other_children) std::swap(place.node->children, place.children);
  }
}

// `cyclic_network` where there is no such order.
tv_status_t LinkPlan::order_nodes() {
  std::vector<size_t> missing(place_by_number_.size());  // parents that are not in the order yet
  std::vector<Node*> all;
  for (Node& node : domain_.nodes) all.push_back(&node);
  for (const std::unique_ptr<Node>& node : hidden_) all.push_back(node.get());
  for (Node* node : all) {
    missing[node->number - 1] = node->parents.size();
    if (node->parents.empty()) order_.push_back(node);
  }
  for (size_t i = 0; i < order_.size(); ++i)
    for (Node* child : order_[i]->children)
      if (--missing[child->number - 1] == 0) order_.push_back(child);
  if (order_.size() == all.size()) return tv_status_none;

  // Every node that is not in the order has such a parent: so many steps upwards end on a cycle, which a
  // link of the structure closes.
  const auto is_missing = [&](const Node* node) { return missing[node->number - 1] > 0; };
  const Node* node = *std::find_if(all.begin(), all.end(), is_missing);
  for (size_t i = order_.size(); i < all.size() || place_of(*node) == kNone; ++i)
    node = *std::find_if(node->parents.begin(), node->parents.end(), is_missing);
  return refuse(
      tv_status_cyclic_network,
      "with the other links of the domain those of the structure would close a cycle through \"%s\"",
      shown_name(*node));
}

tv_status_t LinkPlan::check_function_nodes() const {
  if (domain_.function_outlets == 0) return tv_status_none;
  for (size_t v = 0; v < places_.size(); ++v)
    for (const size_t parent : graph_.parents(v)) {
      if (present_.has(v, parent)) continue;
      Node &from = *places_[parent].node, &to = *places_[v].node;
      if (tv_status_t status = check_functional_trails(from, to, {&from, &to})) return status;
    }
  return tv_status_none;
}

}  // namespace tv

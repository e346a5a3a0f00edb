// Other links between some nodes of a domain, all at once: planned and checked before anything changes.
#pragma once

#include <memory>
#include <vector>

#include "learn/structure/graph/structure.h"
#include "network/domain.h"
#include "network/node_tables.h"

namespace tv {

class LinkPlan {
 public:
  LinkPlan(Domain& domain, const Structure& structure) : domain_(domain), structure_(structure) {}
  ~LinkPlan();
  LinkPlan(const LinkPlan&) = delete;
  LinkPlan& operator=(const LinkPlan&) = delete;

  // Makes room for the links of the structure and lists them with the nodes, so that the rules can be looked
  // at; the destructor takes them back.
  tv_status_t make();

  void commit() noexcept;  // after `make`

 private:
  // One node of the structure: what it has, and what it gets where that is something else.
  struct Place {
    Node* node;
    bool has_other_parents = false, has_other_children = false;
    NodeList parents, children;
  };

  tv_status_t find_nodes();
  tv_status_t make_hidden_node(const StructureNode& hidden);
  tv_status_t check_kinds() const;
  void compare_links();
  void plan_parents(size_t v);
  void plan_children(size_t v);
  bool has_changes() const noexcept;
  void swap_lists() noexcept;
  tv_status_t order_nodes();
  tv_status_t check_function_nodes() const;

  // By node of the structure; kNone for one that is none of its nodes.
  size_t place_of(const Node& node) const noexcept { return place_by_number_[node.number - 1]; }

  Domain& domain_;
  const Structure& structure_;
  PartialGraph graph_;  // with all links directed
  BitMatrix present_;   // [child][parent]: the links that there are
  std::vector<Place> places_;
  std::vector<std::unique_ptr<Node>> hidden_;
  std::vector<size_t> place_by_number_;
  std::vector<Node*> order_;  // of all nodes, parents before their children
  TableChanges tables_;
  bool are_swapped_ = false;
};

}  // namespace tv

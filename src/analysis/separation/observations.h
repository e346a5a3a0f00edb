// What is known of the nodes of a network, as questions about separation suppose it.
#pragma once

#include <vector>

#include "network/domain.h"
#include "network/node.h"

namespace tv {

// A set of nodes of one domain.
class NodeMarks {
 public:
  explicit NodeMarks(const Domain& domain) : members_(domain.node_count, 0) {}
  bool contains(const Node& node) const noexcept { return members_[node.number - 1]; }
  bool add(const Node& node) noexcept {  // whether it is new
    const bool is_new = !contains(node);
    members_[node.number - 1] = 1;
    return is_new;
  }
  void remove(const Node& node) noexcept { members_[node.number - 1] = 0; }

 private:
  std::vector<unsigned char> members_;
};

// The members of a set, in the order of the domain's nodes.
template <class Test>
NodeList nodes_that(const Domain& domain, Test test) {
  NodeList list;
  for (const Node& node : domain.nodes)
    if (test(node)) list.push_back(const_cast<Node*>(&node));
  return list;
}

struct Observations {
  explicit Observations(const Domain& domain) : known(domain), likelihood(domain) {}

  NodeMarks known;       // their state or value
  NodeMarks likelihood;  // other evidence

  bool has_evidence(const Node& node) const noexcept {
    return known.contains(node) || likelihood.contains(node);
  }

  // A decision that is made follows no policy, so that its parents play no part in it.
  bool hangs_on_parents(const Node& node) const noexcept {
    return node.category != tv_category_decision || !known.contains(node);
  }

  template <class Visit>
  void each_parent(const Node& node, Visit visit) const {
    if (!hangs_on_parents(node)) return;
    for (const Node* parent : node.parents) visit(*parent);
  }
  template <class Visit>
  void each_child(const Node& node, Visit visit) const {
    for (const Node* child : node.children)
      if (hangs_on_parents(*child)) visit(*child);
  }
};

tv_status_t refuse_foreign_node() noexcept;  // `usage`

// Fills in the nodes of two lists; what is entered on the domain, where both are null.
tv_status_t read_observations(const Domain& domain, Node* const* known, Node* const* likelihood,
                              Observations& observations);

// Adds nodes, or those with evidence, and their ancestors to a set that holds the ancestors of its members.
void add_with_ancestors(const Observations& observations, const NodeList& nodes, NodeMarks& set);
void add_evidence_with_ancestors(const Domain& domain, const Observations& observations, NodeMarks& set);

}  // namespace tv

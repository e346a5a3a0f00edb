// Undirected links. A chain potential stands over a group of discrete chance nodes and the parents that
// the group shares; nodes joined by groups form a component. The domain is then a chain graph (Lauritzen
// and Wermuth 1989): a component given all its parents has the product of its potentials (of its groups
// and of its members' own tables), divided by what that product sums to.
#pragma once

#include <vector>

#include "network/domain.h"
#include "network/node.h"

namespace tv {

inline bool in_chain_component(const Node& node) noexcept { return !node.neighbors.empty(); }

// The components of the domain, each with its members in the domain's order.
std::vector<NodeList> find_chain_components(const Domain& domain);

// Whether undirected links among the nodes would close a cycle with a directed link on it
// (`cyclic_network`) or a trail through function nodes (`cyclic_functional_dependency`).
tv_status_t check_chain_potential(const NodeList& children);

// Joins the children with one another; `table` is over the shared parents, then the children. All links
// from the parents are there already.
void add_chain_potential(Domain& domain, const NodeList& children, std::unique_ptr<Table> table);

// Whether a path leads from one node to the other along links in their direction and undirected links.
bool chain_path_leads(Node& from, const Node& to);

// Whether a chain potential gives the link, so that it cannot be taken away alone.
bool link_is_shared(const Node& parent, const Node& child) noexcept;

// What the chain potentials hold of a node that is going to be deleted: it is averaged out of their tables,
// and a group of one is none any more. Prepared first, then done without failure.
class ChainDeparture {
 public:
  explicit ChainDeparture(Node& node);
  void commit() noexcept;

 private:
  Node& node_;
  std::vector<ChainPotential> remaining_;
  std::vector<NodeList> neighbors_;  // of the nodes in the order of the domain
};

}  // namespace tv

// Nodes in the making: those that come to a domain from now on leave it again unless they are kept, and so
// does everything that hangs on them.
#pragma once

#include "network/domain.h"

namespace tv {

// What compilation made of the domain is kept aside until it is clear that it has ended.
class NodeAddition {
 public:
  explicit NodeAddition(Domain& domain) noexcept;
  ~NodeAddition();
  NodeAddition(const NodeAddition&) = delete;
  NodeAddition& operator=(const NodeAddition&) = delete;

  // The new nodes, in the order in which they came, as a list that is the host's; null when there is no
  // memory for it.
  Node** new_nodes() const noexcept;
  void keep() noexcept { kept_ = true; }

 private:
  Domain& domain_;
  size_t node_count_, chain_potentials_, table_count_;
  bool compiled_;
  decltype(Domain::forest) forest_;
  NodeList initial_triangulation_;
  bool kept_ = false;
};

}  // namespace tv

// The nodes that active trails reach from some nodes.
#pragma once

#include "analysis/separation/observations.h"

namespace tv {

// The search of Shachter (1998), "Bayes ball": each node is left at most twice, once in the direction of its
// links and once against it.
class ActiveTrails {
 public:
  ActiveTrails(const Domain& domain, const Observations& observations)
      : observations_(observations), marks_(domain.node_count, 0) {}

  void follow_from(const NodeList& nodes);

  bool reach(const Node& node) const noexcept { return marks(node) & (kFromChild | kFromParent); }

  // Whether they go on to the parents, so that the node's table matters.
  bool reach_parents_of(const Node& node) const noexcept { return marks(node) & kToParents; }

 private:
  static constexpr unsigned char kFromChild = 1, kFromParent = 2, kToChildren = 4, kToParents = 8;

  unsigned char marks(const Node& node) const noexcept { return marks_[node.number - 1]; }
  void visit(const Node& node, unsigned char from);
  void leave(const Node& node);

  const Observations& observations_;
  std::vector<unsigned char> marks_;
  std::vector<const Node*> open_;
};

}  // namespace tv

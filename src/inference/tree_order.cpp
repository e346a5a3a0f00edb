// Prerequisites between trees, followed through real-valued function nodes.

#include "inference/tree_order.h"

#include <algorithm>

namespace tv {
namespace {

// The other trees that must be propagated before `tree`.
std::vector<JunctionTree*> prerequisites(const JunctionTree& tree) {
  std::vector<JunctionTree*> found;
  std::vector<const Node*> open(tree.nodes.begin(), tree.nodes.end());
  std::vector<bool> seen(tree.domain->node_count, false);
  while (!open.empty()) {
    const Node* node = open.back();
    open.pop_back();
    for (const Node* parent : node->parents) {
      JunctionTree* other = placement(*parent).tree;
      if (other == &tree || seen[parent->number - 1]) continue;
      seen[parent->number - 1] = true;
      if (!other)
        open.push_back(parent);
      else if (std::find(found.begin(), found.end(), other) == found.end())
        found.push_back(other);
    }
  }
  return found;
}

}  // namespace

std::vector<JunctionTree*> trees_in_order(const Domain& domain) {
  std::vector<JunctionTree*> order, open;
  std::vector<bool> seen(domain.forest->tree_count, false), done(seen);
  for (JunctionTree& start : domain.forest->trees) {
    open.push_back(&start);
    while (!open.empty()) {
      JunctionTree* const tree = open.back();
      bool waits = false;
      if (!seen[tree->position]) {
        seen[tree->position] = true;  // also prevents a waiting tree from being visited twice
        for (JunctionTree* other : prerequisites(*tree))
          if (!seen[other->position]) {
            open.push_back(other);
            waits = true;
          }
      }
      if (waits) continue;
      open.pop_back();
      if (!done[tree->position]) order.push_back(tree);
      done[tree->position] = true;
    }
  }
  return order;
}

}  // namespace tv

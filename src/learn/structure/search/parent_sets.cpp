// Which nodes may be parents at all, and the order of what was found.
#include "learn/structure/search/parent_sets.h"

#include <algorithm>
#include <bit>

namespace tv {

void ParentSets::find_candidates() {
  const Knowledge& knowledge = problem_->knowledge;
  for (uint32_t other = 0; other < problem_->size(); ++other) {
    if (other == node_) continue;
    const NodeSet bit = NodeSet{1} << other;
    const bool is_required = knowledge.requires_any(other, node_);
    if (is_required) must_join_ |= bit;
    if (knowledge.allows(other, node_)) (is_required ? joined_ : free_) |= bit;
  }
}

std::vector<uint32_t> ParentSets::members(NodeSet set) const {
  std::vector<uint32_t> nodes;
  for (uint32_t node = 0; node < problem_->size(); ++node)
    if ((set >> node) & 1) nodes.push_back(node);
  return nodes;
}

// False where one of them was left out, so that this one can be, too.
bool ParentSets::best_of_subsets(NodeSet set, NodeSet required, double& best) const {
  best = -std::numeric_limits<double>::infinity();
  for (NodeSet rest = set & ~required; rest; rest &= rest - 1) {
    const auto found = best_.find(set & ~(rest & -rest));
    if (found == best_.end()) return false;
    best = std::max(best, found->second);
  }
  return true;
}

void ParentSets::finish() {
  best_.clear();
  std::sort(sets_.begin(), sets_.end(), [](const ParentSet& a, const ParentSet& b) {
    if (a.score != b.score) return a.score > b.score;
    if (std::popcount(a.parents) != std::popcount(b.parents))
      return std::popcount(a.parents) < std::popcount(b.parents);
    return a.parents < b.parents;
  });
}

}  // namespace tv

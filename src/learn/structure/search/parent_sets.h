// The sets of parents of a node that may be part of the best graph: each scores better than all its subsets
// that do as well for what is required.
#pragma once

#include <unordered_map>

#include "learn/structure/search/family_score.h"

namespace tv {

using NodeSet = uint32_t;  // by bit

struct ParentSet {
  double score;
  NodeSet parents;
};

class ParentSets {
 public:
  // Sets are scored one after the other; `stop()` is asked before each.
  template <class Stop>
  bool find(const LearningProblem& problem, uint32_t node, FamilyScorer& scorer, Stop stop) {
    problem_ = &problem;
    node_ = node;
    find_candidates();
    for (NodeSet required = joined_;; required = (required - 1) & joined_) {
      if (!search_above(required, scorer, stop)) return false;
      if (required == 0) break;
    }
    finish();
    return true;
  }

  // The best parents among nodes that come before this one, with all of them that it must have a link with;
  // null where there are none.
  const ParentSet* best_among(NodeSet before) const noexcept {
    const NodeSet needed = must_join_ & before;
    for (const ParentSet& set : sets_)
      if (!(set.parents & ~before) && !(needed & ~set.parents)) return &set;
    return nullptr;
  }

 private:
  void find_candidates();
  std::vector<uint32_t> members(NodeSet set) const;
  bool best_of_subsets(NodeSet set, NodeSet required, double& best) const;
  void finish();

  // All sets with these required nodes, in the order of their sizes. Where even a perfect fit would not be
  // better than a subset, no larger set is, either.
  template <class Stop>
  bool search_above(NodeSet required, FamilyScorer& scorer, Stop stop) {
    best_.clear();
    std::vector<NodeSet> sets{required}, larger;
    while (!sets.empty()) {
      larger.clear();
      for (const NodeSet set : sets) {
        if (stop()) return false;
        double best = 0.0;
        const bool has_subsets = set != required;
        if (has_subsets && !best_of_subsets(set, required, best)) continue;
        const std::vector<uint32_t> parents = members(set);
        if (parents.size() > problem_->settings().max_parents) continue;
        if (has_subsets && scorer.bound(node_, parents) <= best) continue;
        const double score = scorer.score(node_, parents);
        if (!has_subsets || score > best) sets_.push_back({score, set});
        best_[set] = has_subsets && best > score ? best : score;
        for (uint32_t next = 0; next < problem_->size(); ++next)
          if (((free_ >> next) & 1) && (set & free_) >> next == 0) larger.push_back(set | NodeSet{1} << next);
      }
      std::swap(sets, larger);
    }
    return true;
  }

  const LearningProblem* problem_ = nullptr;
  uint32_t node_ = 0;
  NodeSet must_join_ = 0;                     // nodes that a link with this one is required with
  NodeSet joined_ = 0;                        // of these, those that may be parents
  NodeSet free_ = 0;                          // the others that may be parents
  std::unordered_map<NodeSet, double> best_;  // of a set and its subsets
  std::vector<ParentSet> sets_;               // the best first
};

}  // namespace tv

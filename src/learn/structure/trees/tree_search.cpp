// A spanning tree may have any direction of its links that constraints leave, and so the best one is a
// heaviest branching: required links count first, then how many there are, then what they gain.
#include "learn/structure/trees/tree_search.h"

#include <algorithm>

#include "learn/structure/graph/branching.h"
#include "learn/structure/search/graph_score.h"
#include "learn/structure/trees/pair_gains.h"

namespace tv {
namespace {

using Neighbors = std::vector<std::vector<size_t>>;

class TreeSearch {
 public:
  TreeSearch(const LearningProblem& problem, const CaseColumns& columns, const TreeTask& task,
             ProgressMeter& progress)
      : problem_(problem), columns_(columns), task_(task), progress_(progress), gains_(size()) {}

  tv_status_t run(Structure& structure) {
    if (tv_status_t status = find_gains(problem_, columns_, task_.nodes, task_.given, progress_, gains_))
      return status;
    parents_ = heaviest_branching(size(), {possible_link, this});
    choose_roots();
    if (!problem_.settings().is_spanning)
      if (tv_status_t status = drop_links()) return status;
    for (size_t v = 0; v < size(); ++v)
      if (parents_[v] != kNone) structure.graph.direct(task_.nodes[parents_[v]], task_.nodes[v]);
    return tv_status_none;
  }

 private:
  size_t size() const noexcept { return task_.nodes.size(); }
  bool allows(size_t from, size_t to) const noexcept {
    return task_.nodes[to] != task_.root && problem_.knowledge.allows(task_.nodes[from], task_.nodes[to]);
  }
  bool requires_any(size_t a, size_t b) const noexcept {
    return problem_.knowledge.requires_any(task_.nodes[a], task_.nodes[b]);
  }

  static bool possible_link(const void* context, size_t from, size_t to, BranchWeight& weight) {
    const TreeSearch& search = *static_cast<const TreeSearch*>(context);
    if (from == to || !search.allows(from, to)) return false;
    weight.rank = search.requires_any(from, to) ? static_cast<int64_t>(search.size()) + 1 : 0;
    weight.rank += search.problem_.settings().is_spanning;
    weight.gain = search.gains_(from, to);
    return true;
  }

  // Gains do not depend on directions, and so neither does the weight of a tree.
  void choose_roots() {
    Neighbors neighbors(size());
    for (size_t v = 0; v < size(); ++v)
      if (parents_[v] != kNone) {
        neighbors[v].push_back(parents_[v]);
        neighbors[parents_[v]].push_back(v);
      }
    std::vector<bool> is_done(size(), false);
    for (size_t v = 0; v < size(); ++v) {
      if (is_done[v]) continue;
      std::vector<size_t> tree = reached_from(v, neighbors);
      for (const size_t member : tree) is_done[member] = true;
      std::sort(tree.begin(), tree.end());
      for (const size_t root : tree)
        if (lead_away(root, neighbors)) break;
    }
  }

  static std::vector<size_t> reached_from(size_t start, const Neighbors& neighbors) {
    std::vector<size_t> reached{start}, from{kNone};
    for (size_t i = 0; i < reached.size(); ++i)
      for (const size_t next : neighbors[reached[i]])
        if (next != from[i]) {
          reached.push_back(next);
          from.push_back(reached[i]);
        }
    return reached;
  }

  // Directs the links of a tree; false, and nothing is done, where constraints do not allow it.
  bool lead_away(size_t root, const Neighbors& neighbors) {
    std::vector<std::pair<size_t, size_t>> steps{{root, kNone}};  // to, from
    for (size_t i = 0; i < steps.size(); ++i) {
      const auto [v, from] = steps[i];
      for (const size_t next : neighbors[v]) {
        if (next == from) continue;
        if (!allows(v, next)) return false;
        steps.emplace_back(next, v);
      }
    }
    for (const auto& [to, from] : steps) parents_[to] = from;
    return true;
  }

  // A node whose score is no better with its parent has none.
  tv_status_t drop_links() {
    std::vector<AskedFamily> families;
    for (size_t v = 0; v < size(); ++v) {
      families.push_back({task_.nodes[v], task_.given});
      if (parents_[v] == kNone) continue;
      std::vector<uint32_t> both = task_.given;
      const uint32_t parent = task_.nodes[parents_[v]];
      both.insert(std::upper_bound(both.begin(), both.end(), parent), parent);
      families.push_back({task_.nodes[v], std::move(both)});
    }
    if (tv_status_t status = score_families(problem_, columns_, progress_, families)) return status;
    for (size_t v = 0, i = 0; v < size(); ++v, ++i) {
      if (parents_[v] == kNone) continue;
      ++i;
      const bool is_worthy = families[i].score > families[i - 1].score;
      if (!is_worthy && !requires_any(parents_[v], v)) parents_[v] = kNone;
    }
    return tv_status_none;
  }

  const LearningProblem& problem_;
  const CaseColumns& columns_;
  const TreeTask& task_;
  ProgressMeter& progress_;
  PairGains gains_;
  std::vector<size_t> parents_;  // by place among the nodes of the task
};

}  // namespace

tv_status_t add_tree(const LearningProblem& problem, const CaseColumns& columns, const TreeTask& task,
                     ProgressMeter& progress, Structure& structure) {
  return TreeSearch(problem, columns, task, progress).run(structure);
}

tv_status_t learn_tree(const LearningProblem& problem, const CaseColumns& columns, ProgressMeter& progress,
                       Structure& structure) {
  TreeTask task;
  for (size_t v = 0; v < problem.size(); ++v) task.nodes.push_back(static_cast<uint32_t>(v));
  task.root = problem.target;
  if (tv_status_t status = add_tree(problem, columns, task, progress, structure)) return status;
  return score_structure(problem, columns, progress, structure);
}

}  // namespace tv

// Dynamic programming over sets of nodes: the best graph over a set has a last node, whose parents are the
// best ones among the others (Silander and Myllymäki 2006). Parent sets that cannot be best are left out
// before (de Campos and Ji 2011).
#include "learn/structure/search/exact_search.h"

#include <limits>

#include "api/memory.h"
#include "learn/structure/counts/pieces.h"
#include "learn/structure/search/parent_sets.h"

namespace tv {
namespace {

constexpr double kImpossible = -std::numeric_limits<double>::infinity();
constexpr size_t kSetsOfLook = size_t{1} << 16;  // between two looks at the progress handler

class ExactSearch {
 public:
  ExactSearch(const LearningProblem& problem, const CaseColumns& columns, ProgressMeter& progress)
      : problem_(problem),
        columns_(columns),
        progress_(progress),
        logarithms_(columns.total(), !columns.is_weighted()),
        families_(problem.size()) {}

  tv_status_t run(Structure& structure) {
    if (tv_status_t status = find_parent_sets()) return status;
    if (tv_status_t status = find_best_scores()) return status;
    const size_t all = best_.size() - 1;
    if (best_[all] == kImpossible)
      return refuse(tv_status_usage, "no directed graph meets all constraints and limits");
    structure.score = best_[all];
    structure.graph = PartialGraph(problem_.size());
    for (NodeSet set = static_cast<NodeSet>(all); set;) {
      const Last last = last_of(set);
      for (uint32_t parent = 0; parent < problem_.size(); ++parent)
        if ((last.parents >> parent) & 1) structure.graph.direct(parent, last.node);
      set &= ~(NodeSet{1} << last.node);
    }
    return tv_status_none;
  }

 private:
  struct Last {
    double score = kImpossible;  // of all nodes of the set together
    uint32_t node = 0;
    NodeSet parents = 0;
  };

  tv_status_t find_parent_sets() {
    StopFlag flag(progress_);
    return run_pieces(
        problem_.size(), problem_.settings().threads, progress_, [&](size_t, size_t node) -> tv_status_t {
          FamilyScorer scorer(columns_, logarithms_, problem_.settings());
          const auto stop = [&] { return flag.look(0); };
          const bool is_done = families_[node].find(problem_, static_cast<uint32_t>(node), scorer, stop);
          return is_done ? tv_status_none : tv_status_error;
        });
  }

  tv_status_t find_best_scores() {
    const size_t count = size_t{1} << problem_.size(), limit = problem_.domain->memory_limit;
    if (limit && count * sizeof(double) > limit)
      return refuse(tv_status_no_memory, "the exact search needs %zu bytes, and the memory limit is %zu",
                    count * sizeof(double), limit);
    best_.assign(count, kImpossible);
    best_[0] = 0.0;
    for (size_t set = 1; set < count; ++set) {
      if (set % kSetsOfLook == 0)
        if (tv_status_t status = progress_.advance()) return status;
      best_[set] = last_of(static_cast<NodeSet>(set)).score;
    }
    return tv_status_none;
  }

  Last last_of(NodeSet set) const {
    Last best;
    for (NodeSet rest = set; rest; rest &= rest - 1) {
      const uint32_t node = static_cast<uint32_t>(__builtin_ctz(rest));
      const NodeSet before = set & ~(NodeSet{1} << node);
      if (best_[before] == kImpossible) continue;
      const ParentSet* const parents = families_[node].best_among(before);
      if (parents && best_[before] + parents->score > best.score)
        best = {best_[before] + parents->score, node, parents->parents};
    }
    return best;
  }

  const LearningProblem& problem_;
  const CaseColumns& columns_;
  ProgressMeter& progress_;
  const CountLogarithms logarithms_;
  std::vector<ParentSets> families_;
  std::vector<double> best_;  // by set of nodes: the greatest score of a graph over it
};

}  // namespace

tv_status_t search_exactly(const LearningProblem& problem, const CaseColumns& columns,
                           ProgressMeter& progress, Structure& structure) {
  if (problem.size() > kMostExactNodes)
    return refuse(tv_status_size_too_large, "the exact search is for at most %zu nodes, and there are %zu",
                  kMostExactNodes, problem.size());
  return ExactSearch(problem, columns, progress).run(structure);
}

}  // namespace tv

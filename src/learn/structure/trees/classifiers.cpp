// Which links there are has been checked against constraints before, but for those of the tree.
#include "learn/structure/trees/classifiers.h"

#include "learn/structure/search/graph_score.h"
#include "learn/structure/trees/tree_search.h"

namespace tv {
namespace {

void link_target(const LearningProblem& problem, Structure& structure) noexcept {
  for (size_t v = 0; v < problem.size(); ++v)
    if (v != problem.target) structure.graph.direct(problem.target, v);
}

}  // namespace

tv_status_t learn_naive_bayes(const LearningProblem& problem, const CaseColumns& columns,
                              ProgressMeter& progress, Structure& structure) {
  link_target(problem, structure);
  return score_structure(problem, columns, progress, structure);
}

tv_status_t learn_tan(const LearningProblem& problem, const CaseColumns& columns, ProgressMeter& progress,
                      Structure& structure) {
  link_target(problem, structure);
  TreeTask task;
  for (size_t v = 0; v < problem.size(); ++v)
    if (v != problem.target) task.nodes.push_back(static_cast<uint32_t>(v));
  task.given = {static_cast<uint32_t>(problem.target)};
  if (tv_status_t status = add_tree(problem, columns, task, progress, structure)) return status;
  return score_structure(problem, columns, progress, structure);
}

}  // namespace tv

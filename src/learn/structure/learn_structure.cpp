// The methods, and the call that learns a structure.
#include "learn/structure/learn_structure.h"

#include "api/boundary.h"
#include "learn/structure/constraints/required_links.h"
#include "learn/structure/independence/learn_by_tests.h"
#include "learn/structure/search/exact_search.h"
#include "learn/structure/search/greedy_search.h"
#include "learn/structure/structural_em.h"
#include "learn/structure/trees/classifiers.h"
#include "learn/structure/trees/hierarchical.h"
#include "learn/structure/trees/tree_search.h"

namespace tv {
namespace {

// The required links alone, each with a direction.
tv_status_t start_with_required_links(const LearningProblem& problem, Structure& structure) {
  const std::vector<size_t> order =
      order_of_required_links(problem.knowledge, problem.settings().max_parents);
  if (order.empty()) return refuse(tv_status_usage, "the required links cannot all have a direction");
  for (size_t i = 0; i < order.size(); ++i)
    for (size_t j = i + 1; j < order.size(); ++j)
      if (is_required(problem.knowledge, order[i], order[j])) structure.graph.direct(order[j], order[i]);
  return tv_status_none;
}

tv_structure_t* learn(Domain& domain, const StructureLearner& learner) {
  LearningProblem problem;
  if (store_status(state_problem(domain, learner, {}, problem))) return nullptr;
  ProgressMeter progress(domain, kLearningTask, 0);
  CaseColumns columns;
  if (store_status(read_case_columns(problem, progress, columns))) return nullptr;
  auto structure = std::make_unique<Structure>(empty_structure(problem));
  const bool completes = learner.settings.max_completions > 0;
  const tv_status_t status = completes ? learn_with_completions(problem, columns, progress, *structure)
                                       : learn_structure(problem, columns, progress, *structure);
  return store_status(status) ? nullptr : structure.release();
}

}  // namespace

tv_status_t learn_structure(const LearningProblem& problem, const CaseColumns& columns,
                            ProgressMeter& progress, Structure& structure) {
  switch (problem.settings().method) {
    case tv_structure_method_greedy:
      if (tv_status_t status = start_with_required_links(problem, structure)) return status;
      return search_greedily(problem, columns, progress, structure);
    case tv_structure_method_exact:
      return search_exactly(problem, columns, progress, structure);
    case tv_structure_method_tree:
      return learn_tree(problem, columns, progress, structure);
    case tv_structure_method_naive_bayes:
      return learn_naive_bayes(problem, columns, progress, structure);
    case tv_structure_method_tan:
      return learn_tan(problem, columns, progress, structure);
    case tv_structure_method_hierarchical:
      return learn_hierarchical(problem, columns, progress, structure);
    default:
      return learn_by_tests(problem, columns, progress, structure);
  }
}

}  // namespace tv

tv_structure_t* tv_domain_learn_structure(tv_domain_t* domain, const tv_structure_learner_t* learner) {
  return tv::guarded<tv_structure_t*>(nullptr, [&]() -> tv_structure_t* {
    return tv::check(domain && learner) ? tv::learn(*domain, *learner) : nullptr;
  });
}

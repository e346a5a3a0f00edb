// Structures and completions in turn, on copies of the domain that have the nodes of the problem alone.
#include "learn/structure/structural_em.h"

#include "learn/structure/complete_cases_at_random.h"
#include "learn/structure/learn_structure.h"
#include "network/node_operations.h"

namespace tv {
namespace {

class StructuralEm {
 public:
  StructuralEm(const LearningProblem& problem, ProgressMeter& progress)
      : problem_(problem), progress_(progress) {}

  tv_status_t run(const CaseColumns& columns, Structure& structure) {
    if (tv_status_t status = learn_structure(problem_, columns, progress_, structure)) return status;
    if (!structure.is_finished) return tv_status_none;
    Structure candidate = structure;
    bool has_score = false;
    for (size_t round = 0;; ++round) {
      if (tv_status_t status = learn_tables(candidate)) return ended(status, structure, has_score);
      const double score = score_of_observed();
      if (current_status()) return ended(current_status(), structure, has_score);
      if (has_score && score <= *structure.score) return tv_status_none;
      structure = candidate;
      structure.score = score;
      has_score = true;
      if (round == problem_.settings().max_completions) return tv_status_none;
      if (tv_status_t status = learn_from_completion(round, candidate))
        return ended(status, structure, has_score);
    }
  }

 private:
  // Where the host stops, the best structure stands.
  tv_status_t ended(tv_status_t status, Structure& structure, bool has_score) const noexcept {
    if (status != tv_status_error || !has_score) return status;
    structure.is_finished = false;
    store_status(tv_status_none);
    return tv_status_none;
  }

  // In a new copy.
  tv_status_t learn_tables(const Structure& structure) {
    copy_ = clone_domain(*problem_.domain);
    if (!copy_) return current_status();
    std::vector<Node*> others;
    for (Node& node : copy_->nodes)
      if (!is_of_problem(node)) others.push_back(&node);
    for (Node* node : others)
      if (tv_status_t status = delete_node(*node)) return status;
    copy_->progress_handler = problem_.domain->progress_handler;
    copy_->progress_data = problem_.domain->progress_data;
    copy_->em_concurrency_level = problem_.settings().threads;
    if (tv_status_t status = tv_domain_set_structure(copy_.get(), &structure)) return status;
    for (Node& node : copy_->nodes)
      if (!tv_node_get_experience_table(&node)) return current_status();
    if (tv_status_t status = tv_domain_compile(copy_.get())) return status;
    return tv_domain_learn_tables(copy_.get());
  }

  bool is_of_problem(const Node& node) const {
    return node.category == tv_category_chance && !problem_.learner->left_out.contains(node.name);
  }

  double score_of_observed() const {
    switch (problem_.settings().score) {
      case tv_structure_score_aic:
        return tv_domain_get_AIC(copy_.get());
      case tv_structure_score_log_likelihood:
        return tv_domain_get_log_likelihood(copy_.get());
      default:
        return tv_domain_get_BIC(copy_.get());
    }
  }

  tv_status_t learn_from_completion(size_t round, Structure& structure) {
    const uint64_t seed = problem_.settings().seed + 0x9E3779B97F4A7C15u * (round + 1);
    if (tv_status_t status = complete_cases_at_random(*copy_, seed, problem_.settings().threads, progress_))
      return status;
    LearningProblem problem = problem_;
    problem.domain = copy_.get();
    for (Node*& node : problem.nodes) node = find_node(*copy_, node->name);
    CaseColumns columns;
    if (tv_status_t status = read_case_columns(problem, progress_, columns)) return status;
    structure = empty_structure(problem);
    const tv_status_t status = learn_structure(problem, columns, progress_, structure);
    return !status && !structure.is_finished ? tv_status_error : status;
  }

  const LearningProblem& problem_;
  ProgressMeter& progress_;
  std::unique_ptr<Domain> copy_;
};

}  // namespace

tv_status_t learn_with_completions(const LearningProblem& problem, const CaseColumns& columns,
                                   ProgressMeter& progress, Structure& structure) {
  return StructuralEm(problem, progress).run(columns, structure);
}

}  // namespace tv

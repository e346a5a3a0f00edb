// The stable form of the PC algorithm (Spirtes and Glymour 1991; Colombo and Maathuis 2014).
#include "learn/structure/independence/learn_by_tests.h"

#include "learn/structure/graph/orientation_rules.h"
#include "learn/structure/independence/colliders.h"

namespace tv {
namespace {

// A tester for each thread.
class Testers {
 public:
  Testers(const LearningProblem& problem, const CaseColumns& columns)
      : logarithms_(columns.total(), !columns.is_weighted()) {
    for (size_t thread = 0; thread < problem.settings().threads; ++thread)
      testers_.emplace_back(columns, logarithms_, problem.settings());
  }

  IndependenceTest test() {
    const auto run = [](void* context, size_t thread, size_t a, size_t b, std::span<const uint32_t> given) {
      return static_cast<Testers*>(context)->testers_[thread].test(static_cast<uint32_t>(a),
                                                                   static_cast<uint32_t>(b), given);
    };
    return {run, this};
  }

 private:
  const CountLogarithms logarithms_;
  std::vector<IndependenceTester> testers_;
};

}  // namespace

tv_status_t learn_by_tests(const SkeletonSearch& search, ProgressMeter& progress, Structure& structure) {
  if (tv_status_t status = find_skeleton(search, progress, structure)) return status;
  const Knowledge& knowledge = search.problem.knowledge;
  apply_knowledge(structure.graph, knowledge);
  AmbiguousTriples ambiguous;
  if (tv_status_t status = direct_colliders(search, progress, structure, ambiguous)) return status;
  apply_orientation_rules(structure.graph, knowledge, ambiguous);
  return tv_status_none;
}

tv_status_t learn_by_tests(const LearningProblem& problem, const CaseColumns& columns,
                           ProgressMeter& progress, Structure& structure) {
  Testers testers(problem, columns);
  const IndependenceTest test = testers.test();
  SkeletonSearch search{problem, test, {}, problem.settings().threads};
  for (size_t node = 0; node < problem.size(); ++node) {
    search.is_discrete.push_back(columns.is_discrete(node));
    search.states.push_back(columns.is_discrete(node) ? columns.occurring(node) : 1);
  }
  if (problem.settings().cases_per_degree > 0)
    search.most_degrees = columns.total() / problem.settings().cases_per_degree;
  return learn_by_tests(search, progress, structure);
}

}  // namespace tv

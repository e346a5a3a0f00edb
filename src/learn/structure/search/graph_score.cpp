// Families are scored on several threads; sums are taken in the order of the nodes.
#include "learn/structure/search/graph_score.h"

#include <algorithm>

#include "learn/structure/counts/pieces.h"
#include "learn/structure/search/family_score.h"

namespace tv {

tv_status_t score_families(const LearningProblem& problem, const CaseColumns& columns,
                           ProgressMeter& progress, std::vector<AskedFamily>& families) {
  const CountLogarithms logarithms(columns.total(), !columns.is_weighted());
  const size_t threads = std::min(problem.settings().threads, std::max<size_t>(families.size(), 1));
  std::vector<FamilyScorer> scorers;
  for (size_t i = 0; i < threads; ++i) scorers.emplace_back(columns, logarithms, problem.settings());
  return run_pieces(families.size(), threads, progress, [&](size_t thread, size_t i) {
    families[i].score = scorers[thread].score(families[i].node, families[i].parents);
    return tv_status_none;
  });
}

tv_status_t score_structure(const LearningProblem& problem, const CaseColumns& columns,
                            ProgressMeter& progress, Structure& structure) {
  std::vector<AskedFamily> families;
  for (size_t v = 0; v < problem.size(); ++v) {
    const std::vector<size_t> parents = structure.graph.parents(v);
    families.push_back({static_cast<uint32_t>(v), {parents.begin(), parents.end()}});
  }
  if (tv_status_t status = score_families(problem, columns, progress, families)) return status;
  double score = 0.0;
  for (const AskedFamily& family : families) score += family.score;
  structure.score = score;
  return tv_status_none;
}

}  // namespace tv

// How much two nodes tell of each other, for all pairs: mutual information, as the log-likelihood that a link
// between them adds over all cases.
#pragma once

#include "learn/structure/counts/case_columns.h"
#include "learn/structure/independence/independence.h"
#include "network/progress.h"

namespace tv {

// By pair of the nodes that it was made for, in whole numbers of the same unit.
class PairGains {
 public:
  explicit PairGains(size_t nodes) : gains_(nodes < 2 ? 0 : nodes * (nodes - 1) / 2) {}

  int64_t operator()(size_t a, size_t b) const noexcept { return gains_[PairFindings::place(a, b)]; }
  int64_t& at(size_t a, size_t b) noexcept { return gains_[PairFindings::place(a, b)]; }

 private:
  std::vector<int64_t> gains_;
};

// Where cells are missing, as if the cases that lack neither of the two stood for all of them. Continuous
// nodes have regressions on others. At most ln(cases) for each case or so, and never negative.
double gain_of(const TestResult& result, double total) noexcept;

// Settings under which every test is a likelihood ratio, and none is refused.
LearnerSettings settings_for_gains(const LearnerSettings& settings);

// Of all pairs of the nodes between which a link is allowed, given some discrete node, or none.
tv_status_t find_gains(const LearningProblem& problem, const CaseColumns& columns,
                       const std::vector<uint32_t>& nodes, std::span<const uint32_t> given,
                       ProgressMeter& progress, PairGains& gains);

}  // namespace tv

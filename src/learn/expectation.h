// The expectation step: what the cases of a domain lead to expect under its present tables.
#pragma once

#include <optional>

#include "learn/case_groups.h"

namespace tv {

class Expectation {
 public:
  Expectation(Domain& domain, const std::vector<Family>& families, size_t threads);

  // How many cases lack something.
  size_t incomplete_cases() const noexcept { return incomplete_; }

  // Clears the counts and fills them; the log-likelihood of the cases. A failure is that of a propagation.
  tv_status_t run(std::vector<FamilyCounts>& counts, double& log_likelihood);

 private:
  void sort_cases();
  void add_complete_cases(std::vector<FamilyCounts>& counts, double& log_likelihood) const;

  Domain& domain_;
  const std::vector<Family>& families_;
  size_t threads_;
  size_t incomplete_ = 0;
  std::optional<CaseGroups> groups_;  // where all that is missing is discrete and free of conditions
  std::vector<uint32_t> complete_,
      others_;  // without groups: cases that lack nothing; those that are propagated
};

}  // namespace tv

// A block of discrete cases, split into small independent problems. What the missing nodes of a case
// add to the expected counts falls apart into groups that no family joins, so equal problems of all cases are
// solved once, with their counts added up; families of which nothing is missing are only counted.
#pragma once

#include "learn/group_problems.h"

namespace tv {

// Whether the product of the families alone is the distribution, and their tables can be enumerated.
bool can_be_grouped(const Domain& domain, const std::vector<Family>& families) noexcept;

class CaseGroups {
 public:
  // Groups that are found are those of all blocks that share the finder.
  CaseGroups(const std::vector<Family>& families, GroupFinder& finder);

  // Splits so many cases; those with a group of too many nodes or joint states are listed instead.
  // `no_memory` is the only failure.
  tv_status_t split(const Domain& domain, size_t first, size_t count, size_t threads);
  const std::vector<uint32_t>& wide_cases() const noexcept { return wide_; }

  // Adds the counts that the cases split lead us to expect under the present tables to `counts`, by family,
  // and their log-likelihood to `log_likelihood`. `inconsistency_or_underflow` for a problem that is
  // impossible. The sums have the same bits for every number of threads, and whatever other blocks there are.
  tv_status_t expect(std::vector<FamilyCounts>& counts, double& log_likelihood, size_t threads) const;

 private:
  void order_problems();
  void divide_problems();
  void count_complete_family(size_t f, const Domain& domain, size_t first,
                             const std::vector<unsigned char>& is_wide);
  struct Part;
  tv_status_t solve(Part& part, size_t begin, size_t end) const;

  const std::vector<Family>& families_;
  std::vector<const int16_t*> columns_;  // by column: its states in all cases, or null
  std::vector<FamilyCounts> complete_;   // by family: counts of cases that lack none of it
  GroupFinder& finder_;
  GroupProblems problems_;
  std::vector<double> weights_;  // by problem: how many cases pose it
  std::vector<uint32_t> order_;  // of the problems: those of a group together
  std::vector<size_t> parts_;    // where each part of them begins; then their number
  std::vector<uint32_t> wide_;
};

}  // namespace tv

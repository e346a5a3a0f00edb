// The discrete cases of a domain, split into small independent problems. What the missing nodes of a case
// add to the expected counts falls apart into groups that no family joins, so equal problems of all cases are
// solved once, with their counts added up; families of which nothing is missing are only counted.
#pragma once

#include "learn/group_problems.h"

namespace tv {

class CaseGroups {
 public:
  explicit CaseGroups(const std::vector<Family>& families);

  // Splits all cases; those with a group of too many nodes or joint states are listed instead.
  void split(const Domain& domain);
  const std::vector<uint32_t>& wide_cases() const noexcept { return wide_; }

  // Adds the counts that the cases split lead us to expect under the present tables to `counts`, by family,
  // and their log-likelihood to `log_likelihood`. `inconsistency_or_underflow` for a problem that is
  // impossible. The sums have the same bits for every number of threads.
  tv_status_t expect(std::vector<FamilyCounts>& counts, double& log_likelihood, size_t threads);

 private:
  void read_rows(size_t first, size_t count);
  void split_case(uint32_t row, const int16_t* states, const uint64_t* missing, double count);
  void divide_problems();
  void count_complete_families(const Domain& domain);
  struct Part;
  tv_status_t solve(Part& part, size_t begin, size_t end) const;

  const std::vector<Family>& families_;
  std::vector<const int16_t*> columns_;  // by column: its states in all cases, or null
  std::vector<FamilyCounts> complete_;   // by family: counts of cases that lack none of it
  GroupFinder finder_;
  GroupProblems problems_;
  std::vector<double> weights_;  // by problem: how many cases pose it
  std::vector<uint32_t> order_;  // of the problems, by group
  std::vector<size_t> parts_;    // where each part of them begins; then their number
  std::vector<uint32_t> wide_;
  std::vector<unsigned char> is_wide_;  // by case
  // Of the cases that are being split.
  ObservedRows rows_;
  ColumnSet ignored_, left_;
  std::vector<uint32_t> numbers_;
};

}  // namespace tv

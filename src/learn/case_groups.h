// The discrete cases of a domain, split into small independent problems. Given what a case observes, its
// missing nodes fall apart into groups that no family joins. What a group adds to the expected counts depends
// on the observed states around it alone, so equal problems of all cases are solved once, with their counts
// added up; families of which nothing is missing are only counted.
#pragma once

#include <cstdint>
#include <unordered_map>

#include "learn/group_schedule.h"

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
  struct Group {
    GroupSchedule schedule;
    bool is_wide = false;  // it is not to be solved here
    // Empty where there are too many groups to keep them all.
    std::vector<GroupSchedule::StageMaps> maps = {};
  };
  struct Problem {
    size_t first_base;  // by family of the group: where the observed states begin in its table
    double count;
    uint32_t group;
  };
  struct HashOfList {
    size_t operator()(const std::vector<uint32_t>& list) const noexcept;
  };

  void split_case(uint32_t row, double count);
  void find_groups(uint32_t row);
  uint32_t group_of(const std::vector<uint32_t>& nodes);
  void add_problem(uint32_t group, uint32_t row, double count);
  size_t problem_slot(const Problem& problem) const noexcept;
  void enlarge_table();
  void divide_problems();
  void count_complete_families(const Domain& domain);
  class Solver;

  const std::vector<Family>& families_;
  const FamilyGraph graph_;
  std::vector<const int16_t*> columns_;  // by column: its states in all cases, or null
  std::vector<FamilyCounts> complete_;   // by family: counts of cases that lack none of it
  std::vector<Group> groups_;
  size_t kept_ = 0;                                                                // places in maps
  std::unordered_map<std::vector<uint32_t>, uint32_t, HashOfList> group_numbers_;  // by nodes
  std::vector<Problem> problems_;
  std::vector<uint32_t> bases_;
  std::vector<size_t> parts_;    // where each part of the problems begins; then their number
  std::vector<uint32_t> table_;  // hash table of problems, from 1 on
  std::vector<uint32_t> wide_;
  std::vector<unsigned char> is_wide_;  // by case
  // Of the case that is being split.
  std::vector<uint32_t> missing_, root_, nodes_, numbers_;
  std::vector<std::pair<uint32_t, uint32_t>> by_root_;
};

}  // namespace tv

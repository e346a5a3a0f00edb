// The distinct problems that groups of missing nodes pose: a group, and where the observed states around it
// begin in the tables of its families. What a group adds to any answer depends on nothing else.
#pragma once

#include "learn/group_finder.h"

namespace tv {

class GroupProblems {
 public:
  explicit GroupProblems(const GroupFinder& finder) noexcept : finder_(finder) {}

  size_t size() const noexcept { return problems_.size(); }
  uint32_t group(size_t problem) const noexcept { return problems_[problem].group; }
  const uint32_t* bases(size_t problem) const noexcept {
    return bases_.data() + problems_[problem].first_base;
  }

  // The number of the problem that a row poses, whose states these are; the next one if it is new.
  size_t find(uint32_t group, const int16_t* states);
  // The same for a problem of others, of which the group has this number here.
  size_t find(uint32_t group, const GroupProblems& others, size_t problem);

  size_t bytes() const noexcept {
    return problems_.size() * sizeof(Problem) + (bases_.size() + table_.size()) * sizeof(uint32_t);
  }
  void seal();  // frees what only `find` needs
  void clear();

 private:
  struct Problem {
    size_t first_base;  // by family of the group
    uint32_t group;
  };

  size_t find_last(uint32_t group);  // whose bases stand behind all others
  size_t slot(const Problem& problem) const noexcept;
  void enlarge_table();

  const GroupFinder& finder_;
  std::vector<Problem> problems_;
  std::vector<uint32_t> bases_;
  std::vector<uint32_t> table_;  // a hash table of problems, from 1 on
};

}  // namespace tv

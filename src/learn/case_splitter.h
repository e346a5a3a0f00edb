// Splits cases into the problems that their missing nodes pose. Several splitters work side by side, each on
// rows of its own, and are put together in the order of the rows.
#pragma once

#include "learn/group_problems.h"

namespace tv {

class CaseSplitter {
 public:
  // `columns`: by column the states of all cases, or null.
  CaseSplitter(const std::vector<Family>& families, const std::vector<const int16_t*>& columns);

  // Splits so many cases; those with a group of too many nodes or joint states are listed instead.
  void split(const Domain& domain, size_t first, size_t count);
  const std::vector<uint32_t>& wide_cases() const noexcept { return wide_; }

  // Hands all problems over. What is left can be thrown away.
  void move_to(GroupFinder& finder, GroupProblems& problems, std::vector<double>& weights);

 private:
  void read_rows(size_t first, size_t count);
  bool split_case(const int16_t* states, const uint64_t* missing, double count);

  const std::vector<const int16_t*>& columns_;
  GroupFinder finder_;
  GroupProblems problems_;
  std::vector<double> weights_;  // by problem: how many cases pose it
  std::vector<uint32_t> wide_;
  // Of the cases that are being split.
  ObservedRows rows_;
  ColumnSet ignored_, left_;
  std::vector<uint32_t> numbers_;
};

}  // namespace tv

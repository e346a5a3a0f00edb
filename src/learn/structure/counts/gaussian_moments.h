// Moments of continuous nodes by configuration of discrete ones, from the cases that lack none of them, and
// the conditional variances that follow from them.
#pragma once

#include "learn/structure/counts/state_counts.h"

namespace tv {

// The number of cases and the moments of (1, nodes), the lower triangle row by row. Values are taken about
// the mean of their column, in units of its standard deviation.
class Moments {
 public:
  explicit Moments(size_t nodes) : nodes_(nodes), sums_((nodes + 1) * (nodes + 2) / 2) {}

  size_t nodes() const noexcept { return nodes_; }
  double cases() const noexcept { return sums_[0]; }
  void add(double weight, const double* values) noexcept;
  void add(const Moments& other) noexcept;

  // The variance of each node given those before it. False where cases are too few for the last one, or where
  // a node before it is determined by others. `gain`: by how much the variance of the last node given all but
  // the one before it exceeds its own.
  bool conditional_variances(std::vector<double>& variances, double* gain = nullptr) const;

 private:
  size_t nodes_;
  std::vector<double> sums_;
};

class MomentCounter {
 public:
  explicit MomentCounter(const CaseColumns& columns) : columns_(columns), counter_(columns) {}

  // By configuration of the discrete nodes, as they occur among the cases that lack none of the nodes.
  const std::vector<Moments>& count(std::span<const uint32_t> discrete, std::span<const uint32_t> continuous);

  // By configuration of the last call, the one that it has of some of its discrete nodes; `count` of them.
  std::vector<uint32_t> reduced_configurations(std::span<const uint32_t> discrete, size_t& count);

 private:
  const CaseColumns& columns_;
  StateCounter counter_;
  std::vector<uint32_t> numbers_;  // by row
  std::vector<Moments> moments_;
  std::vector<double> values_;
};

}  // namespace tv

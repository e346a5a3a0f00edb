// The derivatives of the probability of the evidence with respect to all parameters at once: sums towards a
// root, and back. Every potential gets the product of everything else, summed onto its entries (Darwiche
// 2003).
//
// What comes from the root has several *lanes*: the same sums, with another weight at the root in each, such
// as one for each state of a hypothesis.
#pragma once

#include <functional>

#include "analysis/factors/factor_passes.h"

namespace tv {

class DerivativePass {
 public:
  // In the tree of `root`, directed towards it. Parameters that are zero are raised to next to nothing, so
  // that their derivatives are quotients like all others.
  DerivativePass(const Domain& domain, const Clique& root);

  FactorForest& forest() noexcept { return forest_; }
  const FactorForest& forest() const noexcept { return forest_; }
  size_t root() const noexcept { return root_; }

  // `inconsistency_or_underflow`, stored, where the evidence is impossible.
  tv_status_t collect();

  // Calls visit(factor, derivatives) for each potential of a chance node in the tree of the root, where
  // derivatives[lane * factor.size + entry] is that of the lane's sum, divided by the sum of the weights that
  // `total` has at the root: all lanes' or the first one's. Lanes are operands over the root clique.
  using Visit = std::function<void(const ForestFactor& factor, const std::vector<double>& derivatives)>;
  enum class Total { all_lanes, first_lane };
  void distribute(const std::vector<Operand>& lanes, Total total, const Visit& visit);

  // The sums of the lanes, divided by the total; of the last distribution.
  const std::vector<double>& lane_sums() const noexcept { return lane_sums_; }

 private:
  struct GroupSums;
  void visit_clique(size_t position, const std::vector<Operand>& root_lanes, Total total, const Visit& visit);
  static std::vector<GroupSums> plan_sums(const FactorClique& clique, const std::vector<Operand>& lanes);
  void sum_products(const FactorClique& clique, const std::vector<Operand>& lanes,
                    std::vector<GroupSums>& plan);
  static void weigh_by_lanes(const std::vector<Operand>& lanes, GroupSums& sums);
  static std::vector<double> marginals(const GroupSums& sums, const OperandGroup::Member& member, size_t size,
                                       size_t offset, size_t lanes);
  void divide_by_parameters(const ForestFactor& factor, double total, std::vector<double>& sums) const;
  static void divide_by_message(const std::vector<double>& message, std::vector<double>& sums);

  FactorForest forest_;
  FactorMessages up_;
  GroupedOperands grouped_;
  std::vector<std::vector<double>> down_;  // by position: lane by lane, an entry for each of the separator
  std::vector<double> lane_sums_;
  size_t root_;
};

// Whether entries of its table are parameters.
bool has_parameters(const Node& node) noexcept;

}  // namespace tv

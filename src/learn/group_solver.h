// Sums groups of missing nodes out, forward and backward through the stages of their schedules.
#pragma once

#include "learn/group_problems.h"

namespace tv {

class GroupSolver {
 public:
  GroupSolver(const GroupFinder& finder, const GroupProblems& problems) noexcept
      : finder_(finder), problems_(problems) {}

  // False for a problem that is impossible; its log-likelihood may have been added in part then.
  bool solve(size_t problem);
  double log_likelihood() const noexcept { return log_likelihood_; }  // of the problem solved last

  void forget() noexcept { last_made_ = GroupFinder::kWide; }  // before groups get other numbers

  // How probable each joint state of a stage is, given what is observed; of the problem solved last.
  const std::vector<double>& joint(size_t stage) const noexcept { return products_[stage]; }
  const GroupSchedule& schedule() const noexcept { return *schedule_; }
  const std::vector<GroupSchedule::StageMaps>& maps() const noexcept { return *maps_; }

 private:
  using Stage = GroupSchedule::Stage;

  bool go_forward();
  void go_backward();
  void multiply(const Stage& stage, const GroupSchedule::StageMaps& maps, std::vector<double>& product);
  const tv_number_t* table(uint32_t i) const noexcept;

  const GroupFinder& finder_;
  const GroupProblems& problems_;
  double log_likelihood_ = 0.0;
  // Of the problem that is being solved.
  const GroupSchedule* schedule_ = nullptr;
  const std::vector<GroupSchedule::StageMaps>* maps_ = nullptr;
  const uint32_t* bases_ = nullptr;
  std::vector<std::vector<double>> sums_;      // by stage: what the earlier ones make of the nodes before it
  std::vector<std::vector<double>> products_;  // by stage: of its families
  std::vector<double> scales_;                 // by stage
  std::vector<double> later_, earlier_;
  std::vector<GroupSchedule::StageMaps> made_;  // of the last group whose maps are not kept
  uint32_t last_made_ = GroupFinder::kWide;
};

}  // namespace tv

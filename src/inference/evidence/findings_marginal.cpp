// Marginalises a table once for each configuration of the findings of its summed-out members.

#include "inference/evidence/findings_marginal.h"

namespace tv {

FindingsNest::FindingsNest(const ReducedTable& table, const size_t* steps) noexcept
    : dimensions_(table.shape.dimensions) {
  size_t stride = 1;
  for (size_t d = dimensions_; d-- > 0; stride *= table.shape.counts[d])
    nest_[d] = {table.shape.counts[d], stride, steps[d]};
}

void FindingsNest::apply_finding(const TreeEngine& engine, const ReducedTable& table,
                                 size_t member) noexcept {
  const Node& node = *(*table.members)[member];
  const NodeState& data = engine[node];
  if (table.is_observed(member) || data.propagated_state == kNoEvidence) return;
  if (!table.spans(member)) {  // a single state: its finding is a factor
    if (data.propagated_state == kFindingVector)
      weight_ *= static_cast<double>(engine.propagated_finding(node)[0]);
    return;
  }
  const size_t d = table.dimension_of[member];
  dropped_[d] = true;
  if (data.propagated_state >= 0)
    offset_ += static_cast<size_t>(data.propagated_state) * nest_[d].stride;
  else
    soft_[soft_count_++] = {engine.propagated_finding(node), nest_[d].count, nest_[d].stride, 0};
}

void FindingsNest::run(const float* numbers, tv_equilibrium_t equilibrium, double* totals) noexcept {
  size_t remaining = 0;
  for (size_t d = 0; d < dimensions_; ++d)
    if (!dropped_[d]) nest_[remaining++] = nest_[d];
  const Kernels& kernels = tv::kernels();
  for (;;) {
    double weight = weight_;
    size_t offset = offset_;
    for (size_t s = 0; s < soft_count_; ++s) {
      weight *= static_cast<double>(soft_[s].finding[soft_[s].state]);
      offset += soft_[s].state * soft_[s].stride;
    }
    if (weight > 0.0)
      (equilibrium == tv_equilibrium_max ? kernels.weighted_max : kernels.weighted_sum)(
          nest_, remaining, numbers + offset, totals, weight);
    size_t s = soft_count_;
    while (s > 0 && ++soft_[s - 1].state == soft_[s - 1].count) soft_[--s].state = 0;
    if (s == 0) return;
  }
}

}  // namespace tv

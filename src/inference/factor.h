// Small potentials over unobserved nodes, for marginals that no clique holds.
#pragma once

#include <vector>

#include "inference/engine.h"

namespace tv {

struct Factor {
  std::vector<const Node*> nodes;  // each with two states or more; the last varies fastest
  Block<float> numbers;
  size_t size = 1;
};

bool holds(const std::vector<const Node*>& nodes, const Node* node) noexcept;

// A factor of ones. std::bad_alloc also where the size does not fit.
Factor ones_over(std::vector<const Node*> nodes);

// target *= other; the other's nodes are among the target's.
void multiply_factor(Factor& target, const Factor& other, const ParallelSettings& settings);

// The sum (or maximum) over all nodes but `targets`, in the factor's order.
Factor marginal_of_factor(const Factor& factor, const std::vector<const Node*>& targets,
                          tv_equilibrium_t equilibrium, const ParallelSettings& settings);

// The entries of a reduced table marginalised onto the members among `targets`, those summed out weighted
// with their findings under fast retraction.
Factor marginal_of_table(const ReducedTable& table, const std::vector<const Node*>& targets,
                         tv_equilibrium_t equilibrium, tv_evidence_mode_t mode);

// The same for a clique's potential, stored or lazy.
Factor marginal_of_clique(const CliqueWork& work, const std::vector<const Node*>& targets,
                          tv_equilibrium_t equilibrium, tv_evidence_mode_t mode);

}  // namespace tv

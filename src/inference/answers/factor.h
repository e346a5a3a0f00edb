// Small potentials over unobserved nodes, in numbers of any size, for marginals that no clique holds.
#pragma once

#include <span>
#include <vector>

#include "inference/engine.h"
#include "inference/extended/wide_array.h"

namespace tv {

struct Factor {
  std::vector<const Node*> nodes;  // each with two states or more; the last varies fastest
  WideArray numbers;
};

bool holds(const std::vector<const Node*>& nodes, const Node* node) noexcept;

// A factor of zeros. std::bad_alloc also where the size does not fit.
Factor zeros_over(std::vector<const Node*> nodes);

// The propagated finding on a node with two states or more.
Factor finding_factor(const TreeEngine& engine, const Node& node);

// One over the entries of a separator's table; zero where these are zero or have lost digits.
Factor inverse_of(const ReducedTable& separator);

// The product of the factors, summed (or maximised) over all nodes but `targets`. Powers of two are taken out
// of it. Its nodes are in the order of their first factors.
Factor marginal_of_product(std::span<const Factor* const> factors, const std::vector<const Node*>& targets,
                           tv_equilibrium_t equilibrium, const ParallelSettings& settings);

// The entries of a reduced table marginalised onto the members among `targets`, those summed out weighted
// with their findings under fast retraction.
Factor marginal_of_table(const TreeEngine& engine, const ReducedTable& table,
                         const std::vector<const Node*>& targets);

// The same for a clique's potential, stored or lazy.
Factor marginal_of_clique(const TreeEngine& engine, const CliqueWork& work,
                          const std::vector<const Node*>& targets);

}  // namespace tv

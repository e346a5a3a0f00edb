// Expected counts by propagation: a case is entered as evidence, and each family's marginal is read.
#pragma once

#include <cstdint>

#include "inference/state.h"
#include "learn/families.h"

namespace tv {

// The cases of `rows`, which lack something. Adds to `counts`, by family, and to `log_likelihood`; the sums
// have the same bits for every number of threads. The status of a propagation that fails.
tv_status_t expect_by_propagation(Domain& domain, const std::vector<Family>& families,
                                  const std::vector<uint32_t>& rows, size_t threads,
                                  std::vector<FamilyCounts>& counts, double& log_likelihood);

// Adds `weight` times the marginal of a family in a state to its counts. Null marginal: the status is stored.
tv_status_t add_marginal(InferenceState& state, const Family& family, double weight, FamilyCounts& counts);

}  // namespace tv

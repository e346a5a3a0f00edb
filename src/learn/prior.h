// What is known beforehand, as counts.
#pragma once

#include "learn/families.h"

namespace tv {

// For each family that is learned its experience times its present distribution; for a continuous node with
// the moments that the network, which is propagated without evidence, gives it. The status of a marginal
// that cannot be computed.
tv_status_t compute_prior(Domain& domain, const std::vector<Family>& families,
                          std::vector<FamilyCounts>& prior);

}  // namespace tv

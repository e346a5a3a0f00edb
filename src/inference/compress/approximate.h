// Approximation: small entries of clique tables are set to zero (Jensen and Andersen 1990).
#pragma once

#include "network/types.h"
#include "tarvo.h"

namespace tv {

// Of every clique, in the order of the domain's list, as much mass below `epsilon` as its smallest entries
// make up. The domain is in sum equilibrium with normal evidence, nothing is left to propagate.
tv_status_t approximate(Domain& domain, double epsilon);

// The product over all trees of the mass that was kept.
double approximation_constant(const Domain& domain) noexcept;

}  // namespace tv

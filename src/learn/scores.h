// How well the tables of a domain fit its cases.
#pragma once

#include "network/domain.h"

namespace tv {

// The sum of the case counts.
double total_case_count(const Domain& domain) noexcept;

// The log-likelihood of the cases under the present tables, from the domain where it is known. Its state is
// initialised where a pass over the cases was needed.
tv_status_t log_likelihood_of(Domain& domain, double& result);

// Takes the domain's own state back to its tables, without evidence; where nodes must be instantiated,
// propagates. Where that fails the state is valid, and the next propagation says why.
void start_anew(Domain& domain) noexcept;

// Free parameters of the chance nodes.
double number_of_free_parameters(const Domain& domain) noexcept;

}  // namespace tv

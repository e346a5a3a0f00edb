// What must hold before anything is learned from cases.
#pragma once

#include "learn/families.h"

namespace tv {

// Whether the network is one that can learn from cases; it is compiled.
tv_status_t check_for_learning(const Domain& domain);

// The same, and that it is propagated without evidence, by sums, with its present tables.
tv_status_t check_for_start_of_learning(const Domain& domain);

// Collects the families; experience tables get numbers where nobody has set any. `usage` if none is learned.
tv_status_t collect_families_to_learn(Domain& domain, std::vector<Family>& families);

}  // namespace tv

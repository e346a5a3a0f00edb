// Times analyses of compiled networks, with a propagation of all evidence as the unit.
#pragma once

#include <cstddef>

#include "workload.h"

namespace bench {

void print_sensitivity_titles();
void print_sensitivity(const Workload& workload, size_t repeats);

}  // namespace bench

// Times of analyses.
#pragma once

#include <cstddef>

#include "workload.h"

namespace bench {

// Searches for d-connected nodes in generated networks of so many nodes.
bool run_separation(size_t nodes, size_t repeats);

// Draws so many cases from a network, without evidence and with that of its first reference case.
void print_simulation(const Workload& workload, size_t cases);

}  // namespace bench

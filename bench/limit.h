// How far a propagation is from what memory allows, and what a second thread gains.
#pragma once

#include "workload.h"

namespace bench {

// Prints a row for a network: a propagation of everything against passes over a block of the size of its
// tables, and one thread against two, measured in turns.
void print_limit_titles();
void print_limit(const Workload& workload, tv_domain_t* domain, size_t repeats);

}  // namespace bench

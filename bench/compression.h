// Times domains with compressed tables beside their full twins, and what approximation saves and costs.
#pragma once

#include <cstddef>

#include "workload.h"

namespace bench {

void print_compression_titles();

// Whether the answers of both agree, and those of the reference cases.
bool print_compression(const Workload& workload, size_t repeats);

// Approximates without evidence and compresses, for several thresholds.
void print_approximation_titles();
void print_approximation(const Workload& workload);

// Networks whose full tables would need a hundred times the memory that they are given, and far more.
bool run_deterministic(size_t repeats);

}  // namespace bench

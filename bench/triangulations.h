// What a cheaper triangulation costs and what it is worth: greedy, searched and exact ones of the same
// network.
#pragma once

#include "workload.h"

namespace bench {

void print_triangulation_titles(size_t effort);

// A row for each way to triangulate; `effort` is that of the search.
void print_triangulations(const Workload& workload, size_t effort, size_t repeats);

}  // namespace bench

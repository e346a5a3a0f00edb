// Times batches of cases through queries: one after the other in one query, and in eight on two threads.
#pragma once

#include <cstddef>

#include "workload.h"

namespace bench {

void print_query_titles();

// Whether all answers had the same bits both ways.
bool print_queries(const Workload& workload, size_t cases);

}  // namespace bench

// Times streams of cases, in which sets of observed nodes come again, beside one in which none does.
#pragma once

#include <cstddef>

#include "workload.h"

namespace bench {

void print_stream_titles();
void print_streams(const Workload& workload, size_t repeats);

}  // namespace bench

// Times rankings of observations and explanations of beliefs, in units of the propagations that they rest on.
#pragma once

#include "workload.h"

namespace bench {

void print_explanation_titles();
void print_explanations(const Workload& workload, size_t repeats);

}  // namespace bench

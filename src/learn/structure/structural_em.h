// Structures from cases with missing cells, which are completed under the network found so far (Friedman
// 1998).
#pragma once

#include "learn/structure/counts/case_columns.h"
#include "network/progress.h"

namespace tv {

// The first structure is learned from the columns as they are.
tv_status_t learn_with_completions(const LearningProblem& problem, const CaseColumns& columns,
                                   ProgressMeter& progress, Structure& structure);

}  // namespace tv

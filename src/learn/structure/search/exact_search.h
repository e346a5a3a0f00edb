// The directed graph of the greatest score.
#pragma once

#include "learn/structure/search/family_score.h"
#include "network/progress.h"

namespace tv {

inline constexpr size_t kMostExactNodes = 30;  // sets of nodes are words, and each has a number

// `error` where the host asked to stop.
tv_status_t search_exactly(const LearningProblem& problem, const CaseColumns& columns,
                           ProgressMeter& progress, Structure& structure);

}  // namespace tv

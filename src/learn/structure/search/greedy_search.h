// Greedy search over directed graphs: the link that improves the score most is added, removed or reversed.
#pragma once

#include "learn/structure/search/family_score.h"
#include "network/progress.h"

namespace tv {

// From `start`, a directed graph that holds what is required, which the result replaces. Where the progress
// handler stops, that is the best graph so far and `is_finished` is false.
tv_status_t search_greedily(const LearningProblem& problem, const CaseColumns& columns,
                            ProgressMeter& progress, Structure& structure);

}  // namespace tv

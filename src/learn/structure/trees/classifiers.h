// Classifiers: the target is a parent of all other nodes.
#pragma once

#include "learn/structure/counts/case_columns.h"
#include "network/progress.h"

namespace tv {

// Nothing else.
tv_status_t learn_naive_bayes(const LearningProblem& problem, const CaseColumns& columns,
                              ProgressMeter& progress, Structure& structure);

// And there is a tree between the other nodes (Friedman, Geiger & Goldszmidt 1997), by the information that
// they have of each other given the target.
tv_status_t learn_tan(const LearningProblem& problem, const CaseColumns& columns, ProgressMeter& progress,
                      Structure& structure);

}  // namespace tv

// Structures from the columns of cases, by whatever method the learner has.
#pragma once

#include "learn/structure/counts/case_columns.h"
#include "network/progress.h"

namespace tv {

tv_status_t learn_structure(const LearningProblem& problem, const CaseColumns& columns,
                            ProgressMeter& progress, Structure& structure);

}  // namespace tv

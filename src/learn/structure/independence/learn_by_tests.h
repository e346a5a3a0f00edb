// Structures by tests of independence: skeleton, colliders, and what follows from them.
#pragma once

#include "learn/structure/counts/case_columns.h"
#include "learn/structure/independence/skeleton.h"

namespace tv {

// With tests on cases.
tv_status_t learn_by_tests(const LearningProblem& problem, const CaseColumns& columns,
                           ProgressMeter& progress, Structure& structure);

// With any tests.
tv_status_t learn_by_tests(const SkeletonSearch& search, ProgressMeter& progress, Structure& structure);

}  // namespace tv

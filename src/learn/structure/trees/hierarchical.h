// Naive Bayes with hidden nodes between the target and groups of other nodes (Langseth & Nielsen 2006).
#pragma once

#include "learn/structure/counts/case_columns.h"
#include "network/progress.h"

namespace tv {

// Of the nodes below the target, again and again the two that tell most of each other given the target, by a
// significant test, get a hidden node as their parent, where that makes the description of the cases shorter;
// it takes their place below the target. The structure gets these nodes, named H1, H2 and so on, and a score
// where there are none.
tv_status_t learn_hierarchical(const LearningProblem& problem, const CaseColumns& columns,
                               ProgressMeter& progress, Structure& structure);

}  // namespace tv

// Trees of the greatest mutual information (Chow & Liu 1968).
#pragma once

#include "learn/structure/counts/case_columns.h"
#include "network/progress.h"

namespace tv {

// Over some nodes of the problem, between which information is counted given others.
struct TreeTask {
  std::vector<uint32_t> nodes;  // ascending
  std::vector<uint32_t> given;  // that are parents of all of them; discrete
  size_t root = kNone;          // a node into which no link leads, where one is wanted
};

// Adds links to the structure: all that are required, and of those that constraints leave as many as a tree
// may have, or where it need not be spanning, those alone that are worth their score. Each tree leads away
// from the wanted root, or from the first of its nodes that constraints let be the root.
tv_status_t add_tree(const LearningProblem& problem, const CaseColumns& columns, const TreeTask& task,
                     ProgressMeter& progress, Structure& structure);

// A tree over all nodes of the problem, and its score.
tv_status_t learn_tree(const LearningProblem& problem, const CaseColumns& columns, ProgressMeter& progress,
                       Structure& structure);

}  // namespace tv

// Scores of families that are asked for all at once, and of whole graphs.
#pragma once

#include "learn/structure/counts/case_columns.h"
#include "network/progress.h"

namespace tv {

struct AskedFamily {
  uint32_t node;
  std::vector<uint32_t> parents;  // ascending
  double score = 0.0;             // the answer
};

tv_status_t score_families(const LearningProblem& problem, const CaseColumns& columns,
                           ProgressMeter& progress, std::vector<AskedFamily>& families);

// The score of a structure whose links are all directed.
tv_status_t score_structure(const LearningProblem& problem, const CaseColumns& columns,
                            ProgressMeter& progress, Structure& structure);

}  // namespace tv

// The smallest change of a parameter, or of a whole distribution, that makes a hypothesis as probable as it
// is meant to be.
#pragma once

#include "analysis/sensitivity/sensitivity.h"

namespace tv {

// What is to be reached: the hypothesis has at least the probability `threshold`, or exceeds that of another
// state by it. An expected utility is at least `threshold`.
struct TuningGoal {
  size_t other_state = static_cast<size_t>(-1);  // none
  double threshold = 0.0;
};

// The value nearest to the present one that reaches the goal. False where none does.
bool tune_parameter(const Sensitivity& sensitivity, const ParameterTable& table, size_t entry,
                    const TuningGoal& goal, double& value);

// The distribution that begins at entry `first`, changed by as little as possible: the distance of two
// distributions is the difference of the largest and the smallest logarithm of the ratio of their entries
// (Chan and Darwiche 2005), so that what is zero stays zero. False where none reaches the goal.
bool tune_distribution(const Sensitivity& sensitivity, const ParameterTable& table, size_t first,
                       const TuningGoal& goal, double* distribution, double& distance);

}  // namespace tv

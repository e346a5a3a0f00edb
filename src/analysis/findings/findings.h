// What findings do to the probability of a hypothesis.
#pragma once

#include <vector>

#include "network/types.h"

struct tv_findings_s {
  struct Finding {
    tv::Node* node;
    double alone, without;             // the probability of the hypothesis
    double cost, cost_alone;           // relative entropies: of omitting it, and of knowing it alone
    bool decides;                      // without it another state would be the most probable one
    std::vector<double> if_different;  // by state of its node, if it is discrete; NaN where impossible
  };
  struct Group {
    std::vector<size_t> findings;  // ascending
    double posterior;
  };
  double prior = 0, posterior = 0;
  std::vector<Finding> findings;
  std::vector<Group> groups;
};

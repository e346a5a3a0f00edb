// What observing nodes would tell about another one.
#pragma once

#include <vector>

#include "network/types.h"

struct tv_observations_s {
  struct Entry {
    tv::Node* node;
    double information, error_reduction, price;
  };
  std::vector<Entry> entries;
  double entropy = 0, error = 0;  // of the target
  double bound = 0;
};

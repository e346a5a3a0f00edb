// Why a node has its probabilities.
#pragma once

#include <string>
#include <vector>

#include "network/types.h"

struct tv_explanation_s {
  struct Trail {
    std::vector<tv::Node*> nodes;
    double strength;
  };
  struct Finding {
    tv::Node* node;
    std::vector<double> weight_alone, weight;     // by state of the explained node, in nats
    std::vector<double> shapley, standard_error;  // likewise
    std::vector<Trail> trails;
    bool has_all_trails;
  };
  std::vector<double> prior, posterior;  // by state
  std::vector<Finding> findings;
  std::string text;
};

// Evidence as it is written on the command line, and its entry into a network.
#pragma once

#include <string>
#include <vector>

#include "network.h"

namespace program {

struct Finding {
  std::string node;
  std::string state;                    // of an observation; the value of a continuous node
  std::vector<tv_number_t> likelihood;  // one value per state; empty for an observation
};

Finding parse_observation(const std::string& text);  // NODE=STATE or NODE=VALUE
Finding parse_likelihood(const std::string& text);   // NODE=v1,v2,...

// One finding a node: two for the same node are wrong usage.
void expect_distinct_nodes(const std::vector<Finding>& findings);

void enter(const Network& network, const Finding& finding);

// What a case file says; its messages go to the error stream.
void enter_case_file(const Network& network, const std::string& file);

// Of a finding on a continuous node. Fails for what is no number.
double observed_value(const Network& network, const Finding& finding);

}  // namespace program

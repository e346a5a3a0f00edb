// What the decisions of a network should do, as the command `decide` finds and shows it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "commands.h"

namespace program {

// What a decision does for one configuration of its parents.
struct PolicyRow {
  std::vector<size_t> states;       // of the parents, in the order of `Policy::parents`
  double probability = 1.0;         // of the configuration
  std::vector<tv_number_t> shares;  // of the decision's states
};

struct Policy {
  tv_node_t* decision = nullptr;
  std::optional<size_t> made;  // the state that was entered
  std::vector<tv_node_t*> parents;
  std::vector<bool> requisite;  // for each parent, whether it can matter
  std::vector<PolicyRow> rows;
};

// The decision that is to be made next, and what each of its states leads to when everything else is decided
// as well as possible.
struct NextDecision {
  tv_node_t* decision = nullptr;
  std::vector<double> utilities;
};

struct Plan {
  double expected_utility = 0.0;
  double probability = 1.0;  // of the evidence
  std::vector<Policy> policies;
  std::optional<NextDecision> next;
};

void print(const Network& network, const DecideOptions& options, const Plan& plan);

}  // namespace program

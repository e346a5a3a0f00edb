// Evidence as it is written on the command line and in case files, its entry into a network, and what is
// entered.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "network.h"
#include "output.h"

namespace program {

struct Finding {
  std::string node;
  std::string value;           // as it was written
  bool is_likelihood = false;  // numbers, one for each state
};

// What a command was told to take as known.
struct EvidenceOptions {
  std::vector<std::string> observations;  // NODE=VALUE
  std::vector<std::string> likelihoods;   // NODE=v1,v2,...
  std::string case_file;                  // entered before them; none when empty
};

// One finding a node: two for the same node are wrong usage.
std::vector<Finding> parse_findings(const EvidenceOptions& options);

void enter_evidence(const Network& network, const std::vector<Finding>& findings,
                    const std::string& case_file);

// What is known of a node.
struct Entered {
  tv_node_t* node;
  std::optional<double> value;          // of a continuous node
  std::optional<size_t> state;          // of another, if it is a single one
  std::vector<tv_number_t> likelihood;  // otherwise, one number for each state
  bool is_several_states = false;       // all of them are 0 or 1
};
std::vector<Entered> entered_evidence(const Network& network);

// "yes", "yes or no", "likelihood 0.8 0.1", "23.6".
std::string shown_value(const Entered& entered);

// Adds "evidence", an object of states, lists of states and values by node, and "likelihood", of lists.
void add_evidence(Json& document, const std::vector<Entered>& evidence);

}  // namespace program

// What to observe next, as the command `next` finds and shows it.
#pragma once

#include <string>
#include <vector>

#include "evidence.h"
#include "triangulation.h"

namespace program {

struct NextOptions {
  Source source;
  EvidenceOptions evidence;
  TriangulationOptions triangulation;
  std::string target;                   // a node to learn about, or a decision to be made
  std::vector<std::string> candidates;  // NODE or NODE=PRICE; all when empty
  size_t length = 0;                    // of a sequence; 0 for none
  Format format = Format::kText;
};
ExitCode show_next(const NextOptions& options);

struct Observation {
  tv_node_t* node;
  double information, error_reduction;  // about the target, in bits; a probability
  double value;                         // for a decision, in the unit of the utilities
  double price;
};

struct NextObservations {
  tv_node_t* target = nullptr;
  std::vector<Entered> evidence;
  std::vector<Observation> ranking, sequence;
  double entropy = 0, error = 0, bound = 0;  // bits, a probability, bits
  double expected_utility = 0;               // for a decision
  bool has_prices = false;
};

void print_as_text(const Network& network, const NextObservations& next);
void print_as_json(const Network& network, const NextOptions& options, const NextObservations& next);
void print_as_csv(const NextObservations& next);

}  // namespace program

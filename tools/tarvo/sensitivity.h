// Which parameters matter, as the command `sensitivity` finds and shows it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "evidence.h"
#include "triangulation.h"

namespace program {

struct SensitivityOptions {
  Source source;
  EvidenceOptions evidence;
  TriangulationOptions triangulation;
  std::string target;              // NODE or NODE=STATE; empty for the expected utility
  std::vector<std::string> nodes;  // whose tables are looked at; all when empty
  size_t top = 10;                 // parameters to show
  std::optional<double> goal;      // to be reached by a change of one parameter
  std::string over;                // a state of the target that it is to exceed by so much
  Format format = Format::kText;
};
ExitCode show_sensitivity(const SensitivityOptions& options);

struct ParameterRow {
  tv_node_t* node;
  size_t index;  // in its table
  double value, derivative;
  double constants[4];
  double low, high;                        // of the answer
  double stable_low = 0, stable_high = 1;  // of the parameter
  std::optional<double> tuned;             // the value that reaches the goal
};

struct FoundSensitivity {
  tv_node_t* target = nullptr;  // null for the expected utility
  size_t state = 0;
  double answer = 0;
  std::vector<Entered> evidence;
  std::vector<ParameterRow> rows;
  size_t parameters = 0;  // of all tables that were looked at
  bool has_goal = false;
};

// "P(x_ray=yes | cancer=no)".
std::string shown_parameter(tv_node_t* node, size_t index);

void print_as_text(const Network& network, const SensitivityOptions& options, const FoundSensitivity& found);
void print_as_json(const Network& network, const SensitivityOptions& options, const FoundSensitivity& found);
void print_as_csv(const FoundSensitivity& found);

}  // namespace program

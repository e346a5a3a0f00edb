// The most probable configurations, as the command `configurations` finds and shows them.
#pragma once

#include <string>
#include <vector>

#include "evidence.h"
#include "triangulation.h"

namespace program {

struct ConfigurationsOptions {
  Source source;
  EvidenceOptions evidence;
  TriangulationOptions triangulation;
  std::vector<std::string> nodes;  // all discrete ones when empty
  size_t count = 3;
  double least_probability = 0;
  size_t max_steps = 0;
  Format format = Format::kText;
};
ExitCode show_configurations(const ConfigurationsOptions& options);

struct Configuration {
  double probability, log_probability;
  std::vector<size_t> states;  // by column
};

struct FoundConfigurations {
  std::vector<Entered> evidence;
  std::vector<tv_node_t*> nodes;  // the columns
  std::vector<Configuration> list;
  double remaining = 0, bound = 0;
  bool is_complete = true;
};

void print_as_text(const Network& network, const FoundConfigurations& found);
void print_as_json(const Network& network, const FoundConfigurations& found);
void print_as_csv(const FoundConfigurations& found);

}  // namespace program

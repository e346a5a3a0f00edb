// What a propagation of the evidence has shown, as the command `beliefs` finds and shows it.
#pragma once

#include <optional>
#include <vector>

#include "commands.h"

namespace program {

// Policies of the decisions that are not made.
enum class Policies { kNoDecisions, kUniform, kAsInTheFile };

struct Answers {
  double probability = 1.0;  // of the evidence
  double log_probability = 0.0;
  bool is_density = false;         // since values of continuous nodes belong to the evidence
  std::optional<double> conflict;  // not defined for networks with decisions
  double max_probability = 0.0;    // of the most probable configuration, after --max
  double max_log_probability = 0.0;
  Policies policies = Policies::kNoDecisions;
  std::vector<Entered> evidence;
  CompressionFigures compression;
  std::vector<tv_node_t*> nodes;  // to show
};

// The figures of a continuous node.
inline constexpr double kPercentPoints[] = {0.05, 0.5, 0.95};
struct Summary {
  double mean, deviation, points[3];
};
Summary summary_of(const Network& network, tv_node_t* node);

std::vector<tv_number_t> beliefs_of(const tv_node_t* node);

// The value of a function node, where the beliefs determine it.
std::optional<double> value_of(tv_node_t* node);

void print_as_text(const Network& network, const BeliefsOptions& options, const Answers& answers);
void print_as_json(const Network& network, const BeliefsOptions& options, const Answers& answers);
void print_as_csv(const Network& network, const BeliefsOptions& options, const Answers& answers);

}  // namespace program

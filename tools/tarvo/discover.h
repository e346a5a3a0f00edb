// tarvo discover: a network from data, its links and its tables.
#pragma once

#include "learn.h"

namespace program {

struct DiscoverOptions {
  CaseOptions cases;
  Source nodes;  // a network whose nodes are taken; empty for nodes of the data's own
  size_t most_states = 0;
  std::vector<std::string> left_out;  // columns
  std::string to;
  std::string to_format;  // empty for what the name of the file says
  std::string method = "tests";
  std::string test = "g-squared", colliders = "plain", score = "bic";
  double significance = 0.05, cases_per_degree = 1.0, equivalent_sample_size = 1.0, max_total_weight = 0.0;
  size_t max_conditioning = SIZE_MAX, max_parents = SIZE_MAX;
  size_t tabu_steps = 100, restarts = 0, completions = 0;
  bool is_forest = false;
  std::string target, constraints;  // the name of a node, and of a file
  size_t samples = 0;               // of the bootstrap
  double threshold = 0.5;           // for its links
  size_t iterations = 0;            // of learning tables; 0 for no limit
  double tolerance = 0.0001;
  bool has_tables = true;
  size_t tuning_passes = 0;  // of a naive-Bayes classifier, at most
  uint64_t seed = 1;
  size_t threads = 1;
  Format format = Format::kText;
};
ExitCode discover(const DiscoverOptions& options);

// What can be chosen, in the order of the library's numbers.
extern const std::vector<std::string> kStructureMethods, kIndependenceTests, kColliderRules, kStructureScores;

}  // namespace program

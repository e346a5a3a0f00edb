// tarvo learn and tarvo score: tables from cases, and how well a network explains them.
#pragma once

#include <cstdint>
#include <string>

#include "data.h"
#include "network.h"
#include "triangulation.h"

namespace program {

// Cases from a file of comma-separated values.
struct CaseOptions {
  DataOptions data;
  std::string count_column;  // empty for none
  bool lenient = false;      // what fits no node is left out
};

struct LearnOptions {
  Source source;
  CaseOptions cases;
  std::string to;         // "-" for the standard output
  std::string to_format;  // empty for what the name of the file says
  size_t iterations = 0;  // at most; 0 for no limit
  double tolerance = 0.0001;
  double experience = -1.0;  // of every configuration; negative for what the network says
  size_t restarts = 0;
  uint64_t seed = 1;
  size_t threads = 1;
  std::string trace;  // file for the log-likelihood of each iteration; none when empty
  TriangulationOptions triangulation;
  Format format = Format::kText;
};
ExitCode learn(const LearnOptions& options);

// What is learned is said by the experience tables. A network without any is learned as a whole.
void give_experience(const Network& network, const LearnOptions& options);

struct ScoreOptions {
  Source source;
  CaseOptions cases;
  size_t threads = 1;
  TriangulationOptions triangulation;
  Format format = Format::kText;
};
ExitCode score(const ScoreOptions& options);

// Reads the cases, or some of their rows, into the network; what fits no node is told with its row.
void load_cases(const Network& network, const CaseOptions& options, const RowRange* rows = nullptr);
[[noreturn]] void fail_without_cases(const std::string& file);

// What the scores of a network are called, and their numbers, after the tables have been learned or read.
// Fails with the row of a case that is impossible.
struct Scores {
  double cases, log_likelihood, aic, bic;
};
Scores scores_of(const Network& network, tv_domain_t* domain, const std::string& data_file);
Json json_of(const Scores& scores);
void print_scores(const Scores& scores);

// The failure of a propagation of all cases: names the first that is impossible.
[[noreturn]] void fail_for_cases(const Network& network, tv_domain_t* domain, const std::string& data_file,
                                 size_t first_row = 0);

}  // namespace program

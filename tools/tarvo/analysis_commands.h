// The commands that analyse a network: their options and what they do.
#pragma once

#include <CLI/CLI.hpp>

#include "commands.h"
#include "data.h"

namespace program {

struct SeparateOptions {
  Source source;
  std::string node;                      // that is asked about
  std::string other;                     // none when empty
  std::vector<std::string> known;        // nodes whose state or value is
  std::vector<std::string> likelihoods;  // nodes with likelihood evidence
  Format format = Format::kText;
};
ExitCode separate(const SeparateOptions& options);

struct SimulateOptions {
  Source source;
  EvidenceOptions evidence;
  size_t count = 0;
  unsigned seed = 1;
  double missing_share = 0;
  DataOptions out;
  TriangulationOptions triangulation;
  Format format = Format::kText;
};
ExitCode simulate(const SimulateOptions& options);

class AnalysisCommands {
 public:
  explicit AnalysisCommands(CLI::App& app);

  bool are_given() const { return *separate_command_ || *simulate_command_; }
  ExitCode run() const;

 private:
  void add_separate(CLI::App& app);
  void add_simulate(CLI::App& app);

  SeparateOptions separate_;
  SimulateOptions simulate_;
  CLI::App* separate_command_ = nullptr;
  CLI::App* simulate_command_ = nullptr;
};

}  // namespace program

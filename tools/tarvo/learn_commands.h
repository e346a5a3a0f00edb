// The command lines of `tarvo learn` and `tarvo score`.
#pragma once

#include <CLI/CLI.hpp>

#include "learn.h"

namespace program {

// Where cases come from, and how they are learned from.
void add_case_file(CLI::App* command, CaseOptions& options);
void add_counts(CLI::App* command, CaseOptions& options);
void add_em_options(CLI::App* command, LearnOptions& options);

class LearnCommands {
 public:
  explicit LearnCommands(CLI::App& app);

  bool are_given() const { return *learn_command_ || *score_command_; }
  ExitCode run() const;

 private:
  void add_learn(CLI::App& app);
  void add_score(CLI::App& app);

  const CLI::App *learn_command_ = nullptr, *score_command_ = nullptr;
  LearnOptions learn_;
  ScoreOptions score_;
};

}  // namespace program

// The command lines of `tarvo next`, `tarvo explain`, `tarvo configurations` and `tarvo sensitivity`.
#pragma once

#include <CLI/CLI.hpp>

#include "configurations.h"
#include "explain.h"
#include "next.h"
#include "sensitivity.h"

namespace program {

class ExplainCommands {
 public:
  explicit ExplainCommands(CLI::App& app);

  bool are_given() const {
    return *next_command_ || *explain_command_ || *configurations_command_ || *sensitivity_command_;
  }
  ExitCode run() const;

 private:
  void add_next(CLI::App& app);
  void add_explain(CLI::App& app);
  void add_configurations(CLI::App& app);
  void add_sensitivity(CLI::App& app);

  const CLI::App *next_command_ = nullptr, *explain_command_ = nullptr;
  const CLI::App *configurations_command_ = nullptr, *sensitivity_command_ = nullptr;
  NextOptions next_;
  ExplainOptions explain_;
  ConfigurationsOptions configurations_;
  SensitivityOptions sensitivity_;
};

}  // namespace program

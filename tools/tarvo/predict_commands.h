// The command lines of `tarvo predict` and `tarvo validate`.
#pragma once

#include <CLI/CLI.hpp>

#include "predict.h"

namespace program {

class PredictCommands {
 public:
  explicit PredictCommands(CLI::App& app);

  bool are_given() const { return *predict_command_ || *validate_command_; }
  ExitCode run() const;

 private:
  void add_predict(CLI::App& app);
  void add_validate(CLI::App& app);

  const CLI::App *predict_command_ = nullptr, *validate_command_ = nullptr;
  PredictOptions predict_;
  ValidateOptions validate_;
};

}  // namespace program

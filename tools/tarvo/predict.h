// tarvo predict and tarvo validate: nodes predicted for many rows, and how good that is.
#pragma once

#include <string>
#include <vector>

#include "learn.h"

namespace program {

struct PredictOptions {
  Source source;
  CaseOptions cases;
  std::vector<std::string> targets;
  std::vector<std::string> kept;  // columns that are copied
  std::string to = "-";           // "-" for the standard output
  size_t threads = 1;
  TriangulationOptions triangulation;
  Format format = Format::kText;
};
ExitCode predict(const PredictOptions& options);

struct ValidateOptions {
  LearnOptions learning;
  std::vector<std::string> targets;
  size_t folds = 10;
};
ExitCode validate(const ValidateOptions& options);

}  // namespace program

// The command line of `tarvo data`, which has commands of its own.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <vector>

#include "data.h"

namespace program {

// How the file of a data set is written.
void add_cell_options(CLI::App* command, DataOptions& options);

// Where what was made of it goes.
void add_output_options(CLI::App* command, DataOptions& options);

class DataCommands {
 public:
  explicit DataCommands(CLI::App& app);

  const CLI::App& app() const { return *app_; }  // true once it is given
  ExitCode run() const;

 private:
  struct Command {
    const CLI::App* app;
    ExitCode (*run)(const DataOptions& options);
  };

  CLI::App* add(const char* name, const char* description, const char* examples,
                ExitCode (*work)(const DataOptions& options));
  void add_describe();
  void add_sort();
  void add_discretize();
  void add_convert();

  CLI::App* app_;
  std::vector<Command> commands_;
  std::unique_ptr<DataOptions> options_ = std::make_unique<DataOptions>();  // of the one that is given
};

}  // namespace program

// The command line of `tarvo discover`.
#pragma once

#include <CLI/CLI.hpp>

#include "discover.h"

namespace program {

class DiscoverCommand {
 public:
  explicit DiscoverCommand(CLI::App& app);

  bool is_given() const { return bool{*command_}; }
  ExitCode run() const { return discover(options_); }

 private:
  void add_files(CLI::App* command);
  void add_tests(CLI::App* command);
  void add_search(CLI::App* command);
  void add_tables(CLI::App* command);

  const CLI::App* command_ = nullptr;
  DiscoverOptions options_;
};

}  // namespace program

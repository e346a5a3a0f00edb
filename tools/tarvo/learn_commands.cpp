#include "learn_commands.h"

#include "command_options.h"
#include "data_commands.h"
#include "network_format.h"

namespace program {

void add_case_file(CLI::App* command, CaseOptions& options) {
  command
      ->add_option("CASES", options.data.file,
                   "comma-separated values with the names of nodes in the first row, or - for\n"
                   "the standard input; it may be compressed by gzip")
      ->required()
      ->type_name("");
  command->add_flag("--lenient", options.lenient,
                    "leave out columns without a node, and items that no node has a state for");
  add_cell_options(command, options.data);
}

void add_counts(CLI::App* command, CaseOptions& options) {
  command->add_option("--count", options.count_column, "the column that says how often a row was seen")
      ->type_name("COLUMN");
}

void add_em_options(CLI::App* command, LearnOptions& options) {
  command->add_option("--iterations", options.iterations, "at most so many (default: no limit)")
      ->type_name("N");
  command
      ->add_option("--tolerance", options.tolerance,
                   "stop when the log-likelihood changes by so small a part (default: 0.0001)")
      ->type_name("T")
      ->check(CLI::NonNegativeNumber);
  command
      ->add_option("--experience", options.experience,
                   "the distributions in FILE are worth so many cases (default: what FILE says)")
      ->type_name("E")
      ->check(CLI::NonNegativeNumber);
}

LearnCommands::LearnCommands(CLI::App& app) {
  add_learn(app);
  add_score(app);
}

ExitCode LearnCommands::run() const {
  const bool learns = bool{*learn_command_};
  expect_consistent(learns ? learn_.triangulation : score_.triangulation);
  return learns ? learn(learn_) : score(score_);
}

void LearnCommands::add_learn(CLI::App& app) {
  CLI::App* command =
      add_command(app, "learn", "Learn tables from cases",
                  "  tarvo learn examples/chest.net examples/patients.csv -o learned.net\n"
                  "  tarvo learn model.net cases.csv --restarts 20 --seed 1 --threads 4 -o learned.net",
                  learn_.source, learn_.format);
  learn_command_ = command;
  add_case_file(command, learn_.cases);
  add_counts(command, learn_.cases);
  command->add_option("-o,--out", learn_.to, "file to write, or - for the standard output")
      ->required()
      ->type_name("OUT");
  add_choice(command, "--to", learn_.to_format, "FORMAT", kNetworkFormats,
             "format of OUT: net, bif or xmlbif (default: by the end of its name)");
  add_em_options(command, learn_);
  command->add_option("--restarts", learn_.restarts, "start so many times more, from random tables")
      ->type_name("N");
  command->add_option("--seed", learn_.seed, "of the random tables (default: 1)")->type_name("S");
  add_threads(command, learn_.threads, "threads that share the cases (default: 1)");
  command->add_option("--trace", learn_.trace, "write the log-likelihood of each iteration to a file")
      ->type_name("TRACE");
  add_triangulation(command, learn_.triangulation);
}

void LearnCommands::add_score(CLI::App& app) {
  CLI::App* command =
      add_command(app, "score", "Print how well a network explains cases",
                  "  tarvo score examples/chest.net examples/patients.csv", score_.source, score_.format);
  score_command_ = command;
  add_case_file(command, score_.cases);
  add_counts(command, score_.cases);
  add_threads(command, score_.threads, "threads that share the cases (default: 1)");
  add_triangulation(command, score_.triangulation);
}

}  // namespace program

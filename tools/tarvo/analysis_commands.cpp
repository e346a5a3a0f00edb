#include "analysis_commands.h"

#include "command_options.h"
#include "data_commands.h"

namespace program {

AnalysisCommands::AnalysisCommands(CLI::App& app) {
  add_separate(app);
  add_simulate(app);
}

void AnalysisCommands::add_separate(CLI::App& app) {
  CLI::App* command =
      add_command(app, "separate", "Print what can tell something about a node, read off the links",
                  "  tarvo separate examples/chest.net asia smoker\n"
                  "  tarvo separate examples/chest.net asia smoker --given dyspnoea\n"
                  "  tarvo separate examples/chest.net lung_cancer --given x_ray --format json",
                  separate_.source, separate_.format);
  separate_command_ = command;
  command->add_option("NODE", separate_.node, "the node that is asked about")->required()->type_name("");
  command->add_option("OTHER", separate_.other, "another one, which may be separated from it")->type_name("");
  add_repeated(command, "-g,--given", separate_.known, "NODE", "its state or value is known (repeatable)");
  add_repeated(command, "-l,--likelihood", separate_.likelihoods, "NODE",
               "there is likelihood evidence on it (repeatable)");
}

void AnalysisCommands::add_simulate(CLI::App& app) {
  CLI::App* command =
      add_command(app, "simulate", "Draw cases at random from a network, given evidence",
                  "  tarvo simulate examples/chest.net -n 1000 -o cases.csv\n"
                  "  tarvo simulate examples/chest.net -n 1000 --missing 0.1 --seed 7 -o cases.csv\n"
                  "  tarvo simulate examples/chest.net -n 5 -e dyspnoea=yes",
                  simulate_.source, simulate_.format);
  simulate_command_ = command;
  command->add_option("-n,--count", simulate_.count, "how many cases")->required()->type_name("COUNT");
  add_evidence(command, simulate_.evidence);
  command->add_option("--seed", simulate_.seed, "of everything random (default: 1)")->type_name("S");
  command
      ->add_option("--missing", simulate_.missing_share,
                   "leave out each cell with this probability (default: 0)")
      ->type_name("SHARE")
      ->check(CLI::Range(0.0, 1.0));
  add_output_options(command, simulate_.out);
  add_triangulation(command, simulate_.triangulation);
}

ExitCode AnalysisCommands::run() const {
  if (*separate_command_) return separate(separate_);
  expect_one_reader(simulate_.source, simulate_.evidence.case_file);
  expect_consistent(simulate_.triangulation);
  return simulate(simulate_);
}

}  // namespace program

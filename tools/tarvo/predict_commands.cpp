#include "predict_commands.h"

#include "command_options.h"
#include "learn_commands.h"

namespace program {
namespace {

void add_targets(CLI::App* command, std::vector<std::string>& targets) {
  add_repeated(command, "-t,--target", targets, "NODE",
               "a node to predict (repeatable); what CASES say of it is compared with\n"
               "the answers, and not used for any of them")
      ->required();
}

}  // namespace

PredictCommands::PredictCommands(CLI::App& app) {
  add_predict(app);
  add_validate(app);
}

ExitCode PredictCommands::run() const {
  const bool predicts = bool{*predict_command_};
  expect_consistent(predicts ? predict_.triangulation : validate_.learning.triangulation);
  return predicts ? predict(predict_) : validate(validate_);
}

void PredictCommands::add_predict(CLI::App& app) {
  CLI::App* command = add_command(
      app, "predict", "Predict nodes for many cases",
      "  tarvo predict examples/chest.net examples/patients.csv -t bronchitis -o answers.csv\n"
      "  tarvo predict model.net cases.csv.gz -t fault -t cause --keep id -o answers.csv --threads 4",
      predict_.source, predict_.format);
  predict_command_ = command;
  add_case_file(command, predict_.cases);
  add_targets(command, predict_.targets);
  command->add_option("-o,--out", predict_.to, "file to write (default: -, the standard output)")
      ->type_name("OUT");
  add_repeated(command, "--keep", predict_.kept, "COLUMN", "copy this column to OUT (repeatable)");
  add_threads(command, predict_.threads, "threads that share the cases (default: 1)");
  add_triangulation(command, predict_.triangulation);
}

void PredictCommands::add_validate(CLI::App& app) {
  LearnOptions& learning = validate_.learning;
  CLI::App* command =
      add_command(app, "validate", "Tell how well nodes can be predicted, by cross-validation",
                  "  tarvo validate examples/chest.net examples/patients.csv -t bronchitis --folds 5",
                  learning.source, learning.format);
  validate_command_ = command;
  add_case_file(command, learning.cases);
  add_counts(command, learning.cases);
  add_targets(command, validate_.targets);
  command
      ->add_option("--folds", validate_.folds,
                   "how many parts of the cases are predicted, each after learning from\n"
                   "the others (default: 10)")
      ->type_name("N");
  command->add_option("--seed", learning.seed, "of the division into folds (default: 1)")->type_name("S");
  add_em_options(command, learning);
  add_threads(command, learning.threads, "threads that share the cases (default: 1)");
  add_triangulation(command, learning.triangulation);
}

}  // namespace program

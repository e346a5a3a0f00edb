#include "explain_commands.h"

#include "command_options.h"

namespace program {

namespace {

// What all of them need to be run.
template <class Options>
ExitCode run_command(const Options& options, ExitCode (*command)(const Options&)) {
  expect_consistent(options.triangulation);
  expect_one_reader(options.source, options.evidence.case_file);
  return command(options);
}

}  // namespace

ExplainCommands::ExplainCommands(CLI::App& app) {
  add_next(app);
  add_explain(app);
  add_configurations(app);
  add_sensitivity(app);
}

ExitCode ExplainCommands::run() const {
  if (*next_command_) return run_command(next_, show_next);
  if (*explain_command_) return run_command(explain_, explain);
  if (*configurations_command_) return run_command(configurations_, show_configurations);
  return run_command(sensitivity_, show_sensitivity);
}

void ExplainCommands::add_next(CLI::App& app) {
  CLI::App* command = add_command(app, "next", "Print which observations would tell most about a node",
                                  "  tarvo next examples/chest.net -t lung_cancer -e dyspnoea=yes\n"
                                  "  tarvo next examples/chest.net -t lung_cancer -c x_ray=20 -c smoker=1\n"
                                  "  tarvo next examples/wildcatter.net -t drill",
                                  next_.source, next_.format);
  next_command_ = command;
  command
      ->add_option("-t,--target", next_.target,
                   "the node to learn about; or a decision, for what observations are\n"
                   "worth before it is made")
      ->required()
      ->type_name("NODE");
  add_evidence(command, next_.evidence);
  add_repeated(command, "-c,--candidate", next_.candidates, "NODE[=PRICE]",
               "what can be observed, and at which price (repeatable; default: every\n"
               "node that is not observed)");
  command
      ->add_option("--sequence", next_.length, "also choose up to so many observations, one after the other")
      ->type_name("N")
      ->check(CLI::Range(1, 3));
  add_triangulation(command, next_.triangulation);
}

void ExplainCommands::add_explain(CLI::App& app) {
  CLI::App* command = add_command(
      app, "explain", "Print what the findings have to do with the probability of a state",
      "  tarvo explain examples/chest.net -t lung_cancer=yes -e dyspnoea=yes -e smoker=no\n"
      "  tarvo explain examples/chest.net -t bronchitis --case examples/patient.case --groups 2\n"
      "  tarvo explain examples/chest.net -t bronchitis -e dyspnoea=yes -x smoker -x tuberculosis",
      explain_.source, explain_.format);
  explain_command_ = command;
  command
      ->add_option("-t,--target", explain_.target,
                   "the node, and the state to explain (default: its most probable one)")
      ->required()
      ->type_name("NODE[=STATE]");
  add_evidence(command, explain_.evidence);
  command->add_option("--trails", explain_.trails, "how many trails of each finding (default: 3)")
      ->type_name("N");
  command->add_option("--groups", explain_.groups, "also groups of up to so many findings alone (default: 0)")
      ->type_name("N");
  command
      ->add_option("--orders", explain_.orders,
                   "with more than 16 findings, random orders for their shares (default: 1000)")
      ->type_name("N");
  add_repeated(command, "-x,--cause", explain_.causes, "NODE",
               "account for the evidence with states of this node (repeatable)");
  add_triangulation(command, explain_.triangulation);
}

void ExplainCommands::add_configurations(CLI::App& app) {
  CLI::App* command = add_command(
      app, "configurations", "Print the most probable configurations of all nodes, or of some",
      "  tarvo configurations examples/chest.net -e dyspnoea=yes\n"
      "  tarvo configurations examples/chest.net -n lung_cancer -n bronchitis -k 4 -e dyspnoea=yes\n"
      "  tarvo configurations examples/coins.net -n coin --at-least 0.05 -e gauge=23.6",
      configurations_.source, configurations_.format);
  configurations_command_ = command;
  add_evidence(command, configurations_.evidence);
  command->add_option("-k,--count", configurations_.count, "how many (default: 3)")
      ->type_name("N")
      ->check(CLI::PositiveNumber);
  add_repeated(command, "-n,--node", configurations_.nodes, "NODE",
               "a node that a configuration is of, the others being summed out (repeatable;\n"
               "default: all nodes with states)");
  command
      ->add_option("--at-least", configurations_.least_probability, "only those that are as probable as this")
      ->type_name("P")
      ->check(CLI::Range(0.0, 1.0));
  command->add_option("--max-steps", configurations_.max_steps, "end the search after so many steps")
      ->type_name("N");
  add_triangulation(command, configurations_.triangulation);
}

void ExplainCommands::add_sensitivity(CLI::App& app) {
  CLI::App* command = add_command(
      app, "sensitivity", "Print which parameters matter most for a probability or the expected utility",
      "  tarvo sensitivity examples/chest.net -t lung_cancer=yes -e dyspnoea=yes\n"
      "  tarvo sensitivity examples/chest.net -t lung_cancer=yes -e dyspnoea=yes --reach 0.2\n"
      "  tarvo sensitivity examples/wildcatter.net -e test=no",
      sensitivity_.source, sensitivity_.format);
  sensitivity_command_ = command;
  CLI::Option* target =
      command
          ->add_option("-t,--target", sensitivity_.target,
                       "the node, and the state whose probability is asked about (default: its\n"
                       "most probable one); without a target, the expected utility is")
          ->type_name("NODE[=STATE]");
  add_evidence(command, sensitivity_.evidence);
  command->add_option("--top", sensitivity_.top, "how many parameters (default: 10)")->type_name("N");
  add_repeated(command, "-n,--node", sensitivity_.nodes, "NODE",
               "only parameters in the table of this node (repeatable)");
  CLI::Option* reach = command
                           ->add_option("--reach", sensitivity_.goal,
                                        "those that bring the answer to this value by the smallest change")
                           ->type_name("VALUE");
  command
      ->add_option("--over", sensitivity_.over,
                   "with --reach: above the probability of this other state by the value")
      ->type_name("STATE")
      ->needs(target)
      ->needs(reach);
  add_triangulation(command, sensitivity_.triangulation);
}

}  // namespace program

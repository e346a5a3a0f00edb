#include "discover_commands.h"

#include "command_options.h"
#include "data_commands.h"
#include "learn_commands.h"
#include "network_format.h"

namespace program {

DiscoverCommand::DiscoverCommand(CLI::App& app) {
  CLI::App* command =
      app.add_subcommand("discover", "Find the links between columns of data, and learn the tables");
  command_ = command;
  command->footer(
      std::string("Examples:\n"
                  "  tarvo discover examples/patients.csv -o found.net\n"
                  "  tarvo discover examples/patients.csv -o found.net --method greedy --restarts 10\n"
                  "  tarvo discover cases.csv -o found.net --constraints known.txt --bootstrap 100\n"
                  "  tarvo discover cases.csv -o classifier.net --method tan --target fault\n\n") +
      kExitCodes);
  add_files(command);
  add_choice(command, "--method", options_.method, "METHOD", kStructureMethods,
             "tests (default), greedy, exact, tree, naive-bayes, tan or hierarchical");
  add_tests(command);
  add_search(command);
  add_tables(command);
  add_memory_limit(command, options_.cases.data.memory_limit);
  add_format(command, options_.format);
  add_quiet(command);
}

void DiscoverCommand::add_files(CLI::App* command) {
  add_case_file(command, options_.cases);
  add_counts(command, options_.cases);
  command->add_option("-o,--out", options_.to, "file to write, or - for the standard output")
      ->required()
      ->type_name("OUT");
  add_choice(command, "--to", options_.to_format, "FORMAT", kNetworkFormats,
             "format of OUT: net, bif or xmlbif (default: by the end of its name)");
  command
      ->add_option("--nodes", options_.nodes.file,
                   "take the nodes of this network that have a column; its links do not count\n"
                   "(default: a node for each column, with its items as states)")
      ->type_name("FILE");
  command->add_option("--states", options_.most_states, "how many states a node may have (default: 32)")
      ->type_name("N");
  add_repeated(command, "--leave-out", options_.left_out, "COLUMN", "not to be a node (repeatable)");
  command
      ->add_option("--constraints", options_.constraints,
                   "what is known: required and forbidden links, and tiers")
      ->type_name("FILE");
  command->add_option("--target", options_.target, "the node to classify, or the root of a tree")
      ->type_name("NODE");
}

void DiscoverCommand::add_tests(CLI::App* command) {
  add_choice(command, "--test", options_.test, "TEST", kIndependenceTests,
             "g-squared (default) or chi-squared");
  command
      ->add_option("--significance", options_.significance,
                   "remove a link where a test has a greater p-value (default: 0.05)")
      ->type_name("LEVEL");
  command
      ->add_option("--cases-per-degree", options_.cases_per_degree,
                   "refuse a test with fewer cases for each degree of freedom (default: 1)")
      ->type_name("N");
  command
      ->add_option("--max-conditioning", options_.max_conditioning, "test given at most so many other nodes")
      ->type_name("N");
  add_choice(command, "--colliders", options_.colliders, "RULE", kColliderRules,
             "plain (default), conservative or majority");
}

void DiscoverCommand::add_search(CLI::App* command) {
  add_choice(command, "--score", options_.score, "SCORE", kStructureScores,
             "bic (default), aic, log-likelihood, bdeu or k2");
  command
      ->add_option("--equivalent-sample-size", options_.equivalent_sample_size,
                   "what the prior of bdeu is worth (default: 1)")
      ->type_name("N");
  command->add_option("--max-parents", options_.max_parents, "of a node (default: no limit)")->type_name("N");
  command
      ->add_option("--max-total-weight", options_.max_total_weight,
                   "of the cliques, so that the network can be propagated (greedy; default: no limit)")
      ->type_name("N");
  command
      ->add_option("--tabu-steps", options_.tabu_steps,
                   "go on for so many steps where none is better (greedy; default: 100)")
      ->type_name("N");
  command->add_option("--restarts", options_.restarts, "start so many times more (greedy)")->type_name("N");
  command->add_flag("--forest", options_.is_forest,
                    "leave out links that are not worth their score (tree, tan)");
  command
      ->add_option("--completions", options_.completions,
                   "complete missing cells so many times, by structural EM (default: 0)")
      ->type_name("N");
  command
      ->add_option("--bootstrap", options_.samples,
                   "learn from so many samples of the cases, and keep what most of them have")
      ->type_name("N");
  command
      ->add_option("--threshold", options_.threshold,
                   "the share of samples that a link is found in at least (default: 0.5)")
      ->type_name("SHARE")
      ->check(CLI::Range(0.0, 1.0));
  command->add_option("--seed", options_.seed, "of everything random (default: 1)")->type_name("S");
  add_threads(command, options_.threads, "threads that share the work (default: 1)");
}

void DiscoverCommand::add_tables(CLI::App* command) {
  command->add_flag_function(
      "--no-tables", [this](int64_t) { options_.has_tables = false; }, "learn the links alone");
  command
      ->add_option("--tune", options_.tuning_passes,
                   "tune the tables to fewer errors in at most so many passes over the cases, a\n"
                   "fifth of which is held out to tell when to stop (naive-bayes)")
      ->type_name("N");
  command
      ->add_option("--iterations", options_.iterations, "of learning the tables, at most (default: no limit)")
      ->type_name("N");
  command
      ->add_option("--tolerance", options_.tolerance,
                   "stop when the log-likelihood changes by so small a part (default: 0.0001)")
      ->type_name("T")
      ->check(CLI::NonNegativeNumber);
}

}  // namespace program

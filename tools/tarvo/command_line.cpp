#include "command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "analysis_commands.h"
#include "command_options.h"
#include "commands.h"
#include "data_commands.h"
#include "discover_commands.h"
#include "explain_commands.h"
#include "learn_commands.h"
#include "network_format.h"
#include "predict_commands.h"
#include "ranks.h"
#include "suggest.h"

namespace program {
namespace {

// Every command's options and what it does; the one that is given is run.
struct Commands {
  BeliefsOptions beliefs;
  DecideOptions decide;
  InfoOptions info;
  CheckOptions check;
  ConvertOptions convert;
  CompareOptions compare;
  TablesOptions tables;
  AdaptOptions adapt;
};

CLI::App* add_beliefs(CLI::App& app, BeliefsOptions& options) {
  CLI::App* command =
      add_command(app, "beliefs", "Print the probability of every state, given evidence",
                  "  tarvo beliefs examples/chest.net -e dyspnoea=yes -e smoker=no\n"
                  "  tarvo beliefs examples/chest.net -l x_ray=0.8,0.1 -n lung_cancer --format json\n"
                  "  tarvo beliefs examples/chest.net --case examples/patient.case",
                  options.source, options.format);
  add_evidence(command, options.evidence);
  add_repeated(command, "-n,--node", options.nodes, "NODE", "print this node only (repeatable)");
  command->add_flag("--max", options.max, "beliefs of the most probable configurations instead of sums");
  command->add_flag("--fast-retraction", options.fast_retraction,
                    "leave each node's own evidence out of its belief");
  add_triangulation(command, options.triangulation);
  add_compression(command, options.compression);
  add_threads(command, options.threads, "threads for the operations on large tables (default: 1)");
  command->add_option("--trace", options.trace, "write the trace of the compilation to a file")
      ->type_name("FILE");
  return command;
}

CLI::App* add_decide(CLI::App& app, DecideOptions& options) {
  CLI::App* command =
      add_command(app, "decide", "Print the best policies of decisions, given evidence",
                  "  tarvo decide examples/wildcatter.net\n"
                  "  tarvo decide examples/wildcatter.net -e test=yes -e sounding=closed --format json",
                  options.source, options.format);
  add_evidence(command, options.evidence);
  add_triangulation(command, options.triangulation);
  add_compression(command, options.compression);
  command->get_option("--approximate")->group("");  // known so that it can be refused in words
  return command;
}

CLI::App* add_info(CLI::App& app, InfoOptions& options) {
  CLI::App* command = add_command(app, "info", "Print the size of a network and of its junction forest",
                                  "  tarvo info examples/printer.net\n"
                                  "  tarvo info examples/printer.net --triangulation all\n"
                                  "  tarvo info examples/linkage.net --compress",
                                  options.source, options.format);
  add_triangulation(command, options.triangulation, "all");
  add_compression(command, options.compression);
  return command;
}

CLI::App* add_check(CLI::App& app, CheckOptions& options) {
  CLI::App* command =
      add_command(app, "check", "Look for everything in a network that is wrong or hardly meant",
                  "  tarvo check examples/chest.net\n"
                  "  tarvo check examples/chest.net --format json",
                  options.source, options.format);
  add_triangulation(command, options.triangulation);
  return command;
}

CLI::App* add_convert(CLI::App& app, ConvertOptions& options) {
  CLI::App* command =
      add_command(app, "convert", "Rewrite a network in one fixed layout, or in another format",
                  "  tarvo convert examples/chest.net chest.bif\n"
                  "  tarvo convert chest.bif chest.net\n"
                  "  tarvo convert examples/chest.net - --to xmlbif",
                  options.source, options.format);
  command->add_option("OUT", options.to, "file to write, or - for the standard output")
      ->required()
      ->type_name("");
  add_choice(command, "--to", options.to_format, "FORMAT", kNetworkFormats,
             "format of OUT: net, bif or xmlbif (default: by the end of its name)");
  return command;
}

CLI::App* add_compare(CLI::App& app, CompareOptions& options) {
  CLI::App* command = add_command(app, "compare", "Print in which links two networks differ, and by how much",
                                  "  tarvo compare examples/sprinkler.net examples/sprinkler_guess.net",
                                  options.source, options.format);
  command
      ->add_option("OTHER", options.other.file,
                   "the network to compare with FILE, whose graph counts as right")
      ->required()
      ->type_name("");
  add_choice(command, "--other-from", options.other.format, "FORMAT", kNetworkFormats,
             "format of OTHER: net, bif or xmlbif (default: by the end of its name)");
  return command;
}

CLI::App* add_tables(CLI::App& app, TablesOptions& options) {
  CLI::App* command = add_command(app, "tables", "Print the table of a node",
                                  "  tarvo tables examples/chest.net dyspnoea\n"
                                  "  tarvo tables examples/chest.net dyspnoea --format csv",
                                  options.source, options.format);
  command->add_option("NODE", options.node, "the node")->required()->type_name("");
  return command;
}

CLI::App* add_adapt(CLI::App& app, AdaptOptions& options) {
  CLI::App* command =
      add_command(app, "adapt", "Learn from cases, one after the other, and write the network",
                  "  tarvo adapt examples/chest.net examples/patients.csv --experience 100 -o learned.net\n"
                  "  tarvo adapt learned.net more.csv -o learned.net",
                  options.source, options.format);
  command->add_option("CASES", options.cases, "file of cases, or - for the standard input")
      ->required()
      ->type_name("");
  command->add_option("-o,--out", options.to, "file to write, as NET, or - for the standard output")
      ->required()
      ->type_name("OUT");
  command
      ->add_option("--experience", options.experience,
                   "how many cases the tables of nodes without experience counts are worth\n"
                   "(default: such nodes do not learn)")
      ->type_name("COUNT")
      ->check(CLI::PositiveNumber);
  add_triangulation(command, options.triangulation);
  return command;
}

// The names by which the options of a command can be given.
std::vector<std::string> option_names(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* option : command.get_options())
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  return names;
}

// CLI11's words, with a suggestion for an option that does not exist.
[[noreturn]] void fail_for(const CLI::ParseError& error, CLI::App& app) {
  const CLI::App* command = &app;
  std::string text = error.what(), help = "tarvo";
  while (!command->get_subcommands().empty()) {
    command = command->get_subcommands().front();
    help += " " + command->get_name();
  }
  const std::vector<std::string> known = option_names(*command);
  for (const std::string& word : app.remaining(true))
    if (word.rfind("--", 0) == 0) {
      const std::string name = word.substr(0, word.find('='));
      text = "there is no option \"" + name + "\"" + did_you_mean(name, known);
      break;
    }
  throw Failure(kWrongUsage, text + "\nRun \"" + help + " --help\" for more information.");
}

void expect_known_command(const std::string& word, const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
  if (word[0] == '-' || std::find(names.begin(), names.end(), word) != names.end()) return;
  throw Failure(kWrongUsage, "there is no command \"" + word + "\"" + did_you_mean(word, names));
}

// All other commands would do the same work, and print it, on every rank.
void expect_command_for_ranks(const std::string& command) {
  if (Ranks::of_this_run().are_many() && command != "learn" && command != "predict")
    throw Failure(kWrongUsage,
                  "under mpirun there are tarvo learn and tarvo predict, but not tarvo " + command);
}

}  // namespace

ExitCode run_command(int argc, char** argv) {
  CLI::App app{"Exact inference in probabilistic graphical models."};
  app.name("tarvo");
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("tarvo ") + tv_get_version());
  app.set_help_flag("-h,--help", "Print this help and exit");
  app.footer(std::string("Example:\n  tarvo beliefs examples/chest.net -e dyspnoea=yes\n\n"
                         "Help on a command: tarvo COMMAND --help\n") +
             kExitCodes);
  Commands options;
  const CLI::App* beliefs_command = add_beliefs(app, options.beliefs);
  const CLI::App* info_command = add_info(app, options.info);
  const CLI::App* check_command = add_check(app, options.check);
  const CLI::App* convert_command = add_convert(app, options.convert);
  const CLI::App* compare_command = add_compare(app, options.compare);
  const CLI::App* tables_command = add_tables(app, options.tables);
  const CLI::App* decide_command = add_decide(app, options.decide);
  const CLI::App* adapt_command = add_adapt(app, options.adapt);
  const LearnCommands learn_commands(app);
  const DiscoverCommand discover_command(app);
  const PredictCommands predict_commands(app);
  AnalysisCommands analysis_commands(app);
  const ExplainCommands explain_commands(app);
  const DataCommands data_commands(app);
  if (argc > 1 && *argv[1]) expect_known_command(argv[1], app);
  if (argc > 2 && *argv[2] && argv[1] == data_commands.app().get_name())
    expect_known_command(argv[2], data_commands.app());
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) fail_for(error, app);
    app.exit(error);  // help and version
    return kSuccess;
  }
  expect_command_for_ranks(app.get_subcommands().front()->get_name());
  if (options.compare.source.file == "-" && options.compare.other.file == "-")
    throw Failure(kWrongUsage, "the two networks cannot both come from the standard input");
  expect_one_reader(options.beliefs.source, options.beliefs.evidence.case_file);
  expect_one_reader(options.decide.source, options.decide.evidence.case_file);
  expect_one_reader(options.adapt.source, options.adapt.cases);
  for (const TriangulationOptions* triangulation :
       {&options.beliefs.triangulation, &options.decide.triangulation, &options.info.triangulation,
        &options.check.triangulation, &options.adapt.triangulation})
    expect_consistent(*triangulation);
  expect_consistent(options.beliefs.compression, options.beliefs.max, options.beliefs.fast_retraction);
  if (*beliefs_command) return show_beliefs(options.beliefs);
  if (*info_command) return show_info(options.info);
  if (*check_command) return check(options.check);
  if (*convert_command) return convert(options.convert);
  if (*compare_command) return compare(options.compare);
  if (*tables_command) return show_table(options.tables);
  if (*decide_command) return decide(options.decide);
  if (*adapt_command) return adapt(options.adapt);
  if (learn_commands.are_given()) return learn_commands.run();
  if (discover_command.is_given()) return discover_command.run();
  if (predict_commands.are_given()) return predict_commands.run();
  if (analysis_commands.are_given()) return analysis_commands.run();
  if (explain_commands.are_given()) return explain_commands.run();
  if (data_commands.app()) return data_commands.run();
  return kWrongUsage;
}

}  // namespace program

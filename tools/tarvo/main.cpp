// The command line of the program: commands, options, help, exit codes.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "commands.h"
#include "files.h"
#include "memory.h"
#include "suggest.h"

namespace {

using namespace program;

constexpr const char* kExitCodes =
    "Exit code: 0 success; 1 the network, the evidence or the inference failed; 2 wrong usage.";

std::vector<std::string> method_names() {
  std::vector<std::string> names;
  for (const auto& method : kMethods) names.push_back(method.first);
  return names;
}

CLI::App* add_command(CLI::App& app, const char* name, const char* description, const char* examples,
                      std::string& file) {
  CLI::App* command = app.add_subcommand(name, description);
  command->footer(std::string("Examples:\n") + examples + "\n\n" + kExitCodes);
  command->add_option("FILE", file, "network (NET; BIF or XMLBIF by the end of its name)")
      ->required()
      ->type_name("");
  return command;
}

// An option that is given once for each value, so that it never swallows FILE.
CLI::Option* add_repeated(CLI::App* command, const char* name, std::vector<std::string>& values,
                          const char* type, const char* description) {
  return command->add_option(name, values, description)
      ->type_name(type)
      ->allow_extra_args(false)
      ->type_size(1);
}

int run(int argc, char** argv) {
  CLI::App app{"Exact inference in probabilistic graphical models."};
  app.name("tarvo");
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("tarvo ") + tv_get_version());
  app.set_help_flag("-h,--help", "Print this help and exit");
  app.footer(std::string("Example:\n  tarvo beliefs examples/chest.net -e dyspnoea=yes\n\n"
                         "Help on a command: tarvo COMMAND --help\n") +
             kExitCodes);

  BeliefsOptions options;
  std::vector<std::string> observations, likelihoods;
  std::string format = "text", memory_limit;
  CLI::App* beliefs =
      add_command(app, "beliefs", "Print the probability of every state, given evidence",
                  "  tarvo beliefs examples/chest.net -e dyspnoea=yes -e smoker=no\n"
                  "  tarvo beliefs examples/chest.net -l x_ray=0.8,0.1 -n lung_cancer --format json",
                  options.file);
  add_repeated(beliefs, "-e,--evidence", observations, "NODE=STATE",
               "observe a state, by its label or as #INDEX, or the value of a continuous node (repeatable)");
  add_repeated(beliefs, "-l,--likelihood", likelihoods, "NODE=v1,v2,...",
               "enter a likelihood, one value a state (repeatable)");
  add_repeated(beliefs, "-n,--node", options.nodes, "NODE", "print this node only (repeatable)");
  beliefs->add_option("--case", options.case_file, "read evidence from a case file, before -e and -l")
      ->type_name("FILE");
  beliefs->add_flag("--max", options.max, "beliefs of the most probable configurations instead of sums");
  beliefs->add_flag("--fast-retraction", options.fast_retraction,
                    "leave each node's own evidence out of its belief");
  beliefs->add_option("--method", options.method, "triangulation method")
      ->type_name("METHOD")
      ->check(CLI::IsMember(method_names()))
      ->capture_default_str();
  beliefs->add_option("--threads", options.threads, "threads for the operations on large tables")
      ->type_name("N")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  beliefs
      ->add_option("--memory-limit", memory_limit,
                   "refuse to compile what needs more: bytes, or with K, M, G or T; 0 for no limit\n"
                   "(default: four fifths of the physical memory)")
      ->type_name("SIZE");
  beliefs->add_option("--format", format, "form of the output")
      ->type_name("FORMAT")
      ->check(CLI::IsMember(std::vector<std::string>{"text", "json", "csv"}))
      ->capture_default_str();
  beliefs->add_option("--trace", options.trace, "write the trace of the compilation to a file")
      ->type_name("FILE");

  std::string info_file, info_method = "best_greedy";
  CLI::App* info = add_command(app, "info", "Print the size of a network and of its junction forest",
                               "  tarvo info examples/chest.net\n"
                               "  tarvo info examples/chest.net --method all",
                               info_file);
  std::vector<std::string> info_methods = method_names();
  info_methods.push_back("all");
  info->add_option("--method", info_method, "triangulation method, or all to compare them")
      ->type_name("METHOD")
      ->check(CLI::IsMember(info_methods))
      ->capture_default_str();

  std::string check_file;
  CLI::App* check_command =
      add_command(app, "check", "Print every message of the parser and the report on potentials",
                  "  tarvo check examples/chest.net", check_file);

  std::string convert_from, convert_to, from_format, to_format;
  CLI::App* convert_command =
      add_command(app, "convert", "Rewrite a network in one fixed layout, or in another format",
                  "  tarvo convert old.net new.net\n"
                  "  tarvo convert alarm.bif alarm.net\n"
                  "  tarvo convert examples/chest.net - --to xmlbif",
                  convert_from);
  convert_command->add_option("OUT", convert_to, "file to write, or - for the standard output")
      ->required()
      ->type_name("");
  convert_command->add_option("--from", from_format, "format of FILE (default: by the end of its name)")
      ->type_name("FORMAT")
      ->check(CLI::IsMember(kFormats));
  convert_command->add_option("--to", to_format, "format of OUT (default: by the end of its name)")
      ->type_name("FORMAT")
      ->check(CLI::IsMember(kFormats));

  std::string tables_file, tables_node, tables_format = "text";
  CLI::App* tables = add_command(app, "tables", "Print the table of a node",
                                 "  tarvo tables examples/chest.net dyspnoea\n"
                                 "  tarvo tables examples/chest.net dyspnoea --format csv",
                                 tables_file);
  tables->add_option("NODE", tables_node, "the node")->required()->type_name("");
  tables->add_option("--format", tables_format, "form of the output")
      ->type_name("FORMAT")
      ->check(CLI::IsMember(std::vector<std::string>{"text", "csv"}))
      ->capture_default_str();

  DecideOptions decide_options;
  CLI::App* decide_command =
      add_command(app, "decide", "Print the best policies of decisions, given evidence",
                  "  tarvo decide examples/wildcatter.net\n"
                  "  tarvo decide examples/wildcatter.net -e test=yes -e sounding=closed --format json",
                  decide_options.file);
  add_repeated(decide_command, "-e,--evidence", observations, "NODE=STATE",
               "observe a state or make a decision, by label or as #INDEX (repeatable)");
  add_repeated(decide_command, "-l,--likelihood", likelihoods, "NODE=v1,v2,...",
               "enter a likelihood, one value a state (repeatable)");
  decide_command->add_option("--format", format, "form of the output")
      ->type_name("FORMAT")
      ->check(CLI::IsMember(std::vector<std::string>{"text", "json"}))
      ->capture_default_str();

  for (CLI::App* command : {beliefs, info, check_command, convert_command, tables, decide_command})
    command->set_version_flag("--version", std::string("tarvo ") + tv_get_version());

  const std::vector<std::string> commands = {"beliefs", "info", "check", "convert", "tables", "decide"};
  if (argc > 1 && argv[1][0] != '-' && std::find(commands.begin(), commands.end(), argv[1]) == commands.end())
    throw Failure(kWrongUsage,
                  std::string("there is no command \"") + argv[1] + "\"" + did_you_mean(argv[1], commands));
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kSuccess : kWrongUsage;
  }
  if (*info) return show_info(info_file, info_method);
  if (*check_command) return check(check_file);
  if (*convert_command) return convert(convert_from, convert_to, from_format, to_format);
  if (*tables)
    return show_table(tables_file, tables_node, tables_format == "csv" ? Format::kCsv : Format::kText);
  for (const std::string& text : observations) options.findings.push_back(parse_observation(text));
  for (const std::string& text : likelihoods) options.findings.push_back(parse_likelihood(text));
  expect_distinct_nodes(options.findings);
  const Format form = format == "json" ? Format::kJson : format == "csv" ? Format::kCsv : Format::kText;
  if (*decide_command) {
    decide_options.findings = options.findings;
    decide_options.format = form;
    return decide(decide_options);
  }
  if (beliefs->count("--memory-limit")) {
    options.memory_limit = parse_memory_size(memory_limit);
    if (!options.memory_limit)
      throw Failure(kWrongUsage, "\"" + memory_limit + "\" is no size; expected 4G or the like");
  }
  options.format = form;
  return show_beliefs(options);
}

}  // namespace

int main(int argc, char** argv) {
  int code = kFailed;
  try {
    code = run(argc, argv);
  } catch (const Failure& failure) {
    std::fflush(stdout);
    std::fprintf(stderr, "tarvo: %s\n", failure.what());
    code = failure.exit_code;
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "tarvo: out of memory\n");
  }
  if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
    std::fprintf(stderr, "tarvo: the output could not be written\n");
    code = kFailed;
  }
  return code;
}

#include "command_options.h"

#include <algorithm>

#include "memory.h"
#include "network_format.h"
#include "progress.h"
#include "suggest.h"

namespace program {
namespace {

std::vector<std::string> methods_and(const char* more) {
  std::vector<std::string> names;
  for (const auto& method : kMethods) names.push_back(method.first);
  if (*more) names.push_back(more);
  return names;
}

const std::vector<std::string> kForms = {"text", "json", "csv"};

}  // namespace

CLI::Validator one_of(const std::vector<std::string>& words) {
  return CLI::Validator(
      [words](std::string& text) {
        if (std::find(words.begin(), words.end(), text) != words.end()) return std::string();
        std::string message = "\"" + text + "\" is none of";
        for (size_t i = 0; i < words.size(); ++i) message += (i ? ", " : " ") + words[i];
        return message + did_you_mean(text, words);
      },
      "");
}

void add_choice(CLI::App* command, const char* name, std::string& value, const char* type,
                const std::vector<std::string>& words, const char* description) {
  command->add_option(name, value, description)->type_name(type)->check(one_of(words));
}

void add_format(CLI::App* command, Format& format) {
  command
      ->add_option_function<std::string>(
          "--format",
          [&format](const std::string& text) {
            format = text == "json" ? Format::kJson : text == "csv" ? Format::kCsv : Format::kText;
          },
          "form of the output: text, json or csv")
      ->type_name("FORM")
      ->check(one_of(kForms));
}

CLI::Option* add_repeated(CLI::App* command, const char* name, std::vector<std::string>& values,
                          const char* type, const char* description) {
  return command->add_option(name, values, description)
      ->type_name(type)
      ->allow_extra_args(false)
      ->type_size(1);
}

void add_memory_limit(CLI::App* command, std::string& limit) {
  command
      ->add_option("--memory-limit", limit,
                   "refuse what needs more: bytes, or with K, M, G or T; 0 for no limit\n"
                   "(default: four fifths of the memory there is)")
      ->type_name("SIZE")
      ->check(CLI::Validator(
          [](std::string& text) {
            return parse_memory_size(text) ? "" : "\"" + text + "\" is no size; expected 4G or the like";
          },
          ""));
}

void add_quiet(CLI::App* command) {
  command->add_flag_function(
      "-q,--quiet", [](int64_t) { be_quiet(); }, "show no progress on the terminal");
}

void add_triangulation(CLI::App* command, TriangulationOptions& options, const char* more_methods) {
  command->add_option("--triangulation,--method", options.method)
      ->type_name("METHOD")
      ->check(one_of(methods_and(more_methods)))
      ->description(std::string("how to triangulate: auto (default), the best greedy method and a search\n"
                                "that takes about as long as a propagation of its result; ") +
                    (*more_methods ? "all, to compare;\n" : "\n") +
                    "best_greedy, total_weight (exact), clique_size, clique_weight,\n"
                    "fill_in_size or fill_in_weight");
  command
      ->add_option("--effort", options.effort,
                   "units of search, each some 5 milliseconds, for smaller tables\n"
                   "than greedy methods find")
      ->type_name("N");
  command
      ->add_option("--max-separators", options.max_separators,
                   "split a component with more minimal separators (total_weight)")
      ->type_name("N");
  command
      ->add_option("--order", options.order,
                   "eliminate in this order, a name on each line; with total_weight,\n"
                   "start from it")
      ->type_name("FILE");
  command->add_option("--save-order", options.save_order, "write the elimination order to a file")
      ->type_name("FILE");
}

void add_compression(CLI::App* command, CompressionOptions& options) {
  command->add_flag("--compress", options.compress,
                    "tables without room for what is impossible, so that larger networks fit");
  command
      ->add_option("--approximate", options.epsilon,
                   "leave out what is least probable: less than EPSILON of each clique")
      ->type_name("EPSILON")
      ->check(CLI::Validator(
          [](std::string& text) {
            return parse_epsilon(text) ? ""
                                       : "\"" + text + "\" is no positive number; expected 0.001 or the like";
          },
          ""));
}

CLI::App* add_command(CLI::App& app, const char* name, const char* description, const char* examples,
                      Source& source, Format& format) {
  CLI::App* command = app.add_subcommand(name, description);
  command->footer(std::string("Examples:\n") + examples + "\n\n" + kExitCodes);
  command->set_version_flag("--version", std::string("tarvo ") + tv_get_version());
  command
      ->add_option("FILE", source.file,
                   "network, or - for the standard input (NET; BIF or XMLBIF by the end of its name)")
      ->required()
      ->type_name("");
  add_choice(command, "--from", source.format, "FORMAT", kNetworkFormats,
             "format of FILE: net, bif or xmlbif (default: by the end of its name)");
  add_memory_limit(command, source.memory_limit);
  add_quiet(command);
  add_format(command, format);
  return command;
}

void add_evidence(CLI::App* command, EvidenceOptions& evidence) {
  add_repeated(command, "-e,--evidence", evidence.observations, "NODE=VALUE",
               "observe a state, by its label, as #INDEX or by its value, several states with\n"
               "commas between them, or the value of a continuous node (repeatable)");
  add_repeated(command, "-l,--likelihood", evidence.likelihoods, "NODE=v1,v2,...",
               "enter a likelihood, one value a state (repeatable)");
  command
      ->add_option("--case", evidence.case_file,
                   "read evidence from a case file, or - for the standard input, before -e and -l")
      ->type_name("FILE");
}

void expect_one_reader(const Source& source, const std::string& case_file) {
  if (source.file == "-" && case_file == "-")
    throw Failure(kWrongUsage, "the network and its cases cannot both come from the standard input");
}

void add_threads(CLI::App* command, size_t& threads, const char* description) {
  command->add_option("--threads", threads, description)->type_name("N")->check(CLI::PositiveNumber);
}

}  // namespace program

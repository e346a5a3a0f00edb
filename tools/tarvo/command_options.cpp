#include "command_options.h"

#include <algorithm>

#include "memory.h"
#include "progress.h"
#include "suggest.h"

namespace program {
namespace {

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

}  // namespace program

#include "data_commands.h"

#include "command_options.h"

namespace program {
namespace {

CLI::Validator a_separator() {
  return CLI::Validator(
      [](std::string& text) {
        return is_separator(text) ? "" : "\"" + text + "\" is no separator; expected one character, or tab";
      },
      "");
}

}  // namespace

void add_cell_options(CLI::App* command, DataOptions& options) {
  command
      ->add_option("--separator", options.separator,
                   "what stands between cells: one character, or tab\n"
                   "(default: a comma, in .tsv and .tab files a tab)")
      ->type_name("CHARACTER")
      ->check(a_separator());
  add_repeated(command, "--missing", options.missing, "TEXT",
               "what means a missing item (repeatable; default: nothing, ?, NA and *)");
}

void add_output_options(CLI::App* command, DataOptions& options) {
  command->add_option("-o,--out", options.to, "file to write (default: -, the standard output)")
      ->type_name("OUT");
  command->add_option("--to-separator", options.to_separator, "what stands between cells of OUT")
      ->type_name("CHARACTER")
      ->check(a_separator());
  command
      ->add_option("--to-missing", options.to_missing,
                   "what is written for missing items (default: the first of --missing)")
      ->type_name("TEXT");
}

DataCommands::DataCommands(CLI::App& app)
    : app_(app.add_subcommand("data", "Look at comma-separated values, and rewrite them")) {
  app_->require_subcommand(1);
  app_->footer(std::string("Help on a command: tarvo data COMMAND --help\n\n") + kExitCodes);
  add_describe();
  add_sort();
  add_discretize();
  add_convert();
}

ExitCode DataCommands::run() const {
  for (const Command& command : commands_)
    if (*command.app) return command.run(*options_);
  return kWrongUsage;
}

CLI::App* DataCommands::add(const char* name, const char* description, const char* examples,
                            ExitCode (*work)(const DataOptions& options)) {
  CLI::App* command = app_->add_subcommand(name, description);
  command->footer(std::string("Examples:\n") + examples + "\n\n" + kExitCodes);
  command
      ->add_option("FILE", options_->file,
                   "comma-separated values with names in the first row, or - for the standard\n"
                   "input; it may be compressed by gzip")
      ->required()
      ->type_name("");
  add_cell_options(command, *options_);
  add_memory_limit(command, options_->memory_limit);
  add_quiet(command);
  add_format(command, options_->format);
  commands_.push_back({command, work});
  return command;
}

void DataCommands::add_describe() {
  CLI::App* command = add("describe", "Print what each column holds",
                          "  tarvo data describe cases.csv\n"
                          "  tarvo data describe cases.csv.gz --column age --format json",
                          describe_data);
  add_repeated(command, "-c,--column", options_->columns, "COLUMN", "describe this column only (repeatable)");
}

void DataCommands::add_sort() {
  CLI::App* command = add("sort", "Sort the rows by some columns",
                          "  tarvo data sort cases.csv --by age:desc --by name -o sorted.csv", sort_data);
  add_repeated(command, "--by", options_->columns, "COLUMN",
               "sort by this column, and then by those that follow (repeatable);\n"
               "COLUMN:desc for the largest first")
      ->required();
  add_output_options(command, *options_);
}

void DataCommands::add_discretize() {
  CLI::App* command =
      add("discretize", "Put intervals in the place of numbers",
          "  tarvo data discretize cases.csv -c age --bins 4 -o parted.csv\n"
          "  tarvo data discretize cases.csv -c age --method class --class ill -o parted.csv\n"
          "  tarvo data discretize more.csv -c age --bounds 0,18,65,inf -o parted.csv",
          discretize_data);
  add_repeated(command, "-c,--column", options_->columns, "COLUMN", "the column of numbers (repeatable)")
      ->required();
  add_choice(command, "--method", options_->method, "METHOD", {"width", "frequency", "k-means", "class"},
             "width (default) or frequency, which are equal then; k-means; or class, as\n"
             "many as tell of the class");
  command->add_option("--bins", options_->bins, "how many intervals (default: 5)")
      ->type_name("N")
      ->check(CLI::Range(1, 32768));
  command->add_option("--class", options_->class_column, "the column with the class")->type_name("COLUMN");
  command
      ->add_option("--bounds", options_->bounds,
                   "these bounds, one more than intervals, with commas between them")
      ->type_name("NUMBERS");
  add_output_options(command, *options_);
}

void DataCommands::add_convert() {
  CLI::App* command = add("convert", "Rewrite the file, perhaps with another separator",
                          "  tarvo data convert cases.csv.gz -o cases.tsv\n"
                          "  tarvo data convert cases.csv --missing -9 --to-missing NA -o more.csv",
                          convert_data);
  add_output_options(command, *options_);
}

}  // namespace program

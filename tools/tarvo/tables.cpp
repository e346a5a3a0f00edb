// tarvo tables: the table of a node, a row for each configuration of its parents.
#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "commands.h"
#include "memory.h"
#include "node_table.h"
#include "progress.h"

namespace program {
namespace {

using Row = std::vector<std::string>;

// What a node's table is laid out in: a column for each discrete parent, then the columns of numbers.
struct Sheet {
  tv_node_t* node;
  NodeTable table;                      // without numbers for a continuous node
  Row columns;                          // the states, "utility", or the parts of a regression
  const char* quantity = "regression";  // what the numbers are
};

std::string coefficient_of(tv_node_t* parent) { return "* " + name_of(parent); }

void lay_out_columns(Sheet& sheet) {
  tv_node_t* node = sheet.node;
  if (!is_continuous(node))
    sheet.quantity = is_utility(node) ? "utility" : is_decision(node) ? "policy" : "probability";
  if (is_discrete(node)) {
    sheet.columns = state_names(node);
  } else if (is_continuous(node)) {
    sheet.columns.push_back("intercept");
    for (tv_node_t* parent : each(tv_node_get_parents(node)))
      if (is_continuous(parent)) sheet.columns.push_back(coefficient_of(parent));
    sheet.columns.push_back("variance");
  } else {
    sheet.columns = {"utility"};
  }
}

Sheet lay_out(const Network& network, tv_node_t* node) {
  const std::string subject = network.file() + ": node \"" + name_of(node) + "\"";
  if (is_real_valued_function(node))
    throw Failure(kFailed, subject + ": a function of this kind has no table");
  expect_to_fit(network, {node}, 0);
  const Activity working("making the table of \"" + name_of(node) + "\"");
  Sheet sheet{node, table_of(node), {}};
  if (!sheet.table.numbers && !is_continuous(node)) fail_with_status(subject);
  lay_out_columns(sheet);
  return sheet;
}

// Six digits are what tables carry, eight the regressions.
struct Number {
  double value;
  std::string shown, exact;
};

Number table_number(tv_number_t number) {
  return {static_cast<double>(number), significant(static_cast<double>(number)), shortest(number)};
}

Number regression_number(double number) {
  char text[40];
  std::snprintf(text, sizeof text, "%.8g", number);
  return {number, text, shortest(number)};
}

std::vector<Number> numbers_of(const Sheet& sheet, size_t row) {
  std::vector<Number> numbers;
  if (sheet.table.numbers) {
    const size_t columns = sheet.columns.size();
    for (size_t c = 0; c < columns; ++c)
      numbers.push_back(table_number(sheet.table.numbers[row * columns + c]));
    return numbers;
  }
  numbers.push_back(regression_number(tv_node_get_intercept(sheet.node, row)));
  for (tv_node_t* parent : each(tv_node_get_parents(sheet.node)))
    if (is_continuous(parent))
      numbers.push_back(regression_number(tv_node_get_coefficient(sheet.node, parent, row)));
  numbers.push_back(regression_number(tv_node_get_conditional_variance(sheet.node, row)));
  return numbers;
}

// Parents to the left, numbers to the right. The rows are passed over twice rather than kept.
void print_as_text(const Sheet& sheet) {
  Row header;
  for (tv_node_t* parent : sheet.table.parents) header.push_back(name_of(parent));
  for (const std::string& column : sheet.columns) header.push_back(printable(column));
  std::vector<size_t> widths;
  for (const std::string& cell : header) widths.push_back(display_width(cell));
  const auto cells_of = [&](size_t row) {
    Row cells;
    const std::vector<size_t> states = configuration_of(sheet.table, row);
    for (size_t p = 0; p < states.size(); ++p)
      cells.push_back(shown_state(sheet.table.parents[p], states[p]));
    for (const Number& number : numbers_of(sheet, row)) cells.push_back(number.shown);
    return cells;
  };
  const auto print_row = [&](const Row& row) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      const std::string blanks(widths[i] - display_width(row[i]), ' ');
      line += (i ? "  " : "") + (i < sheet.table.parents.size() ? row[i] + blanks : blanks + row[i]);
    }
    std::printf("%s\n", line.c_str());
  };
  for (size_t row = 0; row < sheet.table.rows; ++row) {
    const Row cells = cells_of(row);
    for (size_t i = 0; i < cells.size(); ++i) widths[i] = std::max(widths[i], display_width(cells[i]));
  }
  print_row(header);
  for (size_t row = 0; row < sheet.table.rows; ++row) print_row(cells_of(row));
}

void print_as_json(const Network& network, const Sheet& sheet) {
  Json document = {{"command", "tables"},        {"file", network.file()},   {"node", name_of(sheet.node)},
                   {"quantity", sheet.quantity}, {"parents", Json::array()}, {"columns", sheet.columns}};
  for (tv_node_t* parent : sheet.table.parents) document["parents"].push_back(name_of(parent));
  JsonList rows(document, "rows");
  for (size_t row = 0; row < sheet.table.rows; ++row) {
    Json given = Json::array(), values = Json::array();
    const std::vector<size_t> states = configuration_of(sheet.table, row);
    for (size_t p = 0; p < states.size(); ++p) given.push_back(state_name(sheet.table.parents[p], states[p]));
    for (const Number& number : numbers_of(sheet, row))
      values.push_back(sheet.table.numbers ? json_number(static_cast<tv_number_t>(number.value))
                                           : json_number(number.value));
    rows.add({{"given", given}, {"values", values}});
  }
  rows.end();
}

// A row for each number: the states of the parents, in columns of their own, and what the number is.
void print_as_csv(const Sheet& sheet) {
  Row header = {"node"};
  for (tv_node_t* parent : sheet.table.parents) header.push_back("given." + name_of(parent));
  header.insert(header.end(), {"state", "quantity", "value"});
  const CsvWriter csv(header);
  for (size_t row = 0; row < sheet.table.rows; ++row) {
    const std::vector<size_t> states = configuration_of(sheet.table, row);
    const std::vector<Number> numbers = numbers_of(sheet, row);
    for (size_t c = 0; c < numbers.size(); ++c) {
      Row cells = {name_of(sheet.node)};
      for (size_t p = 0; p < states.size(); ++p)
        cells.push_back(state_name(sheet.table.parents[p], states[p]));
      cells.push_back(is_discrete(sheet.node) ? sheet.columns[c] : "");
      cells.push_back(is_continuous(sheet.node) ? sheet.columns[c] : sheet.quantity);
      cells.push_back(numbers[c].exact);
      csv.row(cells);
    }
  }
}

}  // namespace

ExitCode show_table(const TablesOptions& options) {
  const Network network(options.source);
  const Sheet sheet = lay_out(network, network.find(options.node));
  if (options.format == Format::kText) print_as_text(sheet);
  if (options.format == Format::kJson) print_as_json(network, sheet);
  if (options.format == Format::kCsv) print_as_csv(sheet);
  return kSuccess;
}

}  // namespace program

// tarvo tables: the table of a node, a row for each configuration of its parents.
#include <algorithm>
#include <cstdio>

#include "commands.h"
#include "trace_text.h"

namespace program {
namespace {

using Row = std::vector<std::string>;

std::string number(const char* format, double value) {
  char text[40];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

// What a node's table is laid out in: parents, then the numbers.
struct Sheet {
  Row header;
  std::vector<Row> rows;
  size_t parents = 0;
};

// A column for each state of the node, or one for a utility.
void add_numbers(Row& row, const tv_number_t* numbers, size_t count) {
  for (size_t i = 0; i < count; ++i) row.push_back(number("%.6g", static_cast<double>(numbers[i])));
}

void add_regression(Row& row, tv_node_t* node, size_t configuration) {
  row.push_back(number("%.8g", tv_node_get_intercept(node, configuration)));
  for (tv_node_t* parent : each(tv_node_get_parents(node)))
    if (is_continuous(parent))
      row.push_back(number("%.8g", tv_node_get_coefficient(node, parent, configuration)));
  row.push_back(number("%.8g", tv_node_get_conditional_variance(node, configuration)));
}

Row header_of(tv_node_t* node, const std::vector<tv_node_t*>& parents) {
  Row header;
  for (tv_node_t* parent : parents) header.push_back(tv_node_get_name(parent));
  if (is_continuous(node)) {
    header.push_back("intercept");
    for (tv_node_t* parent : each(tv_node_get_parents(node)))
      if (is_continuous(parent)) header.push_back(std::string("* ") + tv_node_get_name(parent));
    header.push_back("variance");
  } else if (is_discrete(node)) {
    for (const std::string& state : state_names(node)) header.push_back(state);
  } else {
    header.push_back("utility");
  }
  return header;
}

// What the library has to say of a model that no table can be made of goes to the error stream.
void generate(const Network& network, tv_node_t* node, const std::string& subject) {
  const TraceText trace;
  expect(tv_domain_set_log_file(network.domain(), trace.stream()), subject);
  const tv_status_t status = tv_node_generate_table(node);
  tv_domain_set_log_file(network.domain(), nullptr);
  if (status == tv_status_none) return;
  std::fputs(trace.text().c_str(), stderr);
  const unsigned code = static_cast<unsigned>(status);
  throw Failure(kFailed, subject + ": " + tv_error_name(code) + ": " + tv_error_description(code));
}

Sheet lay_out(const Network& network, tv_node_t* node) {
  const std::string subject = network.file() + ": node \"" + tv_node_get_name(node) + "\"";
  if (tv_node_get_model(node)) generate(network, node, subject);
  tv_table_t* table = tv_node_get_table(node);
  const tv_number_t* data = table ? tv_table_get_data(table) : nullptr;
  if (!data) fail_with_status(subject);
  std::vector<tv_node_t*> parents;
  for (tv_node_t* member : each(tv_table_get_nodes(table)))
    if (member != node && is_discrete(member)) parents.push_back(member);

  Sheet sheet{header_of(node, parents), {}, parents.size()};
  const size_t columns = is_discrete(node) ? tv_node_get_number_of_states(node) : 1;
  for (size_t row = 0; row < tv_table_get_size(table) / columns; ++row) {
    Row cells(parents.size());
    for (size_t i = parents.size(), rest = row; i-- > 0;) {
      const size_t states = tv_node_get_number_of_states(parents[i]);
      cells[i] = state_name(parents[i], rest % states);
      rest /= states;
    }
    if (is_continuous(node))
      add_regression(cells, node, row);
    else
      add_numbers(cells, data + row * columns, columns);
    sheet.rows.push_back(std::move(cells));
  }
  return sheet;
}

// Parents to the left, numbers to the right.
void print_text(const Sheet& sheet) {
  std::vector<size_t> widths(sheet.header.size(), 0);
  const auto widen = [&](const Row& row) {
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  };
  widen(sheet.header);
  for (const Row& row : sheet.rows) widen(row);
  const auto print_row = [&](const Row& row) {
    for (size_t i = 0; i < row.size(); ++i) {
      const int width = static_cast<int>(widths[i]);
      std::printf("%s%*s", i ? "  " : "", i < sheet.parents ? -width : width, row[i].c_str());
    }
    std::printf("\n");
  };
  print_row(sheet.header);
  for (const Row& row : sheet.rows) print_row(row);
}

void print_csv(const Sheet& sheet) {
  const auto print_row = [](const Row& row) {
    for (size_t i = 0; i < row.size(); ++i) std::printf("%s%s", i ? "," : "", csv_text(row[i]).c_str());
    std::printf("\n");
  };
  print_row(sheet.header);
  for (const Row& row : sheet.rows) print_row(row);
}

}  // namespace

ExitCode show_table(const std::string& file, const std::string& name, Format format) {
  const Network network(file);
  const Sheet sheet = lay_out(network, network.find(name));
  format == Format::kCsv ? print_csv(sheet) : print_text(sheet);
  return kSuccess;
}

}  // namespace program

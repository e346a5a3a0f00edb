// Files of many cases: a header with the names of nodes, and perhaps a column `#count`, then a case a line.
// A file is read aside and replaces the stored cases when all of it is right.

#include <charconv>

#include "api/boundary.h"
#include "net/case_lines.h"
#include "net/case_values.h"
#include "net/file_access.h"
#include "network/domain.h"
#include "network/node_operations.h"
#include "text/number_text.h"
#include "text/state_text.h"

namespace tv {
namespace {

constexpr std::string_view kCountColumn = "#count";

// ---- Writing ----

// Whether a label can stand without quotes and still be read as one.
bool is_plain(std::string_view label) noexcept {
  if (label.empty() || label == "*" || label[0] == '#') return false;
  for (const char c : label)
    if (c <= ' ' || c > '~' || c == ',' || c == '%' || c == '"' || c == '\\') return false;
  return true;
}

// With as many digits as bring the same number back.
template <class Number>
void write_exactly(OutputSink& sink, Number number) {
  char text[kNumberRoom];
  const char* const end = std::to_chars(text, text + sizeof text, number).ptr;
  sink.text({text, static_cast<size_t>(end - text)});
}

void write_cell(OutputSink& sink, const Node& node, size_t index) {
  if (!case_is_set(node, index)) return sink.text("*");
  if (is_continuous(node)) return write_exactly(sink, node.cases.values[index]);
  const size_t state = static_cast<size_t>(node.cases.states[index]);
  const std::string finding = finding_text(node, state);
  const std::string_view label = node.state_labels.empty() ? std::string_view() : node.state_labels[state];
  sink.text(finding[0] == '"' && is_plain(label) ? label : std::string_view(finding));
}

std::vector<Node*> columns_to_write(Domain& domain) {
  std::vector<Node*> with_cases, all;
  for (Node& node : domain.nodes) {
    if (!can_have_findings(node)) continue;
    all.push_back(&node);
    if (!node.cases.empty()) with_cases.push_back(&node);
  }
  return with_cases.empty() ? all : with_cases;
}

tv_status_t write_cases(OutputSink& sink, Domain& domain) {
  const std::vector<Node*> columns = columns_to_write(domain);
  // Without any column at all, only counts can say how many cases there are.
  const bool has_counts = !domain.cases.counts.empty() || (columns.empty() && domain.cases.count > 0);
  if (has_counts) sink.text(kCountColumn);
  for (Node* node : columns) {
    if (has_counts || node != columns.front()) sink.text(",");
    const char* const name = name_of(*node);
    if (!name) return current_status();  // an automatic name could not be made
    sink.text(name);
  }
  sink.text("\n");
  for (size_t index = 0; index < domain.cases.count && !sink.status(); ++index) {
    if (has_counts) write_exactly(sink, case_count(domain, index));
    for (const Node* node : columns) {
      if (has_counts || node != columns.front()) sink.text(",");
      write_cell(sink, *node, index);
    }
    sink.text("\n");
  }
  return sink.finish();
}

// ---- Reading ----

Scan read_number(std::string_view text, double& number) noexcept {
  const char *cursor = text.data(), *const end = cursor + text.size();
  const Scan outcome = scan_decimal(cursor, end, number);
  return cursor == end ? outcome : Scan::none;
}

struct Column {
  Node* node = nullptr;  // null: the counts
  CaseColumn cells;
  bool is_used = false;
};

class CasesParser {
 public:
  CasesParser(CaseLines& lines, Domain& domain) noexcept : lines_(lines), domain_(domain) {}

  tv_status_t parse() {
    std::vector<Cell> cells;
    if (tv_status_t status = lines_.next(cells)) return status;
    if (tv_status_t status = parse_header(cells)) return status;
    for (;; ++case_count_) {
      if (tv_status_t status = lines_.next(cells)) return status;
      if (cells.empty()) break;
      if (tv_status_t status = parse_case(cells)) return status;
    }
    if (case_count_ == 0) lines_.warn("warning: file contains no cases");
    return tv_status_none;
  }

  void commit() noexcept {
    for (Node& node : domain_.nodes) node.cases = {};
    for (Column& column : columns_)
      if (column.is_used) std::swap(column.node->cases, column.cells);
    if (!has_other_counts_) counts_.clear();
    take_counts(domain_, case_count_, counts_);
  }

 private:
  tv_status_t parse_header(const std::vector<Cell>& cells) {
    bool has_counts = false;
    for (const Cell& cell : cells) {
      if (cell.text.empty()) return lines_.fail("line is incomplete", cell);
      Column column;
      if (cell.text == kCountColumn) {
        if (has_counts) return lines_.fail("node `" + cell.text + "' listed twice", cell);
        has_counts = true;
      } else if (tv_status_t status = find_column(cell, column.node)) {
        return status;
      }
      columns_.push_back(std::move(column));
    }
    return tv_status_none;
  }

  tv_status_t find_column(const Cell& cell, Node*& node) {
    const std::string& name = cell.text;
    node = find_node(domain_, name);
    if (!node) return lines_.fail("the domain has no node named `" + name + "'", cell);
    if (!can_have_findings(*node))
      return lines_.fail("node `" + name + "' is not a chance, a decision, or a discrete function node",
                         cell);
    for (const Column& column : columns_)
      if (column.node == node) return lines_.fail("node `" + name + "' listed twice", cell);
    return tv_status_none;
  }

  tv_status_t parse_case(const std::vector<Cell>& cells) {
    if (columns_.empty() || cells.size() > columns_.size())
      return lines_.fail("the case has extra stuff at the end", cells[columns_.size()]);
    if (cells.size() < columns_.size()) return lines_.fail("the case has too few data items");
    for (size_t i = 0; i < cells.size(); ++i)
      if (tv_status_t status = columns_[i].node ? parse_cell(columns_[i], cells[i]) : parse_count(cells[i]))
        return status;
    return tv_status_none;
  }

  tv_status_t parse_count(const Cell& cell) {
    double number = 0;
    const Scan outcome = cell.quoted ? Scan::none : read_number(cell.text, number);
    if (outcome == Scan::none) return lines_.fail("case count expected", cell);
    if (number < 0) return lines_.fail("case counts must be nonnegative", cell);
    if (outcome == Scan::too_large || number >= kBeyondTables) return lines_.fail(kTooLarge, cell);
    tv_number_t count = static_cast<tv_number_t>(number);
    // What was written for this very type comes back unchanged when it is not rounded twice.
    std::from_chars(cell.text.data(), cell.text.data() + cell.text.size(), count);
    counts_.push_back(count);
    has_other_counts_ |= counts_.back() != 1;
    return tv_status_none;
  }

  tv_status_t parse_cell(Column& column, const Cell& cell) {
    const bool known = !cell.is_missing();
    column.is_used |= known;
    if (is_continuous(*column.node)) {
      double value = 0;
      const Scan outcome = cell.quoted ? Scan::none : read_number(cell.text, value);
      if (known && outcome != Scan::number)
        return lines_.fail(outcome == Scan::none ? "syntax error" : kTooLarge, cell);
      column.cells.values.push_back(value);
      column.cells.known.push_back(known);
      return tv_status_none;
    }
    size_t state = 0;
    if (known) {
      const std::string message = find_state(*column.node, cell, state);
      if (!message.empty()) return lines_.fail(message, cell);
      if (state >= kCaseStateLimit) return tv_status_case_state_too_large;
    }
    column.cells.states.push_back(known ? static_cast<int16_t>(state) : kMissingCase);
    return tv_status_none;
  }

  // As in files of one case; labels may do without quotes.
  static std::string find_state(Node& node, const Cell& cell, size_t& state) {
    double number = -1;
    if (!cell.quoted && cell.text[0] == '#') {
      if (read_number(std::string_view(cell.text).substr(1), number) != Scan::number) number = -1;
      return state_of_index(node, number, state);
    }
    if (cell.quoted || node.subtype == tv_subtype_label) return state_of_label(node, cell.text, state);
    if (node.subtype == tv_subtype_boolean) return state_of_word(cell.text, state);
    const Scan outcome = read_number(cell.text, number);
    if (outcome == Scan::number) return state_of_value(node, number, state);
    return outcome == Scan::none ? "syntax error" : kTooLarge;
  }

  CaseLines& lines_;
  Domain& domain_;
  std::vector<Column> columns_;
  std::vector<tv_number_t> counts_;
  bool has_other_counts_ = false;  // than 1
  size_t case_count_ = 0;
};

tv_status_t parse_cases(Domain& domain, const char* file_name, MessageHandler handler) {
  OpenFile file = open_file(file_name, "r");
  if (!file) return current_status();
  const CLocale locale;
  if (!locale.selected()) return current_status();
  CaseLines lines(file.get(), handler);
  CasesParser parser(lines, domain);
  tv_status_t status = guarded([&]() -> tv_status_t { return parser.parse(); });
  if (status && status != tv_status_parse)
    lines.warn((std::string("API error: ") + tv_error_description(static_cast<unsigned>(status))).c_str());
  if (!status) status = close_file(std::move(file));
  if (!status) parser.commit();
  return status;
}

}  // namespace
}  // namespace tv

tv_status_t tv_domain_save_cases(tv_domain_t* domain, const char* file_name) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain && file_name)) return tv_status_usage;
    return tv::write_file(file_name, [&](tv::OutputSink& sink) { return tv::write_cases(sink, *domain); });
  });
}

tv_status_t tv_domain_parse_cases(tv_domain_t* domain, const char* file_name, tv_error_handler_t handler,
                                  void* handler_data) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain && file_name)) return tv_status_usage;
    return tv::parse_cases(*domain, file_name, {handler, handler_data});
  });
}

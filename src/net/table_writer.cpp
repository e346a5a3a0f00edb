#include "net/table_writer.h"

#include <cmath>
#include <limits>
#include <vector>

#include "net/writable.h"
#include "network/node_operations.h"
#include "tables/table_numbers.h"
#include "text/number_text.h"

namespace tv {
namespace {

constexpr int kValueDigits = 8;
constexpr double kLargest = std::numeric_limits<double>::max();

std::string number_text(double number) {
  char text[kNumberRoom];
  return {text, write_digits(text, number, kValueDigits)};
}

std::string value_text(double value) {
  if (value <= -kLargest) return "-infinity";
  return value >= kLargest ? "infinity" : number_text(value);
}

// A state as a comment names it; a label that would end the comment does not.
std::string comment_text(const Node& node, size_t state) {
  const std::string_view label = state_label(node, state);
  if (!label.empty() && label.find_first_of("\n\r") == label.npos) return std::string(label);
  if (node.subtype == tv_subtype_boolean) return state == 0 ? "false" : "true";
  if (node.subtype != tv_subtype_label && !node.state_values.empty()) {
    if (node.subtype == tv_subtype_number) return value_text(node.state_values[state]);
    return "interval(" + value_text(node.state_values[state]) + "," +
           value_text(node.state_values[state + 1]) + ")";
  }
  return "<" + std::to_string(state) + ">";
}

class TableWriter {
 public:
  TableWriter(OutputSink& sink, const Table& table, std::string_view indent)
      : sink_(sink), table_(table), indent_(indent), levels_(table.discrete_count), states_(levels_, 0) {
    has_leaves_ = table.continuous_count > 0;
    if (!has_data(table)) {
      default_number_ = default_number(table);
      default_block_ = default_block(table);
    }
    if (has_leaves_) own_place_ = table.nodes.position(table.owner) - table.discrete_count;
    lists_entries_ = has_leaves_ || !is_probability_table(table);
    const size_t identified = levels_ - (levels_ > 0 && !lists_entries_ ? 1 : 0);
    comments_.resize(identified);
    for (size_t i = 0; i < identified; ++i) {
      Node& node = *table.nodes[i];
      const std::string start = std::string("  ") + name_of(node) + "=";
      for (size_t state = 0; state < node.number_of_states; ++state)
        comments_[i].push_back(start + comment_text(node, state));
    }
  }

  void write() {
    open_levels(0);
    for (size_t index = 0;;) {
      write_entry(index);
      if (++index == table_.size || sink_.status()) break;
      const size_t level = next_level();
      close_levels(level + 1);
      if (level + 1 < levels_ || lists_entries_) break_line(level);
      step_from(level);
      open_levels(level + 1);
    }
    close_levels(0);
    sink_.text(";");
    write_comment();
    sink_.text("\n");
  }

 private:
  void open_levels(size_t first) noexcept {
    for (size_t level = first; level < levels_; ++level) sink_.text("(");
  }

  void close_levels(size_t first) noexcept {
    for (size_t level = levels_; level-- > first;) sink_.text(level + 1 == levels_ ? " )" : ")");
  }

  // The innermost level that has another state.
  size_t next_level() const noexcept {
    size_t level = levels_ - 1;
    while (states_[level] + 1 == table_.nodes[level]->number_of_states) --level;
    return level;
  }

  void step_from(size_t level) noexcept {
    ++states_[level];
    for (size_t deeper = level + 1; deeper < levels_; ++deeper) states_[deeper] = 0;
  }

  void break_line(size_t level) noexcept {
    write_comment();
    sink_.text("\n");
    sink_.text(indent_);
    sink_.blanks(level + 1);
  }

  // The configuration that was just written.
  void write_comment() noexcept {
    if (comments_.empty()) return;
    sink_.text("\t%");
    for (size_t i = 0; i < comments_.size(); ++i) sink_.text(comments_[i][states_[i]]);
  }

  void write_entry(size_t index) {
    if (levels_ > 0) sink_.text(" ");
    const bool is_blank = !has_data(table_);
    if (has_leaves_)
      write_leaf(is_blank ? default_block_.data() : table_.cg_data.data() + index * table_.cg_size);
    else
      sink_.table_number(is_blank ? default_number_ : table_.data[index]);
  }

  // The regression of a continuous node on its continuous parents.
  void write_leaf(const double* block) {
    sink_.text("normal ( ");
    bool empty = true;
    if (const double constant = block[cg_mean_index(own_place_)]; constant != 0) {
      sink_.number(constant);
      empty = false;
    }
    for (size_t i = 0; i < table_.continuous_count; ++i) {
      const double coefficient = block[cg_covariance_index(i, own_place_)];
      if (i == own_place_ || coefficient == 0) continue;
      const bool negative = coefficient < 0;
      sink_.text(empty ? (negative ? "-" : "") : (negative ? " - " : " + "));
      if (const std::string factor = number_text(std::fabs(coefficient)); factor != "1") {
        sink_.text(factor);
        sink_.text(" * ");
      }
      sink_.text(table_.nodes[table_.discrete_count + i]->name);
      empty = false;
    }
    if (empty) sink_.text("0");
    sink_.text(", ");
    sink_.number(block[cg_covariance_index(own_place_, own_place_)]);
    sink_.text(" )");
  }

  OutputSink& sink_;
  const Table& table_;
  std::string_view indent_;
  size_t levels_;
  std::vector<size_t> states_;
  tv_number_t default_number_ = 0;                  // of all entries of a table that nobody has given numbers
  std::vector<double> default_block_;               // of all its leaves
  std::vector<std::vector<std::string>> comments_;  // of the nodes that comments name, by state
  bool has_leaves_;                                 // of continuous nodes
  size_t own_place_ = 0;                            // of the node among them, where the host has put it
  bool lists_entries_;                              // each on a line of its own
};

}  // namespace

bool data_fits_on_line(const Table& table) noexcept {
  return table.nodes.empty() ||
         (table.nodes.size() == 1 && table.continuous_count == 0 && is_probability_table(table));
}

void write_table(OutputSink& sink, const Table& table, std::string_view indent) {
  TableWriter(sink, table, indent).write();
}

void write_state_value(OutputSink& sink, double value) { sink.text(value_text(value)); }

}  // namespace tv

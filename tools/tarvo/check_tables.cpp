// Distributions that do not sum to one, numbers that are no probabilities, labels that name two states.
#include <algorithm>
#include <cmath>
#include <map>

#include "check.h"
#include "node_table.h"

namespace program {
namespace {

constexpr double kRounding = 1e-5;       // of a sum of numbers with six digits
constexpr double kManyRoundings = 1e-3;  // of long ones, or numbers with fewer digits
constexpr size_t kShownRows = 3;

// "x for a = yes, b = no".
std::string place(tv_node_t* node, const NodeTable& table, size_t row) {
  const std::string given = configuration_text(table, row);
  return "\"" + name_of(node) + "\"" + (given.empty() ? "" : " for " + given);
}

class Distributions {
 public:
  Distributions(tv_node_t* node, const NodeTable& table, Remarks& remarks)
      : node_(node), table_(table), remarks_(remarks) {}

  void check() {
    for (size_t row = 0; row < table_.rows; ++row) check_row(row);
    if (left_out_ > 0)
      remarks_.push_back(
          {worst_, "sum", "certain", name_of(node_),
           std::to_string(left_out_) + " more distributions of \"" + name_of(node_) + "\" like these"});
  }

 private:
  void check_row(size_t row) {
    double sum = 0;
    const tv_number_t* numbers = table_.numbers + row * table_.columns;
    for (size_t i = 0; i < table_.columns; ++i) {
      if (!(numbers[i] >= 0) || std::isinf(numbers[i]))
        return note(
            row, Severity::kError, "number", "certain",
            "has the number " + significant(static_cast<double>(numbers[i])) + ", which is no probability");
      sum += static_cast<double>(numbers[i]);
    }
    if (sum == 0) return note(row, Severity::kError, "sum", "certain", "sums to zero");
    if (is_decision(node_) || std::fabs(sum - 1) <= kRounding) return;  // policies may be mere weights
    if (std::fabs(sum - 1) <= kManyRoundings)
      note(row, Severity::kNote, "sum", "likely", "sums to " + significant(sum) + ", perhaps by rounding");
    else
      note(row, Severity::kWarning, "sum", "certain",
           "sums to " + significant(sum) + " instead of one, and is divided by that");
  }

  void note(size_t row, Severity severity, const char* kind, const char* certainty,
            const std::string& trouble) {
    worst_ = std::min(worst_, severity);
    if (++found_ > kShownRows) return void(++left_out_);
    remarks_.push_back({severity, kind, certainty, name_of(node_),
                        "the distribution of " + place(node_, table_, row) + " " + trouble});
  }

  tv_node_t* node_;
  const NodeTable& table_;
  Remarks& remarks_;
  Severity worst_ = Severity::kNote;
  size_t found_ = 0, left_out_ = 0;
};

}  // namespace

void check_tables(const Network& network, Remarks& remarks) {
  for (tv_node_t* node : network.nodes()) {
    // Models are looked at when the network is compiled: some need beliefs.
    if (!is_discrete(node) || tv_node_get_model(node) || !can_be_looked_at(network, node)) continue;
    const NodeTable table = table_of(node);
    if (table.numbers)
      Distributions(node, table, remarks).check();
    else
      remarks.push_back({Severity::kError, "table", "certain", name_of(node),
                         "the table of \"" + name_of(node) + "\" cannot be made: " + library_message()});
  }
}

void check_labels(const Network& network, Remarks& remarks) {
  for (tv_node_t* node : network.nodes()) {
    if (!is_discrete(node)) continue;
    std::map<std::string, size_t> seen;
    for (size_t state = 0; state < states_of(node); ++state) {
      const std::string label = tv_node_get_state_label(node, state);
      if (label.empty()) continue;
      const auto [first, is_new] = seen.emplace(label, state);
      if (!is_new)
        remarks.push_back({Severity::kWarning, "duplicate_label", "certain", name_of(node),
                           "states " + std::to_string(first->second) + " and " + std::to_string(state) +
                               " of \"" + name_of(node) + "\" are both labelled \"" + label + "\""});
    }
  }
}

}  // namespace program

// Rows of a data set as cases of a domain. All of them are read aside, and none is added unless all can be.
#include <cfloat>
#include <cmath>

#include "api/boundary.h"
#include "data/numbers.h"
#include "learn/data_matching.h"
#include "net/case_values.h"
#include "network/cases.h"
#include "network/domain.h"
#include "network/refusals.h"

namespace tv {
namespace {

class RowReader {
 public:
  RowReader(Domain& domain, const DataSet& data, tv_unmatched_t unmatched, MessageHandler handler) noexcept
      : domain_(domain), data_(data), is_strict_(unmatched == tv_unmatched_error), unmatched_(handler) {}

  // `nodes`: by column; null to find them by name.
  tv_status_t read(Node* const* nodes, size_t count_column) {
    if (tv_status_t status = match(nodes, count_column)) return status;
    for (const ColumnObservations& column : columns_)
      column.for_each_unfit(
          [&](size_t row, const std::string& message) { unmatched_.note(row, message, is_strict_); });
    if (count_column != kNone) read_counts(*data_.columns[count_column]);
    return unmatched_.status() ? unmatched_.status() : append();
  }

  void commit() noexcept {
    for (size_t i = 0; i < nodes_.size(); ++i) std::swap(nodes_[i]->cases, cells_[i]);
    take_counts(domain_, domain_.cases.count + data_.number_of_rows(), counts_);
  }

 private:
  tv_status_t match(Node* const* nodes, size_t count_column) {
    const auto use_of = [&](size_t column) {
      return column == count_column ? ColumnUse::something_else : ColumnUse::observations;
    };
    const auto note_column = [&](const std::string& message) { unmatched_.note(kNone, message, is_strict_); };
    if (tv_status_t status = match_columns(domain_, data_, nodes, use_of, note_column, columns_))
      return status;
    if (columns_.empty())
      return unmatched_.status() ? unmatched_.status()
                                 : refuse(tv_status_usage, "no column of the data set is about a node");
    return tv_status_none;
  }

  // Always strict: nobody could say how often such a case was seen.
  void read_counts(const DataColumn& column) {
    const size_t rows = column.codes.size();
    std::vector<double> numbers(column.items.size() + size_t{1}, -1.0);
    for (Code code = 1; code < numbers.size(); ++code)
      if (!read_item_number(column.items.text(code), numbers[code]) || !(numbers[code] <= FLT_MAX))
        numbers[code] = -1.0;
    read_counts_.resize(rows);
    for (size_t row = 0; row < rows; ++row) {
      const Code code = column.codes[row];
      read_counts_[row] = static_cast<tv_number_t>(numbers[code]);
      if (numbers[code] >= 0.0) continue;
      const std::string trouble = code == kMissingCode
                                      ? "a count is missing"
                                      : "\"" + std::string(column.items.text(code)) + "\" is no count";
      unmatched_.note(row, std::string("column \"") + column.name_text() + "\": " + trouble, true);
    }
  }

  // The columns that the nodes will have.
  tv_status_t append() {
    const size_t before = domain_.cases.count, rows = data_.number_of_rows();
    for (Node& node : domain_.nodes) {
      if (!can_have_findings(node)) continue;
      const ColumnObservations* found = nullptr;
      for (const ColumnObservations& column : columns_)
        if (&column.node() == &node) found = &column;
      if (!found && node.cases.empty()) continue;
      nodes_.push_back(&node);
      cells_.push_back(node.cases);
      CaseColumn& cells = cells_.back();
      if (is_discrete(node)) {
        cells.states.resize(before, kMissingCase);
        cells.states.resize(before + rows, kMissingCase);
        if (found)
          if (tv_status_t status = append_states(*found, cells.states.data() + before)) return status;
      } else {
        cells.values.resize(before);
        cells.known.resize(before);
        cells.values.resize(before + rows);
        cells.known.resize(before + rows);
        if (found) append_values(*found, cells, before);
      }
    }
    if (domain_.cases.counts.empty() && read_counts_.empty()) return tv_status_none;
    counts_ = domain_.cases.counts;
    counts_.resize(before, 1);
    counts_.insert(counts_.end(), read_counts_.begin(), read_counts_.end());
    counts_.resize(before + rows, 1);
    return tv_status_none;
  }

  static tv_status_t append_states(const ColumnObservations& column, int16_t* states) {
    const DataColumn& data = column.column();
    std::vector<int16_t> by_code(data.items.size() + size_t{1}, kMissingCase);
    for (Code code = 1; code < by_code.size(); ++code) {
      if (!column[code].is_known) continue;
      if (column[code].state >= kCaseStateLimit)
        return refuse(tv_status_case_state_too_large, "column \"%s\": state %zu is beyond those of cases",
                      data.name_text(), column[code].state);
      by_code[code] = static_cast<int16_t>(column[code].state);
    }
    data.codes.visit([&](const auto* codes) {
      for (size_t row = 0; row < data.codes.size(); ++row) states[row] = by_code[codes[row]];
    });
    return tv_status_none;
  }

  static void append_values(const ColumnObservations& column, CaseColumn& cells, size_t first) noexcept {
    const CodeList& codes = column.column().codes;
    for (size_t row = 0; row < codes.size(); ++row) {
      const Observation& observation = column[codes[row]];
      cells.values[first + row] = observation.value;
      cells.known[first + row] = observation.is_known;
    }
  }

  Domain& domain_;
  const DataSet& data_;
  bool is_strict_;
  UnmatchedItems unmatched_;
  std::vector<ColumnObservations> columns_;
  std::vector<tv_number_t> read_counts_;
  // What the domain will have.
  std::vector<Node*> nodes_;
  std::vector<CaseColumn> cells_;
  std::vector<tv_number_t> counts_;
};

}  // namespace
}  // namespace tv

tv_status_t tv_domain_add_cases(tv_domain_t* domain, const tv_data_set_t* data, tv_node_t* const* nodes,
                                size_t count_column, tv_unmatched_t unmatched, tv_error_handler_t handler,
                                void* handler_data) {
  return tv::guarded([&]() -> tv_status_t {
    const bool valid = domain && data &&
                       (unmatched == tv_unmatched_error || unmatched == tv_unmatched_missing) &&
                       (count_column == tv::kNone || count_column < data->number_of_columns()) &&
                       tv::nodes_belong_to(*domain, *data, nodes);
    if (!tv::check(valid)) return tv_status_usage;
    tv::RowReader reader(*domain, *data, unmatched, {handler, handler_data});
    if (tv_status_t status = reader.read(nodes, count_column)) return status;
    reader.commit();
    return tv_status_none;
  });
}

#include "predict/row_block.h"

#include <cmath>
#include <numeric>

#include "network/cases.h"
#include "network/domain.h"
#include "network/node_operations.h"

namespace tv {
namespace {

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

}  // namespace

RowBlock::RowBlock(const PredictionModel& model)
    : columns_(model.columns()),
      targets_(model.targets.size()),
      has_continuous_(model.has_continuous),
      states_(model.columns()) {}

void RowBlock::reset(size_t rows) {
  rows_ = rows;
  states_.reset(rows);
  if (has_continuous_) values_.assign(rows * columns_, kUnknown);
  truths_.assign(rows * targets_, kUnknown);
}

CaseRows::CaseRows(const PredictionModel& model) : model_(model), cases_(model.domain->cases.count) {
  std::iota(cases_.begin(), cases_.end(), size_t{0});
}

double CaseRows::weight(size_t row) const noexcept {
  return static_cast<double>(case_count(*model_.domain, cases_[row]));
}

void CaseRows::read(size_t first, size_t count, RowBlock& block) const {
  for (size_t c = 0; c < model_.columns(); ++c) {
    const Node& node = *model_.families[c].node;
    if (node.cases.empty()) continue;
    const uint32_t target = model_.target_of[c];
    for (size_t i = 0; i < count; ++i) {
      const size_t row = cases_[first + i];
      if (!case_is_set(node, row)) continue;
      if (target != PredictionModel::kNoTarget)
        block.set_truth(i, target, is_discrete(node) ? node.cases.states[row] : node.cases.values[row]);
      else if (is_discrete(node))
        block.set_state(i, c, node.cases.states[row]);
      else
        block.set_value(i, c, node.cases.values[row]);
    }
  }
}

tv_status_t check_states(const PredictionModel& model, const std::vector<ColumnObservations>& columns) {
  constexpr size_t kMostStates = size_t{1} << 15;
  for (const ColumnObservations& column : columns) {
    const Node& node = column.node();
    const uint32_t target = model.target_of[model.column_of[node.number - 1]];
    if (is_discrete(node) && node.number_of_states > kMostStates && target == PredictionModel::kNoTarget)
      return refuse(tv_status_case_state_too_large, "node \"%s\" has more states than rows can observe",
                    shown_name(node));
  }
  return tv_status_none;
}

void DataRows::update() {
  for (size_t c = 0; c < columns_.size(); ++c) {
    ColumnObservations& column = columns_[c];
    Map& map = maps_[c];
    column.update();
    const bool has_states = is_discrete(column.node());
    for (size_t code = map.numbers.size(); code < column.size(); ++code) {
      const Observation& seen = column[static_cast<Code>(code)];
      const double number = has_states ? static_cast<double>(seen.state) : seen.value;
      map.numbers.push_back(seen.is_known ? number : kUnknown);
      if (has_states) map.states.push_back(seen.is_known ? static_cast<int16_t>(seen.state) : kMissingCase);
    }
  }
}

void DataRows::forget_columns_of_more_than(Code items) {
  for (size_t c = 0; c < columns_.size(); ++c) {
    if (columns_[c].column().items.size() <= items) continue;
    columns_[c].forget();
    maps_[c] = {};
  }
}

void DataRows::read(size_t first, size_t count, RowBlock& block) const {
  for (size_t c = 0; c < columns_.size(); ++c) {
    const uint32_t column = model_.column_of[columns_[c].node().number - 1];
    const uint32_t target = model_.target_of[column];
    const Map& map = maps_[c];
    columns_[c].column().codes.visit([&](const auto* codes) {
      codes += first;
      if (target != PredictionModel::kNoTarget) {
        for (size_t i = 0; i < count; ++i) block.set_truth(i, target, map.numbers[codes[i]]);
      } else if (map.states.empty()) {
        for (size_t i = 0; i < count; ++i) block.set_value(i, column, map.numbers[codes[i]]);
      } else {
        for (size_t i = 0; i < count; ++i)
          if (const int16_t state = map.states[codes[i]]; state != kMissingCase)
            block.set_state(i, column, state);
      }
    });
  }
}

}  // namespace tv

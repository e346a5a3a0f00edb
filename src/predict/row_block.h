// Rows to be answered, some at a time: what they observe, and what is known of the nodes to be predicted,
// which counts for no answer.
#pragma once

#include "learn/data_matching.h"
#include "learn/group_finder.h"
#include "predict/prediction_model.h"

namespace tv {

class RowBlock {
 public:
  explicit RowBlock(const PredictionModel& model);

  void reset(size_t rows);  // to rows that observe nothing
  size_t rows() const noexcept { return rows_; }
  const ObservedRows& states() const noexcept { return states_; }
  // Of the continuous nodes of a row, by column; NaN where nothing is known. Null where there are none.
  const double* values(size_t row) const noexcept {
    return values_.empty() ? nullptr : values_.data() + row * columns_;
  }
  // By target: the state or the value that a row has; NaN where nobody knows.
  double truth(size_t row, size_t target) const noexcept { return truths_[row * targets_ + target]; }

  void set_state(size_t row, size_t column, int16_t state) noexcept { states_.set(row, column, state); }
  void set_value(size_t row, size_t column, double value) noexcept {
    values_[row * columns_ + column] = value;
  }
  void set_truth(size_t row, size_t target, double truth) noexcept {
    truths_[row * targets_ + target] = truth;
  }

 private:
  size_t columns_, targets_, rows_ = 0;
  bool has_continuous_;
  ObservedRows states_;
  std::vector<double> values_, truths_;
};

// Where rows come from. Reading is safe for several threads.
class RowSource {
 public:
  virtual ~RowSource() = default;
  virtual size_t rows() const noexcept = 0;
  virtual double weight(size_t) const noexcept { return 1.0; }
  virtual void read(size_t first, size_t count, RowBlock& block) const = 0;
};

// Cases that are stored in the domain: all of them, or those of a list.
class CaseRows : public RowSource {
 public:
  explicit CaseRows(const PredictionModel& model);
  CaseRows(const PredictionModel& model, std::vector<size_t> cases)
      : model_(model), cases_(std::move(cases)) {}
  size_t rows() const noexcept override { return cases_.size(); }
  double weight(size_t row) const noexcept override;
  void read(size_t first, size_t count, RowBlock& block) const override;

 private:
  const PredictionModel& model_;
  std::vector<size_t> cases_;
};

// Rows observe states that cases can hold: `case_state_too_large` where a column may be about others.
tv_status_t check_states(const PredictionModel& model, const std::vector<ColumnObservations>& columns);

// The rows of a data set, whose columns have been matched to nodes.
class DataRows : public RowSource {
 public:
  DataRows(const PredictionModel& model, const DataSet& data, std::vector<ColumnObservations> columns)
      : model_(model), data_(data), columns_(std::move(columns)), maps_(columns_.size()) {
    update();
  }

  // After other rows have come into the data set.
  void update();
  // Before columns of more items than that get others in their place.
  void forget_columns_of_more_than(Code items);

  const std::vector<ColumnObservations>& columns() const noexcept { return columns_; }
  size_t rows() const noexcept override { return data_.number_of_rows(); }
  void read(size_t first, size_t count, RowBlock& block) const override;

 private:
  // By code, for the innermost loop.
  struct Map {
    std::vector<double> numbers;  // states or values; NaN for none
    std::vector<int16_t> states;
  };

  const PredictionModel& model_;
  const DataSet& data_;
  std::vector<ColumnObservations> columns_;
  std::vector<Map> maps_;
};

}  // namespace tv

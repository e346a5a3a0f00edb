// The cases of a domain as structures are learned from them: a column for each node. Discrete columns hold
// codes, numbers of the states that occur, and a set of rows for each of them, as bits.
#pragma once

#include <span>

#include "learn/structure/constraints/learning_problem.h"
#include "tables/block.h"

namespace tv {

class ProgressMeter;  // network/progress.h

struct CaseColumnCodes {
  size_t states = 0;            // that the node has
  size_t occurring = 0;         // that occur: codes are below, and `occurring` where a cell is missing
  std::vector<uint16_t> codes;  // by row
  Block<uint64_t> bits;         // by code the rows that have it, `words` each; none where codes are many
};

struct CaseColumnValues {
  std::vector<double> values;          // by row
  double mean = 0.0, deviation = 0.0;  // of those that are known
};

struct LearnedColumn {
  bool is_discrete = true;
  bool has_missing = false;
  Block<uint64_t> known;  // the rows that are, where some are missing
  CaseColumnCodes discrete;
  CaseColumnValues continuous;
};

class CaseColumns {
 public:
  CaseColumns() = default;

  size_t rows() const noexcept { return rows_; }
  size_t words() const noexcept { return words_; }  // of a set of rows; a whole number of longest vectors
  double total() const noexcept { return total_; }  // of the counts of all rows
  bool is_weighted() const noexcept { return !weights_.empty(); }
  double weight(size_t row) const noexcept { return weights_.empty() ? 1.0 : weights_[row]; }
  const std::vector<double>& weights() const noexcept { return weights_; }

  size_t size() const noexcept { return columns_.size(); }
  const LearnedColumn& operator[](size_t node) const noexcept { return columns_[node]; }
  bool is_discrete(size_t node) const noexcept { return columns_[node].is_discrete; }
  size_t states(size_t node) const noexcept { return columns_[node].discrete.states; }
  size_t occurring(size_t node) const noexcept { return columns_[node].discrete.occurring; }
  const uint64_t* bits(size_t node, size_t code) const noexcept {
    return columns_[node].discrete.bits.data() + code * words_;
  }
  bool has_bits(size_t node) const noexcept { return columns_[node].discrete.bits.size() > 0; }
  bool is_known(size_t node, size_t row) const noexcept {
    const LearnedColumn& column = columns_[node];
    return !column.has_missing || ((column.known[row / 64] >> (row % 64)) & 1);
  }

  // One more column, discrete, in which all states occur; `states` as the code of a missing cell.
  void add(size_t states, std::vector<uint16_t> codes);

  // The rows with these numbers, which may come several times: a sample of the cases.
  CaseColumns sample(const std::vector<uint32_t>& rows) const;

  friend tv_status_t read_case_columns(const LearningProblem& problem, ProgressMeter& progress,
                                       CaseColumns& columns);

 private:
  void take_rows(size_t rows);
  void complete(LearnedColumn& column);  // with what follows from codes or values

  size_t rows_ = 0, words_ = 0;
  double total_ = 0.0;
  std::vector<double> weights_;  // by row; empty where all weigh 1
  std::vector<LearnedColumn> columns_;
};

// The cases of the problem's domain; those with the count 0 are left out.
tv_status_t read_case_columns(const LearningProblem& problem, ProgressMeter& progress, CaseColumns& columns);

}  // namespace tv

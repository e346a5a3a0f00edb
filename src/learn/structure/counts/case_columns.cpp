// Reading the cases of a domain into columns, and drawing samples of them.
#include "learn/structure/counts/case_columns.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "learn/structure/counts/pieces.h"
#include "network/cases.h"
#include "network/refusals.h"

namespace tv {
namespace {

constexpr size_t kWordsOfVector = 8;   // of the longest vectors of all processors
constexpr size_t kMostBitStates = 64;  // beyond, rows are few for each state, and are counted one by one

// The rows of the domain that count.
std::vector<uint32_t> counted_rows(const Domain& domain) {
  std::vector<uint32_t> rows;
  rows.reserve(domain.cases.count);
  for (size_t row = 0; row < domain.cases.count; ++row)
    if (case_count(domain, row) > 0) rows.push_back(static_cast<uint32_t>(row));
  return rows;
}

// Codes of the states that occur, in the order of the states.
CaseColumnCodes read_states(const Node& node, const std::vector<uint32_t>& rows) {
  CaseColumnCodes column;
  column.states = node.number_of_states;
  column.codes.resize(rows.size());
  std::vector<uint16_t> code_of(column.states + 1, 0);
  const int16_t* const states = node.cases.states.empty() ? nullptr : node.cases.states.data();
  for (size_t i = 0; states && i < rows.size(); ++i)
    if (states[rows[i]] >= 0) code_of[static_cast<size_t>(states[rows[i]])] = 1;
  for (size_t state = 0; state < column.states; ++state)
    if (code_of[state]) code_of[state] = static_cast<uint16_t>(column.occurring++);
  const uint16_t missing = static_cast<uint16_t>(column.occurring);
  for (size_t i = 0; i < rows.size(); ++i) {
    const int16_t state = states ? states[rows[i]] : kMissingCase;
    column.codes[i] = state >= 0 ? code_of[static_cast<size_t>(state)] : missing;
  }
  return column;
}

// The value that stands for a missing one.
constexpr double kMissingValue = 0.0;

}  // namespace

void CaseColumns::take_rows(size_t rows) {
  rows_ = rows;
  words_ = ((rows + 63) / 64 + kWordsOfVector - 1) / kWordsOfVector * kWordsOfVector;
  total_ = static_cast<double>(rows);
  if (is_weighted()) {
    total_ = 0.0;
    for (const double weight : weights_) total_ += weight;
  }
}

void CaseColumns::complete(LearnedColumn& column) {
  if (column.is_discrete) {
    CaseColumnCodes& discrete = column.discrete;
    const uint16_t missing = static_cast<uint16_t>(discrete.occurring);
    column.has_missing =
        std::find(discrete.codes.begin(), discrete.codes.end(), missing) != discrete.codes.end();
    if (column.has_missing) {
      column.known.allocate(words_);
      for (size_t row = 0; row < rows_; ++row)
        column.known[row / 64] |= uint64_t{discrete.codes[row] != missing} << (row % 64);
    }
    if (discrete.occurring > kMostBitStates || is_weighted()) return;
    discrete.bits.allocate(discrete.occurring * words_);
    for (size_t row = 0; row < rows_; ++row)
      if (discrete.codes[row] != missing)
        discrete.bits[discrete.codes[row] * words_ + row / 64] |= uint64_t{1} << (row % 64);
    return;
  }
  double total = 0.0, sum = 0.0, squares = 0.0;
  CaseColumnValues& continuous = column.continuous;
  const auto for_each_known = [&](auto visit) {
    for (size_t row = 0; row < rows_; ++row)
      if (!column.has_missing || ((column.known[row / 64] >> (row % 64)) & 1))
        visit(weight(row), continuous.values[row]);
  };
  for_each_known([&](double weight, double value) {
    total += weight;
    sum += weight * value;
  });
  continuous.mean = total > 0 ? sum / total : 0.0;
  for_each_known([&](double weight, double value) {
    squares += weight * (value - continuous.mean) * (value - continuous.mean);
  });
  continuous.deviation = total > 0 ? std::sqrt(squares / total) : 0.0;
}

void CaseColumns::add(size_t states, std::vector<uint16_t> codes) {
  LearnedColumn column;
  column.discrete.states = column.discrete.occurring = states;
  column.discrete.codes = std::move(codes);
  complete(column);
  columns_.push_back(std::move(column));
}

CaseColumns CaseColumns::sample(const std::vector<uint32_t>& rows) const {
  CaseColumns result;
  if (is_weighted())
    for (const uint32_t row : rows) result.weights_.push_back(weights_[row]);
  result.take_rows(rows.size());
  for (size_t node = 0; node < size(); ++node) {
    const LearnedColumn& from = columns_[node];
    LearnedColumn column;
    column.is_discrete = from.is_discrete;
    if (from.is_discrete) {
      column.discrete.states = from.discrete.states;
      column.discrete.occurring = from.discrete.occurring;
      for (const uint32_t row : rows) column.discrete.codes.push_back(from.discrete.codes[row]);
    } else {
      for (const uint32_t row : rows) column.continuous.values.push_back(from.continuous.values[row]);
      column.has_missing = from.has_missing;
      if (from.has_missing) {
        column.known.allocate(result.words_);
        for (size_t i = 0; i < rows.size(); ++i)
          column.known[i / 64] |= uint64_t{is_known(node, rows[i])} << (i % 64);
      }
    }
    result.complete(column);
    result.columns_.push_back(std::move(column));
  }
  return result;
}

namespace {

// Of a continuous node: values, and which are known.
void read_values(const Node& node, const std::vector<uint32_t>& rows, LearnedColumn& column) {
  column.continuous.values.assign(rows.size(), kMissingValue);
  for (size_t i = 0; i < rows.size(); ++i) {
    const bool is_known = !node.cases.empty() && node.cases.known[rows[i]];
    column.has_missing = column.has_missing || !is_known;
    if (!is_known) continue;
    column.continuous.values[i] = node.cases.values[rows[i]];
    column.known[i / 64] |= uint64_t{1} << (i % 64);
  }
}

// What the columns will take at most; bits for each state, where states are few.
double bytes_of_columns(const LearningProblem& problem, size_t rows) {
  double bytes = 0.0;
  for (const Node* node : problem.nodes) {
    const size_t states = node->number_of_states;
    bytes += static_cast<double>(rows) * (is_continuous(*node) ? sizeof(double) : sizeof(uint16_t));
    if (is_discrete(*node) && states <= kMostBitStates)
      bytes += static_cast<double>(rows) * static_cast<double>(states) / 8.0;
  }
  return bytes;
}

}  // namespace

tv_status_t read_case_columns(const LearningProblem& problem, ProgressMeter& progress, CaseColumns& columns) {
  const Domain& domain = *problem.domain;
  if (domain.cases.count >= std::numeric_limits<uint32_t>::max())
    return refuse(tv_status_size_too_large, "there are more cases than counts can index");
  const double bytes = bytes_of_columns(problem, domain.cases.count);
  if (domain.memory_limit && bytes > static_cast<double>(domain.memory_limit))
    return refuse(tv_status_no_memory,
                  "the columns of the cases need %.0f bytes, and the memory limit is %zu", bytes,
                  domain.memory_limit);
  const std::vector<uint32_t> rows = counted_rows(domain);
  if (!domain.cases.counts.empty()) {
    for (const uint32_t row : rows) columns.weights_.push_back(static_cast<double>(case_count(domain, row)));
    if (std::all_of(columns.weights_.begin(), columns.weights_.end(), [](double w) { return w == 1.0; }))
      columns.weights_.clear();
  }
  columns.take_rows(rows.size());
  columns.columns_.resize(problem.size());
  return run_pieces(problem.size(), problem.settings().threads, progress,
                    [&](size_t, size_t i) -> tv_status_t {
                      LearnedColumn& column = columns.columns_[i];
                      column.is_discrete = is_discrete(*problem.nodes[i]);
                      if (column.is_discrete) {
                        column.discrete = read_states(*problem.nodes[i], rows);
                      } else {
                        column.known.allocate(columns.words_);
                        read_values(*problem.nodes[i], rows, column);
                      }
                      columns.complete(column);
                      return tv_status_none;
                    });
}

}  // namespace tv

#include "analysis/simulation/row_tables.h"

#include <algorithm>

#include "analysis/simulation/wide_sum.h"
#include "api/memory.h"
#include "network/progress.h"

namespace tv {
namespace {

// Sums are kept for tables of up to so many numbers, until so many are kept in all.
constexpr size_t kKeptOfOne = size_t{1} << 16;
constexpr size_t kKeptInAll = size_t{1} << 22;
constexpr size_t kLongRow = 32;  // from which on it pays to halve the search

// The first state whose sum exceeds the threshold. One without probability has the sum of the state before it
// and is never the first.
size_t state_beyond(const double* sums, size_t count, double threshold) noexcept {
  if (count >= kLongRow)
    return std::min<size_t>(static_cast<size_t>(std::upper_bound(sums, sums + count, threshold) - sums),
                            count - 1);
  size_t state = 0;
  while (state + 1 < count && sums[state] <= threshold) ++state;
  return state;
}

}  // namespace

size_t RowTables::add(const Node& node, const std::vector<Given>& given,
                      const std::vector<RowFactor>& factors) {
  Record record;
  record.states = node.number_of_states;
  record.first_given = given_.size();
  record.given_count = given.size();
  record.first_factor = parts_.size();
  record.factor_count = factors.size();
  for (const Given& one : given) given_.push_back({one.node, one.states, 0});
  for (size_t g = given.size(); g-- > 0;) {
    given_[record.first_given + g].step = record.rows;
    record.rows = size_multiply(record.rows, given[g].states);
  }
  for (const RowFactor& factor : factors) {
    parts_.push_back(
        {factor.numbers, factor.message, factor.offset, factor.step_of(node.number - 1), steps_.size()});
    for (const Given& one : given) steps_.push_back(factor.step_of(one.node));
  }
  most_states_ = std::max(most_states_, record.states);
  most_factors_ = std::max(most_factors_, factors.size());
  most_given_ = std::max(most_given_, given.size());
  mantissas_.resize(most_states_);
  exponents_.resize(most_states_);
  row_.resize(most_states_);
  offsets_.resize(most_factors_ + most_given_);
  tables_.push_back(record);
  return tables_.size() - 1;
}

void RowTables::make_room() {
  size_t all = 0;
  for (Record& record : tables_) {
    const size_t size = size_multiply(record.rows, record.states);
    if (!keeps_sums_ || size > kKeptOfOne || all + size > kKeptInAll) continue;
    record.kept = all;
    all += size;
  }
  kept_.assign(all, 0.0);
}

WideProduct RowTables::weight(const Record& record, const size_t* offsets, size_t state) const noexcept {
  WideProduct product;
  for (size_t f = 0; f < record.factor_count; ++f) {
    const Part& part = parts_[record.first_factor + f];
    const size_t entry = offsets[f] + state * part.own_step;
    if (part.numbers)
      product.multiply(static_cast<double>(part.numbers[entry]));
    else
      product.multiply(part.message[entry]);
  }
  return product;
}

bool RowTables::sum_rows(size_t table, WideNumber* sums, ProgressMeter& progress) {
  const Record& record = tables_[table];
  const Term* const given = given_.data() + record.first_given;
  size_t* const offsets = offsets_.data();
  size_t* const digits = offsets + record.factor_count;
  for (size_t f = 0; f < record.factor_count; ++f) offsets[f] = parts_[record.first_factor + f].offset;
  std::fill_n(digits, record.given_count, 0);
  for (size_t row = 0; row < record.rows; ++row) {
    WideSum sum;
    for (size_t state = 0; state < record.states; ++state) sum.add(weight(record, offsets, state));
    sums[row] = sum.value();
    for (size_t g = record.given_count; g-- > 0;) {
      const bool wraps = ++digits[g] == given[g].states;
      for (size_t f = 0; f < record.factor_count; ++f) {
        const size_t step = steps_[parts_[record.first_factor + f].first_step + g];
        offsets[f] += wraps ? step - given[g].states * step : step;
      }
      if (!wraps) break;
      digits[g] = 0;
    }
    progress.look_in(record.states);
    if (progress.is_stopped()) return false;
  }
  return true;
}

void RowTables::fill_row(const Record& record, const size_t* offsets, double* sums) noexcept {
  int64_t greatest = INT64_MIN;
  for (size_t state = 0; state < record.states; ++state) {
    const WideProduct product = weight(record, offsets, state);
    mantissas_[state] = product.mantissa();
    exponents_[state] = product.exponent();
    if (product.mantissa() > 0.0) greatest = std::max(greatest, product.exponent());
  }
  double sum = 0.0;
  for (size_t state = 0; state < record.states; ++state) {
    if (mantissas_[state] > 0.0) sum += scaled_down(mantissas_[state], exponents_[state] - greatest);
    sums[state] = sum;
  }
}

size_t RowTables::draw(size_t table, const size_t* states, RandomGenerator& random) noexcept {
  const Record& record = tables_[table];
  if (record.states == 1) return 0;
  const Term* const given = given_.data() + record.first_given;
  double* sums = row_.data();
  bool is_made = false;
  if (record.kept != kNone) {
    size_t row = 0;
    for (size_t g = 0; g < record.given_count; ++g) row += states[given[g].node] * given[g].step;
    sums = kept_.data() + record.kept + row * record.states;
    is_made = sums[record.states - 1] > 0.0;
  }
  if (!is_made) {
    for (size_t f = 0; f < record.factor_count; ++f) {
      const Part& part = parts_[record.first_factor + f];
      size_t offset = part.offset;
      for (size_t g = 0; g < record.given_count; ++g)
        offset += states[given[g].node] * steps_[part.first_step + g];
      offsets_[f] = offset;
    }
    fill_row(record, offsets_.data(), sums);
  }
  return state_beyond(sums, record.states, random.uniform() * sums[record.states - 1]);
}

}  // namespace tv

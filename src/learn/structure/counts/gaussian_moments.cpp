// Moments are collected row by row; variances follow by a Cholesky factorisation.
#include "learn/structure/counts/gaussian_moments.h"

#include <algorithm>
#include <cmath>

namespace tv {
namespace {

// Of the variance of a node, below which it counts as determined by others.
constexpr double kLeastVariance = 1e-10;

}  // namespace

void Moments::add(double weight, const double* values) noexcept {
  double* sum = sums_.data();
  for (size_t i = 0; i <= nodes_; ++i) {
    const double left = weight * (i == 0 ? 1.0 : values[i - 1]);
    for (size_t j = 0; j <= i; ++j) *sum++ += left * (j == 0 ? 1.0 : values[j - 1]);
  }
}

void Moments::add(const Moments& other) noexcept {
  for (size_t i = 0; i < sums_.size(); ++i) sums_[i] += other.sums_[i];
}

bool Moments::conditional_variances(std::vector<double>& variances, double* gain) const {
  variances.assign(nodes_, 0.0);
  if (!(cases() > static_cast<double>(nodes_) + 1.0)) return false;
  std::vector<double> rows((nodes_ + 1) * (nodes_ + 1));
  const auto row = [&](size_t i) { return rows.data() + i * (nodes_ + 1); };
  const double* sum = sums_.data();
  for (size_t i = 0; i <= nodes_; ++i) {
    double own = 0.0;
    for (size_t j = 0; j <= i; ++j) {
      double value = *sum++ / cases();
      if (i == j) own = value;
      for (size_t k = 0; k < j; ++k) value -= row(i)[k] * row(j)[k];
      if (j < i) {
        row(i)[j] = value / row(j)[j];
        continue;
      }
      const double least = kLeastVariance * std::max(own, kLeastVariance);
      if (i > 0) variances[i - 1] = std::max(value, least);
      if (value < least && i < nodes_) return false;
      row(i)[i] = std::sqrt(std::max(value, least));
    }
  }
  if (gain) *gain = row(nodes_)[nodes_ - 1] * row(nodes_)[nodes_ - 1];
  return true;
}

const std::vector<Moments>& MomentCounter::count(std::span<const uint32_t> discrete,
                                                 std::span<const uint32_t> continuous) {
  size_t configurations = 0;
  const std::span<const uint32_t> numbers = counter_.number_configurations(discrete, configurations);
  numbers_.assign(numbers.begin(), numbers.end());
  moments_.assign(configurations, Moments(continuous.size()));
  values_.resize(continuous.size());
  for (size_t row = 0; row < columns_.rows(); ++row) {
    if (numbers_[row] == StateCounter::kNoConfiguration) continue;
    bool is_known = true;
    for (size_t i = 0; i < continuous.size(); ++i) {
      const CaseColumnValues& column = columns_[continuous[i]].continuous;
      is_known = is_known && columns_.is_known(continuous[i], row);
      values_[i] = (column.values[row] - column.mean) / (column.deviation > 0 ? column.deviation : 1.0);
    }
    if (is_known) moments_[numbers_[row]].add(columns_.weight(row), values_.data());
  }
  return moments_;
}

std::vector<uint32_t> MomentCounter::reduced_configurations(std::span<const uint32_t> discrete,
                                                            size_t& count) {
  const std::span<const uint32_t> reduced = counter_.number_configurations(discrete, count);
  std::vector<uint32_t> result(moments_.size(), 0);
  for (size_t row = 0; row < columns_.rows(); ++row)
    if (numbers_[row] != StateCounter::kNoConfiguration) result[numbers_[row]] = reduced[row];
  return result;
}

}  // namespace tv

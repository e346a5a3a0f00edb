// Densities, probabilities and quantiles of mixtures. Probabilities are taken from the nearer tail, so that
// small ones keep their digits.

#include "tables/mixture.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "api/boundary.h"
#include "network/node.h"
#include "tables/table_operations.h"

namespace tv {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kFarthest = 40.0;  // deviations beyond which no double has any probability

// The probability of more than `z` deviations above the mean.
double upper_tail(double z) noexcept { return 0.5 * std::erfc(z / std::numbers::sqrt2); }

double standardized(double value, double mean, double deviation) noexcept {
  if (deviation > 0.0) return (value - mean) / deviation;
  return value < mean ? -kInfinity : kInfinity;
}

}  // namespace

Mixture::Mixture(const Table& table, size_t node) noexcept
    : table_(table), mean_(cg_mean_index(node)), variance_(cg_covariance_index(node, node)) {
  for (float weight : table.data) total_ += static_cast<double>(weight);
}

Mixture::Component Mixture::component(size_t i) const noexcept {
  const double* block = table_.cg_data.data() + i * table_.cg_size;
  return {static_cast<double>(table_.data[i]) / total_, block[mean_], std::sqrt(block[variance_])};
}

template <class Measure>
double Mixture::sum(Measure measure) const noexcept {
  double result = 0.0;
  for (size_t i = 0; i < table_.size; ++i)
    if (table_.data[i] > 0.0f) {
      const Component one = component(i);
      result += one.weight * measure(one);
    }
  return result;
}

double Mixture::density(double value) const noexcept {
  return sum([value](const Component& one) {
    if (one.deviation == 0.0) return value == one.mean ? kInfinity : 0.0;
    const double z = (value - one.mean) / one.deviation;
    return std::exp(-0.5 * z * z) / (one.deviation * std::sqrt(2 * std::numbers::pi));
  });
}

double Mixture::probability_of_interval(double low, double high) const noexcept {
  return sum([=](const Component& one) {
    if (one.deviation == 0.0) return low <= one.mean && one.mean <= high ? 1.0 : 0.0;
    const double from = (low - one.mean) / one.deviation, to = (high - one.mean) / one.deviation;
    if (from > 0.0) return upper_tail(from) - upper_tail(to);
    if (to < 0.0) return upper_tail(-to) - upper_tail(-from);
    return 1.0 - upper_tail(-from) - upper_tail(to);
  });
}

double Mixture::quantile(double probability) const noexcept {
  double low = kInfinity, high = -kInfinity, spread = kInfinity;
  for (size_t i = 0; i < table_.size; ++i) {
    if (!(table_.data[i] > 0.0f)) continue;
    const Component one = component(i);
    low = std::min(low, one.mean - kFarthest * one.deviation);
    high = std::max(high, one.mean + kFarthest * one.deviation);
    spread = std::min(spread, one.deviation);
  }
  const auto reaches = [&](double value) {
    if (probability <= 0.5)
      return sum([&](const Component& one) {
               return upper_tail(-standardized(value, one.mean, one.deviation));
             }) >= probability;
    return sum([&](const Component& one) {
             return upper_tail(standardized(value, one.mean, one.deviation));
           }) <= 1.0 - probability;
  };
  constexpr double kPrecision = std::numeric_limits<double>::epsilon();
  while (high - low > kPrecision * std::max({std::fabs(low), std::fabs(high), spread})) {
    const double middle = low / 2 + high / 2;
    if (middle <= low || middle >= high) break;
    (reaches(middle) ? high : low) = middle;
  }
  return atom_between(low, high);
}

// A certain value within the remaining interval of the search, otherwise its upper end.
double Mixture::atom_between(double low, double high) const noexcept {
  for (size_t i = 0; i < table_.size; ++i)
    if (table_.data[i] > 0.0f) {
      const Component one = component(i);
      if (one.deviation == 0.0 && low <= one.mean && one.mean <= high) return one.mean;
    }
  return high;
}

namespace {

// The checks that both queries have in common; `answer` gets the mixture.
template <class Answer>
double ask_mixture(Table* table, const Node* node, bool arguments_are_valid, Answer answer) noexcept {
  return guarded(-1.0, [&]() -> double {
    if (!check(table && node && arguments_are_valid && is_continuous(*node) && table->nodes.contains(node) &&
               std::find(table->tail_marks.begin(), table->tail_marks.end(), 1) == table->tail_marks.end()))
      return -1;
    if (store_status(table->materialize ? table->materialize(*table) : tv_status_none) ||
        store_status(allocate_table_data(*table)))
      return -1;
    const Mixture mixture(*table, table->nodes.position(node) - table->discrete_count);
    if (!require(mixture.total() > 0.0, tv_status_normalization)) return -1;
    const double result = answer(mixture);
    return require(std::isfinite(result), tv_status_zero_variance) ? result : -1;
  });
}

}  // namespace
}  // namespace tv

double tv_table_compute_density(tv_table_t* table, tv_node_t* node, double value) {
  return tv::ask_mixture(table, node, std::isfinite(value),
                         [=](const tv::Mixture& mixture) { return mixture.density(value); });
}

double tv_table_compute_probability_of_interval(tv_table_t* table, tv_node_t* node, double low, double high) {
  return tv::ask_mixture(table, node, low <= high, [=](const tv::Mixture& mixture) {
    return mixture.probability_of_interval(low, high);
  });
}

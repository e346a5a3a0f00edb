// Counting complete families.
#include "learn/complete_cases.h"

#include <cmath>
#include <limits>

#include "network/cases.h"

namespace tv {
namespace {

size_t configuration_of(const Family& family, size_t row) noexcept {
  size_t configuration = 0;
  for (size_t i = 0; i < family.members.size(); ++i)
    configuration += case_state(*family.members[i], row) * family.strides[i];
  return configuration;
}

}  // namespace

bool family_is_complete(const Family& family, size_t row) noexcept {
  for (const Node* node : family.table->nodes)
    if (!case_is_set(*node, row)) return false;
  return true;
}

bool case_is_complete(const std::vector<Family>& families, size_t row) noexcept {
  for (const Family& family : families)
    if (!case_is_set(*family.node, row)) return false;
  return true;
}

void add_complete_family(const Family& family, size_t row, double weight, FamilyCounts& counts) {
  const size_t configuration = configuration_of(family, row);
  counts.numbers[configuration] += weight;
  if (is_discrete(*family.node)) return;
  const size_t count = family.table->continuous_count;
  double* moment = counts.moments.data() + configuration * moment_count(count);
  const auto entry = [&](size_t i) {
    return i == 0 ? 1.0 : counts.deviation(i - 1, case_value(*family.continuous(i - 1), row));
  };
  for (size_t i = 0; i <= count; ++i)
    for (size_t j = 0; j <= i; ++j) *moment++ += weight * entry(i) * entry(j);
}

double log_probability_of(const Family& family, size_t row) noexcept {
  const size_t configuration = configuration_of(family, row);
  const Table& table = *family.table;
  if (is_discrete(*family.node)) return std::log(static_cast<double>(table.data[configuration]));
  const double* const block = table.cg_data.data() + configuration * table.cg_size;
  double residual = case_value(*family.node, row) - block[cg_mean_index(0)];
  for (size_t i = 1; i < table.continuous_count; ++i)
    residual -= block[cg_covariance_index(i, 0)] * case_value(*family.continuous(i), row);
  const double variance = block[cg_covariance_index(0, 0)];
  if (!(variance > 0.0)) return residual == 0.0 ? 0.0 : -std::numeric_limits<double>::infinity();
  constexpr double kLogTwoPi = 1.8378770664093454836;
  return -0.5 * (kLogTwoPi + std::log(variance) + residual * residual / variance);
}

}  // namespace tv

// Checking and normalising the numbers of a table. Everything is checked before the first number is
// written, so that a refused table stays as the host left it.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "network/refusals.h"
#include "tables/kernels/number_bounds.h"
#include "tables/table_operations.h"

namespace tv {
namespace {

struct Distribution {
  tv_number_t* first;
  size_t count;
};

// Names the child of the table and the states of its parents for the distribution that begins at `start`.
tv_status_t refuse_distribution(const Table& table, size_t start, const char* what) noexcept {
  constexpr tv_status_t code = tv_status_invalid_probability_potential;
  if (table.discrete_count == 0) return store_status(code);
  const Node& child = *table.nodes[table.discrete_count - 1];
  char given[130] = "";
  size_t used = 0, configuration = start / child.number_of_states;
  size_t remaining = table.size / child.number_of_states;
  for (size_t i = 0; i + 1 < table.discrete_count && used < sizeof given; ++i) {
    const Node& parent = *table.nodes[i];
    remaining /= parent.number_of_states;
    char state[40];
    show_state(parent, configuration / remaining, state, sizeof state);
    configuration %= remaining;
    used += static_cast<size_t>(std::snprintf(given + used, sizeof given - used, "%s%s = %s",
                                              used ? ", " : "", shown_name(parent), state));
  }
  return refuse(code, "the distribution of \"%s\"%s%s %s", shown_name(child), *given ? " for " : "", given,
                what);
}

// The sum of a distribution, or -1.0 when one of its entries is negative, huge or not a number.
double sum_of_valid_entries(const Distribution& distribution) noexcept {
  double sum = 0.0;
  bool valid = true;
  for (size_t i = 0; i < distribution.count; ++i) {
    const double entry = static_cast<double>(distribution.first[i]);
    valid &= entry >= 0.0 && entry < kLargestFloat;
    sum += entry;
  }
  return valid ? sum : -1.0;
}

void divide(tv_number_t* first, size_t count, double divisor) noexcept {
  for (size_t i = 0; i < count; ++i)
    first[i] = static_cast<tv_number_t>(static_cast<double>(first[i]) / divisor);
}

// A fixed number of lanes, combined in a fixed order: the sum does not depend on how it is compiled.
double sum_of_entries(const Block<tv_number_t>& data) noexcept {
  double lanes[8] = {};
  const size_t whole = data.size() / 8 * 8;
  for (size_t i = 0; i < whole; i += 8)
    for (size_t lane = 0; lane < 8; ++lane) lanes[lane] += static_cast<double>(data[i + lane]);
  for (size_t i = whole; i < data.size(); ++i) lanes[i - whole] += static_cast<double>(data[i]);
  return ((lanes[0] + lanes[4]) + (lanes[2] + lanes[6])) + ((lanes[1] + lanes[5]) + (lanes[3] + lanes[7]));
}

size_t states_of_child(const Table& table) noexcept {
  return table.discrete_count ? table.nodes[table.discrete_count - 1]->number_of_states : 1;
}

// Finite numbers, and no negative variance.
bool has_valid_blocks(const Table& table) noexcept {
  for (double number : table.cg_data)
    if (!std::isfinite(number)) return false;
  for (size_t i = 0; i < table.continuous_count; ++i)
    for (size_t entry = cg_covariance_index(i, i); entry < table.cg_data.size(); entry += table.cg_size)
      if (table.cg_data[entry] < 0.0) return false;
  return true;
}

}  // namespace

tv_status_t check_conditional_probability_potential(const Table& table, bool strict) noexcept {
  if (table.continuous_count > 0) {  // the CG blocks describe densities that need no weights
    if (has_valid_blocks(table)) return tv_status_none;
    return refuse(tv_status_invalid_probability_potential,
                  "the distribution of \"%s\" has an infinite number or a negative variance",
                  shown_name(*table.nodes[table.discrete_count]));
  }
  const size_t count = states_of_child(table);
  for (size_t start = 0; start < table.size; start += count) {
    const double sum = sum_of_valid_entries({table.data.data() + start, count});
    if (!(sum >= 0.0 && sum < kLargestFloat))
      return refuse_distribution(table, start, "has a negative, infinite or undefined number");
    if (strict && sum == 0.0) return refuse_distribution(table, start, "sums to zero");
  }
  return tv_status_none;
}

tv_status_t validate_conditional_probability_potential(Table& table, bool strict) {
  if (tv_status_t status = allocate_table_data(table)) return status;
  if (tv_status_t status = check_conditional_probability_potential(table, strict)) return status;
  if (table.continuous_count > 0) {
    std::fill(table.data.begin(), table.data.end(), tv_number_t{1});
    return tv_status_none;
  }
  const size_t count = states_of_child(table);
  for (size_t start = 0; start < table.size; start += count) {
    tv_number_t* first = table.data.data() + start;
    const double sum = sum_of_valid_entries({first, count});
    if (sum == 0.0)
      std::fill_n(first, count, static_cast<tv_number_t>(1.0 / static_cast<double>(count)));
    else if (sum != 1.0)
      divide(first, count, sum);
  }
  return tv_status_none;
}

tv_status_t _tv_normalize_table(Table& table, Normalizer by) {
  const double constant = by == Normalizer::sum
                              ? sum_of_entries(table.data)
                              : static_cast<double>(*std::max_element(table.data.begin(), table.data.end()));
  if (!(constant >= 0.0)) return tv_status_none;
  if (constant < kSmallestNormalFloat) return store_status(tv_status_normalization);
  divide(table.data.data(), table.data.size(), constant);
  return tv_status_none;
}

}  // namespace tv

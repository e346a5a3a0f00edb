// Bounds for the numbers of a column, and intervals in the place of its numbers.

#include <algorithm>
#include <cmath>

#include "api/boundary.h"
#include "api/memory.h"
#include "data/bounds.h"
#include "data/numbers.h"

namespace tv {
namespace {

constexpr size_t kMostIntervals = 32768;  // as many states can be stored in cases

bool has_column(const DataSet* data, size_t column) noexcept {
  return data && column < data->number_of_columns();
}

tv_status_t refuse_texts(const DataColumn& column) noexcept {
  return refuse(tv_status_usage, "the items of column \"%s\" are not all numbers", column.name_text());
}

// Codes of items that are the same number share an entry.
struct SortedNumbers {
  std::vector<NumberCount> numbers;
  std::vector<size_t> index_of_code;
};

tv_status_t sort_numbers(const DataColumn& column, SortedNumbers& sorted) {
  const std::vector<size_t> counts = count_codes(column);
  std::vector<double> numbers;
  if (!read_numbers(column, counts, numbers)) return refuse_texts(column);
  std::vector<Code> codes;
  for (Code code = 1; code < counts.size(); ++code)
    if (counts[code] > 0) codes.push_back(code);
  std::sort(codes.begin(), codes.end(), [&](Code a, Code b) { return numbers[a] < numbers[b]; });
  sorted.index_of_code.resize(counts.size());
  for (const Code code : codes) {
    if (sorted.numbers.empty() || sorted.numbers.back().number < numbers[code])
      sorted.numbers.push_back({numbers[code], 0});
    sorted.numbers.back().count += counts[code];
    sorted.index_of_code[code] = sorted.numbers.size() - 1;
  }
  if (sorted.numbers.size() > 1) return tv_status_none;
  return refuse(tv_status_usage, "all items of column \"%s\" are the same number", column.name_text());
}

double* hand_over(const std::vector<double>& bounds, size_t& number_of_intervals) noexcept {
  double* const result = static_cast<double*>(_tv_allocate(size_multiply(bounds.size(), sizeof(double))));
  if (!result) return nullptr;
  std::copy(bounds.begin(), bounds.end(), result);
  number_of_intervals = bounds.size() - 1;
  return result;
}

using BoundsMethod = std::vector<double> (*)(const std::vector<NumberCount>& numbers, size_t intervals);

double* find_bounds(BoundsMethod method, const DataSet* data, size_t column, size_t intervals,
                    size_t* number_of_intervals) noexcept {
  return guarded<double*>(nullptr, [&]() -> double* {
    if (!check(has_column(data, column) && intervals > 0 && intervals <= kMostIntervals &&
               number_of_intervals))
      return nullptr;
    SortedNumbers sorted;
    if (sort_numbers(*data->columns[column], sorted)) return nullptr;
    return hand_over(method(sorted.numbers, intervals), *number_of_intervals);
  });
}

// How many rows have each number together with each class; rows that lack one of them do not count.
std::vector<ClassCount> count_classes(const DataColumn& column, const SortedNumbers& sorted,
                                      const DataColumn& classes) {
  std::vector<uint64_t> pairs;
  for (size_t row = 0; row < column.codes.size(); ++row) {
    const Code code = column.codes[row], class_code = classes.codes[row];
    if (code == kMissingCode || class_code == kMissingCode) continue;
    pairs.push_back(static_cast<uint64_t>(sorted.index_of_code[code]) << 32 | class_code);
  }
  std::sort(pairs.begin(), pairs.end());
  std::vector<ClassCount> counts;
  for (size_t i = 0; i < pairs.size(); ++i) {
    if (i == 0 || pairs[i] != pairs[i - 1])
      counts.push_back({pairs[i] >> 32, static_cast<Code>(pairs[i]), 0});
    ++counts.back().count;
  }
  return counts;
}

double* find_class_bounds(const DataColumn& column, const DataColumn& classes, size_t& number_of_intervals) {
  SortedNumbers sorted;
  if (sort_numbers(column, sorted)) return nullptr;
  const std::vector<ClassCount> counts = count_classes(column, sorted, classes);
  return hand_over(class_bounds(sorted.numbers, counts, classes.items.size()), number_of_intervals);
}

// ---- Intervals in the place of numbers ----

bool are_bounds(const double* bounds, size_t intervals) noexcept {
  for (size_t i = 0; i < intervals; ++i)
    if (!(bounds[i] < bounds[i + 1])) return false;
  return std::all_of(bounds + 1, bounds + intervals, [](double bound) { return std::isfinite(bound); });
}

// What lies outside belongs to the interval that is next to it.
size_t interval_of(double number, const double* bounds, size_t intervals) noexcept {
  return static_cast<size_t>(std::upper_bound(bounds + 1, bounds + intervals, number) - (bounds + 1));
}

bool are_labels(const char* const* labels, size_t intervals) noexcept {
  return !labels || std::all_of(labels, labels + intervals,
                                [](const char* label) { return label && is_item_text(label); });
}

tv_status_t discretize(DataColumn& column, const double* bounds, size_t intervals,
                       const char* const* labels) {
  const std::vector<size_t> counts = count_codes(column);
  std::vector<double> numbers;
  const bool has_items = counts[kMissingCode] < column.codes.size();
  if (has_items && !read_numbers(column, counts, numbers)) return refuse_texts(column);
  std::vector<Code> interval_codes(intervals, kMissingCode), codes(counts.size(), kMissingCode);
  for (Code code = 1; code < counts.size(); ++code)
    if (counts[code] > 0) interval_codes[interval_of(numbers[code], bounds, intervals)] = 1;
  ItemTable items(column.name.get_allocator().budget());
  for (size_t i = 0; i < intervals; ++i)  // the codes are in the order of the intervals
    if (interval_codes[i]) interval_codes[i] = items.code_of(labels ? labels[i] : std::to_string(i));
  for (Code code = 1; code < counts.size(); ++code)
    if (counts[code] > 0) codes[code] = interval_codes[interval_of(numbers[code], bounds, intervals)];
  items.seal();
  column.codes.recode(codes.data());
  column.items.swap(items);
  return tv_status_none;
}

}  // namespace
}  // namespace tv

double* tv_data_set_get_equal_width_bounds(const tv_data_set_t* data, size_t column, size_t intervals,
                                           size_t* number_of_intervals) {
  return tv::find_bounds(tv::equal_width_bounds, data, column, intervals, number_of_intervals);
}

double* tv_data_set_get_equal_frequency_bounds(const tv_data_set_t* data, size_t column, size_t intervals,
                                               size_t* number_of_intervals) {
  return tv::find_bounds(tv::equal_frequency_bounds, data, column, intervals, number_of_intervals);
}

double* tv_data_set_get_k_means_bounds(const tv_data_set_t* data, size_t column, size_t intervals,
                                       size_t* number_of_intervals) {
  return tv::find_bounds(tv::k_means_bounds, data, column, intervals, number_of_intervals);
}

double* tv_data_set_get_class_bounds(const tv_data_set_t* data, size_t column, size_t class_column,
                                     size_t* number_of_intervals) {
  return tv::guarded<double*>(nullptr, [&]() -> double* {
    if (!tv::check(tv::has_column(data, column) && tv::has_column(data, class_column) && number_of_intervals))
      return nullptr;
    return tv::find_class_bounds(*data->columns[column], *data->columns[class_column], *number_of_intervals);
  });
}

tv_status_t tv_data_set_discretize(tv_data_set_t* data, size_t column, const double* bounds,
                                   size_t number_of_intervals, const char* const* labels) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(tv::has_column(data, column) && bounds && number_of_intervals > 0 &&
                   number_of_intervals <= tv::kMostIntervals && tv::are_labels(labels, number_of_intervals)))
      return tv_status_usage;
    if (!tv::require(tv::are_bounds(bounds, number_of_intervals), tv_status_invalid_state_values))
      return tv_status_invalid_state_values;
    return tv::discretize(*data->columns[column], bounds, number_of_intervals, labels);
  });
}

// What a column holds, in numbers: counts, and of numbers their range, mean and spread.

#include <algorithm>
#include <cmath>
#include <numeric>

#include "api/boundary.h"
#include "data/numbers.h"

struct tv_column_summary_s {
  size_t rows = 0, missing = 0;
  struct Item {
    const char* text;
    size_t count;
  };
  std::vector<Item> items;  // the most frequent first
  bool is_numeric = false;
  double least = 0, greatest = 0, mean = 0, deviation = 0;
};

namespace tv {
namespace {

using Summary = tv_column_summary_s;

// Means are formed of shares and differences, so that large numbers do not overflow in sums.
void summarize_numbers(const std::vector<size_t>& counts, const std::vector<double>& numbers,
                       Summary& summary) noexcept {
  const double total = static_cast<double>(summary.rows - summary.missing);
  const auto sum = [&](auto term) {
    double result = 0;
    for (Code code = 1; code < counts.size(); ++code)
      if (counts[code] > 0) result += term(numbers[code], static_cast<double>(counts[code]));
    return result;
  };
  summary.mean = sum([&](double number, double count) { return number * (count / total); });
  const double squares = sum([&](double number, double count) {
    const double difference = number - summary.mean;
    return difference * difference * count;
  });
  summary.deviation = total > 1 ? std::sqrt(squares / (total - 1)) : 0;
  summary.least = HUGE_VAL;
  summary.greatest = -HUGE_VAL;
  for (Code code = 1; code < counts.size(); ++code) {
    if (counts[code] == 0) continue;
    summary.least = std::min(summary.least, numbers[code]);
    summary.greatest = std::max(summary.greatest, numbers[code]);
  }
}

std::unique_ptr<Summary> summarize(const DataColumn& column) {
  auto summary = std::make_unique<Summary>();
  const std::vector<size_t> counts = count_codes(column);
  summary->rows = column.codes.size();
  summary->missing = counts[kMissingCode];
  for (Code code = 1; code < counts.size(); ++code)
    if (counts[code] > 0) summary->items.push_back({column.items.text(code), counts[code]});
  std::sort(summary->items.begin(), summary->items.end(), [](const Summary::Item& a, const Summary::Item& b) {
    return a.count != b.count ? a.count > b.count : std::string_view(a.text) < b.text;
  });
  std::vector<double> numbers;
  summary->is_numeric = read_numbers(column, counts, numbers);
  if (summary->is_numeric) summarize_numbers(counts, numbers, *summary);
  return summary;
}

double number_of(const Summary* summary, double Summary::*number) noexcept {
  if (!check(summary) || !require(summary->is_numeric, tv_status_no_value)) return -1;
  return summary->*number;
}

}  // namespace
}  // namespace tv

tv_column_summary_t* tv_data_set_describe_column(const tv_data_set_t* data, size_t column) {
  return tv::guarded<tv_column_summary_t*>(nullptr, [&]() -> tv_column_summary_t* {
    if (!tv::check(data && column < data->number_of_columns())) return nullptr;
    return tv::summarize(*data->columns[column]).release();
  });
}

tv_status_t tv_column_summary_delete(tv_column_summary_t* summary) {
  if (!tv::check(summary)) return tv_status_usage;
  const std::unique_ptr<tv::Summary> owner(summary);
  return tv_status_none;
}

size_t tv_column_summary_get_number_of_items(const tv_column_summary_t* summary) {
  return tv::check(summary) ? summary->rows - summary->missing : tv::kNone;
}

size_t tv_column_summary_get_number_of_missing_items(const tv_column_summary_t* summary) {
  return tv::check(summary) ? summary->missing : tv::kNone;
}

size_t tv_column_summary_get_number_of_distinct_items(const tv_column_summary_t* summary) {
  return tv::check(summary) ? summary->items.size() : tv::kNone;
}

const char* tv_column_summary_get_item(const tv_column_summary_t* summary, size_t index) {
  return tv::check(summary && index < summary->items.size()) ? summary->items[index].text : nullptr;
}

size_t tv_column_summary_get_item_count(const tv_column_summary_t* summary, size_t index) {
  return tv::check(summary && index < summary->items.size()) ? summary->items[index].count : tv::kNone;
}

int tv_column_summary_is_numeric(const tv_column_summary_t* summary) {
  return tv::check(summary) ? summary->is_numeric : -1;
}

double tv_column_summary_get_least(const tv_column_summary_t* summary) {
  return tv::number_of(summary, &tv::Summary::least);
}

double tv_column_summary_get_greatest(const tv_column_summary_t* summary) {
  return tv::number_of(summary, &tv::Summary::greatest);
}

double tv_column_summary_get_mean(const tv_column_summary_t* summary) {
  return tv::number_of(summary, &tv::Summary::mean);
}

double tv_column_summary_get_standard_deviation(const tv_column_summary_t* summary) {
  return tv::number_of(summary, &tv::Summary::deviation);
}

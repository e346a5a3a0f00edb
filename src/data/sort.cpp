// Sorting rows. The distinct items of a column are few and are compared once; rows are then distributed by
// the ranks of their items, which keeps rows of one rank in their order: so the last column goes first.

#include <algorithm>
#include <numeric>

#include "api/boundary.h"
#include "data/numbers.h"

namespace tv {
namespace {

// By code: equal items have equal ranks, and missing ones the last.
std::vector<size_t> item_ranks(const DataColumn& column, bool descending) {
  const std::vector<size_t> counts = count_codes(column);
  std::vector<double> numbers;
  const bool is_numeric = read_numbers(column, counts, numbers);
  std::vector<Code> codes(column.items.size());
  std::iota(codes.begin(), codes.end(), Code{1});
  std::erase_if(codes, [&](Code code) { return counts[code] == 0; });
  const auto is_before = [&](Code a, Code b) {
    if (is_numeric) return numbers[a] < numbers[b];
    return std::string_view(column.items.text(a)) < column.items.text(b);
  };
  std::sort(codes.begin(), codes.end(), is_before);
  if (descending) std::reverse(codes.begin(), codes.end());
  std::vector<size_t> ranks(counts.size());
  size_t rank = 0;
  for (size_t i = 0; i < codes.size(); ++i) {
    if (i > 0 && (is_before(codes[i - 1], codes[i]) || is_before(codes[i], codes[i - 1]))) ++rank;
    ranks[codes[i]] = rank;
  }
  ranks[kMissingCode] = rank + 1;
  return ranks;
}

// Stable, by the ranks of one column.
void distribute(const DataColumn& column, const std::vector<size_t>& ranks, std::vector<size_t>& order,
                std::vector<size_t>& next_order) {
  std::vector<size_t> next(ranks[kMissingCode] + 2);  // where the next row of each rank goes
  column.codes.visit([&](const auto* codes) {
    for (const size_t row : order) ++next[ranks[codes[row]] + 1];
    std::partial_sum(next.begin(), next.end(), next.begin());
    for (const size_t row : order) next_order[next[ranks[codes[row]]]++] = row;
  });
  order.swap(next_order);
}

tv_status_t sort_rows(DataSet& data, const size_t* columns, const int* descending, size_t count) {
  const size_t rows = data.number_of_rows();
  std::vector<size_t> order(rows), next_order(rows);
  std::iota(order.begin(), order.end(), size_t{0});
  for (size_t i = count; i-- > 0;) {
    const DataColumn& column = *data.columns[columns[i]];
    distribute(column, item_ranks(column, descending && descending[i]), order, next_order);
  }
  // From here on nothing can fail: the other order is room enough for any codes.
  for (const auto& column : data.columns) column->codes.reorder(order.data(), next_order.data());
  return tv_status_none;
}

bool are_columns(const DataSet& data, const size_t* columns, size_t count) noexcept {
  return std::all_of(columns, columns + count,
                     [&](size_t column) { return column < data.number_of_columns(); });
}

}  // namespace
}  // namespace tv

tv_status_t tv_data_set_sort(tv_data_set_t* data, const size_t* columns, const int* descending,
                             size_t count) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(data && columns && tv::are_columns(*data, columns, count))) return tv_status_usage;
    return tv::sort_rows(*data, columns, descending, count);
  });
}

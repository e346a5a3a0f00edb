#include "data/numbers.h"

#include "text/lexer.h"

namespace tv {

bool read_item_number(std::string_view item, double& number) noexcept {
  constexpr std::string_view blanks = " \t";
  const size_t first = item.find_first_not_of(blanks);
  if (first == item.npos) return false;
  item = item.substr(first, item.find_last_not_of(blanks) - first + 1);
  const char* cursor = item.data();
  const char* const end = cursor + item.size();
  return scan_decimal(cursor, end, number) == Scan::number && cursor == end;
}

std::vector<size_t> count_codes(const DataColumn& column) {
  std::vector<size_t> counts(column.items.size() + size_t{1});
  column.codes.visit([&](const auto* codes) {
    for (size_t row = 0; row < column.codes.size(); ++row) ++counts[codes[row]];
  });
  return counts;
}

bool read_numbers(const DataColumn& column, const std::vector<size_t>& counts, std::vector<double>& numbers) {
  numbers.assign(counts.size(), 0);
  bool has_any = false;
  for (Code code = 1; code < counts.size(); ++code) {
    if (counts[code] == 0) continue;
    if (!read_item_number(column.items.text(code), numbers[code])) return false;
    has_any = true;
  }
  return has_any;
}

}  // namespace tv

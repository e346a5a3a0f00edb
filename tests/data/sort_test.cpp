// Sorting against std::stable_sort, and descriptions against plain loops.

#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>

#include "data/numbers.h"
#include "data_world.h"
#include "support/builders.h"

namespace test {
namespace {

std::optional<double> number_in(const std::string& text) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

Sheet random_sheet(Generator& random, size_t most_rows) {
  Sheet sheet;
  const size_t columns = 1 + random.below(4), rows = random.below(most_rows);
  std::vector<int> kinds;
  for (size_t i = 0; i < columns; ++i) {
    sheet.names.push_back(std::to_string(i));
    kinds.push_back(static_cast<int>(random.below(4)));
  }
  for (size_t row = 0; row < rows; ++row) {
    sheet.rows.emplace_back();
    for (const int kind : kinds) {
      const std::string digit = std::to_string(random.below(12));
      Item item;
      if (kind == 0) item = digit + (random.chance(0.3) ? ".0" : "");
      if (kind == 1) item = "\xC3" + std::string(1, static_cast<char>(0x80 + random.below(3))) + digit;
      if (kind == 2) item = (random.chance(0.5) ? "-" : "") + digit + "e" + std::to_string(random.below(3));
      if (kind == 3) item = random.chance(0.1) ? "x" : std::string(random.below(2), 'a') + digit;
      if (random.chance(0.15)) item.reset();
      sheet.rows.back().push_back(item);
    }
  }
  return sheet;
}

bool is_numeric(const Sheet& sheet, size_t column) {
  bool has_any = false;
  for (const Row& row : sheet.rows) {
    if (row[column] && !number_in(*row[column])) return false;
    has_any |= row[column].has_value();
  }
  return has_any;
}

// -1, 0 or 1; missing items last.
int compare(const Item& a, const Item& b, bool numeric, bool descending) {
  if (!a || !b) return int{b.has_value()} - int{a.has_value()};
  const double x = numeric ? *number_in(*a) : 0, y = numeric ? *number_in(*b) : 0;
  const int order = numeric ? (x > y) - (x < y) : (*a > *b) - (*a < *b);
  return descending ? -order : order;
}

TEST(Sort, AgreesWithAStableSort) {
  for (uint64_t seed = 0; seed < 200; ++seed) {
    Generator random(seed);
    Sheet sheet = random_sheet(random, seed % 20 == 0 ? 3000 : 40);
    const DataSetOwner data = data_set_of(sheet);
    if (!sheet.rows.empty()) {  // an item that is in no row any more decides nothing
      tv_data_set_set_item(data.get(), 0, 0, "no number");
      tv_data_set_set_item(data.get(), 0, 0, sheet.rows[0][0] ? sheet.rows[0][0]->c_str() : nullptr);
    }
    std::vector<size_t> columns;
    std::vector<int> descending;
    for (size_t left = random.below(4); left > 0; --left) {
      columns.push_back(random.below(sheet.names.size()));
      descending.push_back(random.chance(0.5) ? 7 : 0);
    }
    const bool all_up = random.chance(0.2);
    ASSERT_EQ(tv_data_set_sort(data.get(), columns.data() ? columns.data() : &seed,
                               all_up ? nullptr : descending.data(), columns.size()),
              tv_status_none);
    std::vector<char> numeric;
    for (size_t i = 0; i < sheet.names.size(); ++i) numeric.push_back(is_numeric(sheet, i));
    std::stable_sort(sheet.rows.begin(), sheet.rows.end(), [&](const Row& a, const Row& b) {
      for (size_t k = 0; k < columns.size(); ++k) {
        const size_t i = columns[k];
        const int order = compare(a[i], b[i], numeric[i], !all_up && descending[k]);
        if (order != 0) return order < 0;
      }
      return false;
    });
    ASSERT_EQ(sheet_of(data.get()), sheet) << "seed " << seed;
  }
}

struct DeleteSummary {
  void operator()(tv_column_summary_t* summary) const { tv_column_summary_delete(summary); }
};
using SummaryOwner = std::unique_ptr<tv_column_summary_t, DeleteSummary>;

TEST(Describe, CountsWhatIsThere) {
  for (uint64_t seed = 0; seed < 100; ++seed) {
    Generator random(seed);
    const Sheet sheet = random_sheet(random, 60);
    const DataSetOwner data = data_set_of(sheet);
    for (size_t i = 0; i < sheet.names.size(); ++i) {
      const SummaryOwner owner(tv_data_set_describe_column(data.get(), i));
      tv_column_summary_t* const summary = owner.get();
      std::map<std::string, size_t> counts;
      size_t items = 0;
      double sum = 0, squares = 0, least = HUGE_VAL, greatest = -HUGE_VAL;
      for (const Row& row : sheet.rows) {
        if (!row[i]) continue;
        ++items;
        ++counts[*row[i]];
      }
      ASSERT_EQ(tv_column_summary_get_number_of_items(summary), items);
      ASSERT_EQ(tv_column_summary_get_number_of_missing_items(summary), sheet.rows.size() - items);
      ASSERT_EQ(tv_column_summary_get_number_of_distinct_items(summary), counts.size());
      for (size_t k = 0; k < counts.size(); ++k) {
        const std::string item = tv_column_summary_get_item(summary, k);
        const size_t count = tv_column_summary_get_item_count(summary, k);
        ASSERT_EQ(counts[item], count);
        if (k == 0) continue;
        const size_t before = tv_column_summary_get_item_count(summary, k - 1);
        ASSERT_TRUE(before > count || (before == count && tv_column_summary_get_item(summary, k - 1) < item));
      }
      EXPECT_EQ(tv_column_summary_get_item(summary, counts.size()), nullptr);
      ASSERT_EQ(tv_column_summary_is_numeric(summary), is_numeric(sheet, i));
      if (!is_numeric(sheet, i)) {
        EXPECT_EQ(tv_column_summary_get_mean(summary), -1);
        EXPECT_EQ(tv_error_code(), tv_status_no_value);
        continue;
      }
      for (const Row& row : sheet.rows) {
        if (!row[i]) continue;
        const double number = *number_in(*row[i]);
        sum += number;
        squares += number * number;
        least = std::min(least, number);
        greatest = std::max(greatest, number);
      }
      const double n = static_cast<double>(items), mean = sum / n;
      const double variance = items > 1 ? (squares - n * mean * mean) / (n - 1) : 0;
      EXPECT_NEAR(tv_column_summary_get_mean(summary), mean, 1e-9);
      EXPECT_NEAR(tv_column_summary_get_standard_deviation(summary), std::sqrt(std::max(variance, 0.0)),
                  1e-4);
      EXPECT_EQ(tv_column_summary_get_least(summary), least);
      EXPECT_EQ(tv_column_summary_get_greatest(summary), greatest);
    }
  }
}

TEST(Describe, KnowsNumbers) {
  const auto number = [](const char* text) {
    double result = 0;
    return tv::read_item_number(text, result) ? std::optional(result) : std::nullopt;
  };
  EXPECT_EQ(number(" \t-1.5e1 "), -15);
  EXPECT_EQ(number("+.5"), 0.5);
  EXPECT_EQ(number("7."), 7);
  EXPECT_EQ(number("1e-999"), 0);
  for (const char* other : {"", " ", "1 2", "1,5", "0x10", "nan", "inf", "1e", "1e999", "--1", "1-", "."})
    EXPECT_EQ(number(other), std::nullopt) << other;
}

TEST(Describe, DoesNotOverflow) {
  const DataSetOwner data = data_set_of({{"a"}, {{"1.5e308"}, {"1.5e308"}, {"1.2e308"}, {}}});
  const SummaryOwner summary(tv_data_set_describe_column(data.get(), 0));
  EXPECT_NEAR(tv_column_summary_get_mean(summary.get()) / 1.4e308, 1, 1e-12);
}

}  // namespace
}  // namespace test

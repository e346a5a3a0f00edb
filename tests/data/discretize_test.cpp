// Bounds against definitions taken literally: every way to part the numbers, every cut.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <numeric>

#include "data/bounds.h"
#include "data_world.h"
#include "support/builders.h"

namespace test {
namespace {

using Bounds = std::vector<double>;

Bounds taken(double* bounds, size_t intervals) {
  if (!bounds) return {};
  const Bounds result(bounds, bounds + intervals + 1);
  std::free(bounds);
  return result;
}
template <class Method>
Bounds bounds_of(Method method, const tv_data_set_t* data, size_t column, size_t wanted) {
  size_t intervals = 0;
  double* const bounds = method(data, column, wanted, &intervals);
  return taken(bounds, intervals);
}

DataSetOwner column_of(const std::vector<Item>& items) {
  Sheet sheet{{"x"}, {}};
  for (const Item& item : items) sheet.rows.push_back({item});
  return data_set_of(sheet);
}

TEST(Bounds, PartTheRangeAndTheRows) {
  const DataSetOwner data = column_of({"0", "10", "1", {}, "1.0", "2", "3", "4"});
  EXPECT_EQ(bounds_of(tv_data_set_get_equal_width_bounds, data.get(), 0, 4), (Bounds{0, 2.5, 5, 7.5, 10}));
  EXPECT_EQ(bounds_of(tv_data_set_get_equal_width_bounds, data.get(), 0, 1), (Bounds{0, 10}));
  // Rows: 0, twice 1, 2, 3, 4, 10. Half of seven is closest to three below 2.
  EXPECT_EQ(bounds_of(tv_data_set_get_equal_frequency_bounds, data.get(), 0, 2), (Bounds{0, 1.5, 10}));
  EXPECT_EQ(bounds_of(tv_data_set_get_equal_frequency_bounds, data.get(), 0, 3), (Bounds{0, 1.5, 3.5, 10}));
  EXPECT_EQ(bounds_of(tv_data_set_get_equal_frequency_bounds, data.get(), 0, 100),
            (Bounds{0, 0.5, 1.5, 2.5, 3.5, 7, 10}))
      << "no interval is empty";
  EXPECT_EQ(bounds_of(tv_data_set_get_k_means_bounds, data.get(), 0, 100),
            (Bounds{0, 0.5, 1.5, 2.5, 3.5, 7, 10}));
}

TEST(Bounds, AreRefusedWithoutARange) {
  const auto expect_refused = [](const std::vector<Item>& items, const char* message) {
    const DataSetOwner data = column_of(items);
    EXPECT_TRUE(bounds_of(tv_data_set_get_equal_width_bounds, data.get(), 0, 2).empty());
    EXPECT_EQ(tv_error_code(), tv_status_usage);
    EXPECT_STREQ(tv_error_message(), message);
    size_t intervals = 0;
    EXPECT_EQ(tv_data_set_get_class_bounds(data.get(), 0, 0, &intervals), nullptr);
  };
  expect_refused({"1", "x"}, "the items of column \"x\" are not all numbers");
  expect_refused({{}, {}}, "the items of column \"x\" are not all numbers");
  expect_refused({"1", "1.0", {}}, "all items of column \"x\" are the same number");
  const DataSetOwner data = column_of({"1", "2"});
  for (const size_t wanted : {size_t{0}, size_t{32769}})
    EXPECT_TRUE(bounds_of(tv_data_set_get_equal_width_bounds, data.get(), 0, wanted).empty());
}

TEST(Bounds, StayBetweenNeighbours) {
  for (const auto& [lower, upper] : std::vector<std::pair<double, double>>{
           {1, std::nextafter(1, 2)}, {-1.7e308, 1.7e308}, {1.5e308, 1.7e308}, {0, 5e-324}, {-5e-324, 0}}) {
    const double cut = tv::cut_between(lower, upper);
    EXPECT_TRUE(cut > lower && cut <= upper) << lower << " " << upper << " " << cut;
    const std::vector<tv::NumberCount> numbers = {{lower, 1}, {upper, 1}};
    for (const auto method : {tv::equal_width_bounds, tv::equal_frequency_bounds, tv::k_means_bounds}) {
      const Bounds bounds = method(numbers, 5);
      for (size_t i = 0; i + 2 < bounds.size(); ++i) EXPECT_LT(bounds[i], bounds[i + 1]);
      EXPECT_EQ(bounds.front(), lower);
      EXPECT_EQ(bounds.back(), upper);
    }
  }
}

std::vector<tv::NumberCount> random_numbers(Generator& random, size_t most) {
  std::map<double, size_t> counts;
  const double scale = random.chance(0.2) ? 1e9 : 1;
  for (size_t left = 2 + random.below(most); left > 0; --left)
    ++counts[static_cast<double>(random.below(40)) * 0.25 + (random.chance(0.3) ? 20 * scale : 0)];
  counts[-1] = 1 + random.below(3);
  counts[50 * scale] = 1;
  std::vector<tv::NumberCount> numbers;
  for (const auto& [number, count] : counts) numbers.push_back({number, count});
  return numbers;
}

double cost_of_part(const std::vector<tv::NumberCount>& numbers, size_t from, size_t to) {
  double rows = 0, sum = 0, squares = 0;
  for (size_t i = from; i < to; ++i) {
    rows += static_cast<double>(numbers[i].count);
    sum += numbers[i].number * static_cast<double>(numbers[i].count);
  }
  for (size_t i = from; i < to; ++i)
    squares += std::pow(numbers[i].number - sum / rows, 2) * static_cast<double>(numbers[i].count);
  return squares;
}

// Of all ways to part what is left from `from` on into `parts`.
double least_cost(const std::vector<tv::NumberCount>& numbers, size_t from, size_t parts) {
  if (parts == 1) return cost_of_part(numbers, from, numbers.size());
  double least = HUGE_VAL;
  for (size_t to = from + 1; to + parts - 1 <= numbers.size(); ++to)
    least = std::min(least, cost_of_part(numbers, from, to) + least_cost(numbers, to, parts - 1));
  return least;
}

TEST(Bounds, OfKMeansAreTheBestOfAll) {
  for (uint64_t seed = 0; seed < 300; ++seed) {
    Generator random(seed);
    const std::vector<tv::NumberCount> numbers = random_numbers(random, 14);
    const size_t parts = 1 + random.below(std::min<size_t>(numbers.size(), 6));
    const Bounds bounds = tv::k_means_bounds(numbers, parts);
    ASSERT_EQ(bounds.size(), parts + 1);
    double cost = 0;
    size_t from = 0;
    for (size_t i = 1; i <= parts; ++i) {
      size_t to = from;
      while (to < numbers.size() && (i == parts || numbers[to].number < bounds[i])) ++to;
      ASSERT_GT(to, from) << "no interval is empty";
      cost += cost_of_part(numbers, from, to);
      from = to;
    }
    const double least = least_cost(numbers, 0, parts);
    ASSERT_LE(cost, least * (1 + 1e-9) + 1e-9) << "seed " << seed;
  }
}

// ---- Minimum description length, one row at a time ----

using Labelled = std::vector<std::pair<double, int>>;  // sorted

double entropy(const Labelled& rows, size_t& classes) {
  std::map<int, double> counts;
  for (const auto& row : rows) ++counts[row.second];
  classes = counts.size();
  double bits = 0;
  for (const auto& [name, count] : counts) {
    const double share = count / static_cast<double>(rows.size());
    bits -= share * std::log2(share);
  }
  return bits;
}

void cut_naively(const Labelled& rows, std::vector<double>& cuts) {
  size_t classes = 0, least_low = 0, least_high = 0, best = 0;
  const double n = static_cast<double>(rows.size()), whole = entropy(rows, classes);
  double least = HUGE_VAL, low_bits = 0, high_bits = 0;
  for (size_t i = 1; i < rows.size(); ++i) {
    if (rows[i].first == rows[i - 1].first) continue;
    const Labelled low(rows.begin(), rows.begin() + i), high(rows.begin() + i, rows.end());
    size_t low_classes = 0, high_classes = 0;
    const double a = entropy(low, low_classes), b = entropy(high, high_classes);
    const double bits = (static_cast<double>(i) * a + (n - static_cast<double>(i)) * b) / n;
    if (bits >= least - 1e-12) continue;
    least = bits;
    best = i;
    low_bits = a, high_bits = b, least_low = low_classes, least_high = high_classes;
  }
  if (best == 0 || classes < 2) return;
  const double k = static_cast<double>(classes);
  const double delta =
      std::log2(std::pow(3, k) - 2) -
      (k * whole - static_cast<double>(least_low) * low_bits - static_cast<double>(least_high) * high_bits);
  if (whole - least <= (std::log2(n - 1) + delta) / n) return;
  cuts.push_back(rows[best - 1].first / 2 + rows[best].first / 2);
  cut_naively(Labelled(rows.begin(), rows.begin() + best), cuts);
  cut_naively(Labelled(rows.begin() + best, rows.end()), cuts);
}

TEST(Bounds, OfClassesAreThoseOfTheDefinition) {
  size_t cut_often = 0;
  for (uint64_t seed = 0; seed < 150; ++seed) {
    Generator random(seed);
    Sheet sheet{{"x", "class"}, {}};
    Labelled rows;
    const size_t classes = 2 + random.below(4), period = 3 + random.below(20);
    const double noise = random.uniform() * 0.6;
    for (size_t left = 5 + random.below(200); left > 0; --left) {
      const size_t number = random.below(60);
      const size_t class_index = random.chance(noise) ? random.below(classes) : number / period % classes;
      Row row = {std::to_string(number), "class " + std::to_string(class_index)};
      const bool is_whole = random.chance(0.9);
      if (!is_whole) row[random.below(2)].reset();
      sheet.rows.push_back(row);
      if (is_whole) rows.emplace_back(static_cast<double>(number), static_cast<int>(class_index));
    }
    sheet.rows.push_back({"-5", {}});
    sheet.rows.push_back({"99", {}});
    std::sort(rows.begin(), rows.end());
    std::vector<double> cuts;
    cut_naively(rows, cuts);
    std::sort(cuts.begin(), cuts.end());
    cut_often += cuts.size() > 1;
    cuts.insert(cuts.begin(), -5);
    cuts.push_back(99);
    const DataSetOwner data = data_set_of(sheet);
    size_t intervals = 0;
    double* const bounds = tv_data_set_get_class_bounds(data.get(), 0, 1, &intervals);
    ASSERT_EQ(taken(bounds, intervals), cuts) << "seed " << seed;
  }
  EXPECT_GT(cut_often, 50u);
}

// ---- Intervals in the place of numbers ----

TEST(Discretize, PutsEachNumberIntoItsInterval) {
  const std::vector<Item> items = {"-7", "0", "0.999", "1", "1.5", {}, "2", "99", " 1.0"};
  const Bounds bounds = {0, 1, 2};
  const DataSetOwner data = column_of(items);
  ASSERT_EQ(tv_data_set_discretize(data.get(), 0, bounds.data(), 2, nullptr), tv_status_none);
  EXPECT_EQ(sheet_of(data.get()).rows,
            (std::vector<Row>{{"0"}, {"0"}, {"0"}, {"1"}, {"1"}, {{}}, {"1"}, {"1"}, {"1"}}))
      << "what is outside goes next to where it is";
  const char* const labels[] = {"low", "high"};
  const DataSetOwner again = column_of(items);
  const Bounds infinite = {-HUGE_VAL, 1.5, HUGE_VAL};
  ASSERT_EQ(tv_data_set_discretize(again.get(), 0, infinite.data(), 2, labels), tv_status_none);
  EXPECT_EQ(
      sheet_of(again.get()).rows,
      (std::vector<Row>{{"low"}, {"low"}, {"low"}, {"low"}, {"high"}, {{}}, {"high"}, {"high"}, {"low"}}));
  EXPECT_EQ(tv_data_set_discretize(again.get(), 0, infinite.data(), 2, labels), tv_status_usage)
      << "there are no numbers any more";
}

TEST(Discretize, RefusesWhatAreNoBounds) {
  const DataSetOwner owner = column_of({"1", "2"});
  tv_data_set_t* const data = owner.get();
  for (const Bounds& bounds : {Bounds{0, 0, 1}, Bounds{2, 1, 3}, Bounds{0, NAN, 1},
                               Bounds{0, HUGE_VAL, HUGE_VAL}, Bounds{NAN, 1, 2}})
    EXPECT_EQ(tv_data_set_discretize(data, 0, bounds.data(), 2, nullptr), tv_status_invalid_state_values);
  const Bounds bounds = {0, 1, 2};
  const char* const bad[] = {"low", "\xFF"};
  const char* const few[] = {"low", nullptr};
  EXPECT_EQ(tv_data_set_discretize(data, 0, bounds.data(), 2, bad), tv_status_usage);
  EXPECT_EQ(tv_data_set_discretize(data, 0, bounds.data(), 2, few), tv_status_usage);
  EXPECT_EQ(tv_data_set_discretize(data, 0, bounds.data(), 0, nullptr), tv_status_usage);
  EXPECT_EQ(tv_data_set_discretize(data, 1, bounds.data(), 2, nullptr), tv_status_usage);
  EXPECT_EQ(sheet_of(data).rows, (std::vector<Row>{{"1"}, {"2"}}));
}

// Bounds serve as they are for the states of a node.
TEST(Discretize, GivesTheBoundsOfANode) {
  const DataSetOwner data = column_of({"3", "1", "4", "1.5", "9", "2.5"});
  const Bounds bounds = bounds_of(tv_data_set_get_k_means_bounds, data.get(), 0, 3);
  const DomainOwner domain = new_domain();
  tv_node_t* const node = add_node(domain.get(), "x", bounds.size() - 1);
  tv_node_set_subtype(node, tv_subtype_interval);
  for (size_t i = 0; i < bounds.size(); ++i)
    EXPECT_EQ(tv_node_set_state_value(node, i, bounds[i]), tv_status_none);
  EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_none);
}

}  // namespace
}  // namespace test

// Data sets as tables: columns, rows and items, compared with plain vectors under random changes.

#include "data/data_set.h"

#include <gtest/gtest.h>

#include "data_world.h"
#include "support/builders.h"

namespace test {
namespace {

TEST(DataSet, IsATableThatMissesWhatIsNotSet) {
  const DataSetOwner data(tv_new_data_set());
  EXPECT_EQ(tv_data_set_get_number_of_rows(data.get()), 0u);
  EXPECT_EQ(tv_data_set_get_number_of_columns(data.get()), 0u);
  EXPECT_EQ(tv_data_set_new_row(data.get()), static_cast<size_t>(-1)) << "no rows without columns";
  EXPECT_EQ(tv_data_set_new_column(data.get(), "b"), 0u);
  EXPECT_EQ(tv_data_set_insert_column(data.get(), 0, "a"), 0u);
  EXPECT_EQ(tv_data_set_get_column_by_name(data.get(), "b"), 1u);
  EXPECT_EQ(tv_data_set_get_column_by_name(data.get(), "c"), static_cast<size_t>(-1));
  EXPECT_EQ(tv_error_code(), tv_status_none);
  EXPECT_EQ(tv_data_set_new_row(data.get()), 0u);
  EXPECT_EQ(tv_data_set_get_item(data.get(), 0, 1), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_none);
  EXPECT_EQ(tv_data_set_set_item(data.get(), 0, 1, ""), tv_status_none);
  EXPECT_STREQ(tv_data_set_get_item(data.get(), 0, 1), "") << "the empty text is an item";
  EXPECT_EQ(tv_data_set_set_item(data.get(), 0, 1, "NA"), tv_status_none);
  EXPECT_STREQ(tv_data_set_get_item(data.get(), 0, 1), "NA");
  EXPECT_EQ(tv_data_set_set_item(data.get(), 0, 1, nullptr), tv_status_none);
  EXPECT_EQ(tv_data_set_get_item(data.get(), 0, 1), nullptr);
  tv_data_set_delete_column(data.get(), 0);
  EXPECT_EQ(tv_data_set_get_number_of_rows(data.get()), 1u);
  tv_data_set_delete_column(data.get(), 0);
  EXPECT_EQ(tv_data_set_get_number_of_rows(data.get()), 0u);
}

TEST(DataSet, RefusesWhatIsNotThereAndNamesInUse) {
  const DataSetOwner owner = data_set_of({{"a", "b"}, {{"1", "2"}}});
  tv_data_set_t* const data = owner.get();
  EXPECT_EQ(tv_data_set_new_column(data, "a"), static_cast<size_t>(-1));
  EXPECT_EQ(tv_error_code(), tv_status_twice);
  EXPECT_STREQ(tv_error_message(), "there is a column named \"a\" already");
  EXPECT_EQ(tv_data_set_set_column_name(data, 1, "a"), tv_status_twice);
  EXPECT_EQ(tv_data_set_set_column_name(data, 0, "a"), tv_status_none) << "its own name";
  const char* const bad = "\xC3(";
  EXPECT_EQ(tv_data_set_set_column_name(data, 0, bad), tv_status_usage);
  EXPECT_EQ(tv_data_set_set_item(data, 0, 0, bad), tv_status_usage);
  EXPECT_EQ(tv_data_set_set_item(data, 1, 0, "x"), tv_status_usage);
  EXPECT_EQ(tv_data_set_set_item(data, 0, 2, "x"), tv_status_usage);
  EXPECT_EQ(tv_data_set_get_item(data, 0, 2), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(tv_data_set_insert_rows(data, 2, 1), tv_status_usage);
  EXPECT_EQ(tv_data_set_delete_rows(data, 1, 1), tv_status_usage);
  EXPECT_EQ(tv_data_set_delete_rows(data, 0, static_cast<size_t>(-1)), tv_status_usage);
  EXPECT_EQ(tv_data_set_insert_rows(data, 0, static_cast<size_t>(-1)), tv_status_no_memory);
  EXPECT_EQ(tv_data_set_insert_column(data, 3, "c"), static_cast<size_t>(-1));
  EXPECT_EQ(tv_data_set_delete_column(data, 2), tv_status_usage);
  for (const std::vector<const char*>& texts :
       {std::vector<const char*>{nullptr}, {"a\"", nullptr}, {"\n", nullptr}, {bad, nullptr}})
    EXPECT_EQ(tv_data_set_set_missing_texts(data, texts.data()), tv_status_usage);
  EXPECT_EQ(sheet_of(data), (Sheet{{"a", "b"}, {{"1", "2"}}}));
}

TEST(DataSet, KnowsUtf8ToTheLastByte) {
  for (const char* good : {"", "A\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF",
                           "\xEE\x80\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"})
    EXPECT_TRUE(tv::is_item_text(good)) << good;
  for (const char* bad : {"\x80", "\xC1\xBF", "\xC2", "\xC2\x41", "\xE0\x9F\xBF", "\xE1\x80", "\xED\xA0\x80",
                          "\xF0\x8F\xBF\xBF", "\xF1\x80\x80", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF"})
    for (const char* before : {"", "ab\xC3\xA4"}) {
      size_t at = 0;
      EXPECT_FALSE(tv::is_item_text(std::string(before) + bad, &at));
      EXPECT_EQ(at, std::string(before).size());
    }
  EXPECT_FALSE(tv::is_item_text(std::string_view("a\0", 2)));
}

void change(Generator& random, tv_data_set_t* data, Sheet& sheet) {
  const size_t rows = sheet.rows.size(), columns = sheet.names.size();
  const size_t row = random.below(rows + 1), column = random.below(columns + 1);
  const size_t count = random.below(4) == 0 ? random.below(300) : random.below(3);
  switch (random.below(12)) {
    case 0: {
      const std::string name = "c" + std::to_string(random.below(1000000));
      tv_data_set_insert_column(data, column, name.c_str());
      sheet.names.insert(sheet.names.begin() + column, name);
      for (Row& one : sheet.rows) one.insert(one.begin() + column, Item());
      return;
    }
    case 1:
      if (column == columns || columns == 1) return;
      tv_data_set_delete_column(data, column);
      sheet.names.erase(sheet.names.begin() + column);
      for (Row& one : sheet.rows) one.erase(one.begin() + column);
      return;
    case 2:
      tv_data_set_insert_rows(data, row, count);
      sheet.rows.insert(sheet.rows.begin() + row, count, Row(columns));
      return;
    case 3:
      if (row + count > rows) return;
      tv_data_set_delete_rows(data, row, count);
      sheet.rows.erase(sheet.rows.begin() + row, sheet.rows.begin() + row + count);
      return;
    default:
      if (column == columns) return;
      const size_t kinds = random.chance(0.5) ? 5 : 100000;
      for (size_t i = 0; i < count * 4 && rows > 0; ++i) {
        const size_t index = random.below(rows);
        Item& target = sheet.rows[index][column];
        target = random.chance(0.1) ? Item() : Item("item " + std::to_string(random.below(kinds)));
        tv_data_set_set_item(data, index, column, target ? target->c_str() : nullptr);
      }
  }
}

TEST(DataSet, FollowsRandomChanges) {
  for (uint64_t seed = 0; seed < 20; ++seed) {
    Generator random(seed);
    Sheet sheet{{"first"}, {}};
    DataSetOwner data = data_set_of(sheet);
    for (int step = 0; step < 400; ++step) {
      change(random, data.get(), sheet);
      if (step % 50 == 49) {
        ASSERT_EQ(sheet_of(data.get()), sheet) << "seed " << seed;
      }
      if (step % 100 == 99) data.reset(tv_data_set_clone(data.get()));
    }
    ASSERT_EQ(sheet_of(data.get()), sheet) << "seed " << seed;
    for (const auto& column : data->columns) {
      tv::drop_unused_items(*column);
      std::vector<int> seen(column->items.size() + 1, 0);
      column->codes.visit([&](const auto* codes) {
        for (size_t i = 0; i < column->codes.size(); ++i) seen[codes[i]] = 1;
      });
      for (size_t code = 1; code < seen.size(); ++code) EXPECT_TRUE(seen[code]);
    }
    EXPECT_EQ(sheet_of(data.get()), sheet);
  }
}

// Two hundred and fifty-five items have codes of one byte, the next one widens them all; so at 65535.
TEST(DataSet, WidensCodesWhereTheyNoLongerFit) {
  const DataSetOwner data = data_set_of({{"a"}, {}});
  const size_t count = 65600;
  tv_data_set_insert_rows(data.get(), 0, count);
  for (size_t i = 0; i < count; ++i) {
    tv_data_set_set_item(data.get(), i, 0, std::to_string(i).c_str());
    if (i == 256 || i == 65536) {
      for (size_t row = 0; row <= i; ++row)
        ASSERT_EQ(tv_data_set_get_item(data.get(), row, 0), std::to_string(row)) << i;
    }
  }
  for (size_t row = 0; row < count; ++row)
    ASSERT_EQ(tv_data_set_get_item(data.get(), row, 0), std::to_string(row));
}

TEST(DataSet, LetsItemsGoThatAreInNoRow) {
  const DataSetOwner data = data_set_of({{"a"}, {{"kept"}, {"0"}}});
  const size_t before = tv_data_set_get_memory_size(data.get());
  for (int i = 0; i < 100000; ++i) tv_data_set_set_item(data.get(), 1, 0, std::to_string(i).c_str());
  EXPECT_LT(tv_data_set_get_memory_size(data.get()), before + 200000);
  for (int i = 0; i < 3000; ++i) {  // an item that is let go may be the one that is set
    tv_data_set_set_item(data.get(), 1, 0,
                         ("a text that is longer than a short one " + std::to_string(i)).c_str());
    tv_data_set_set_item(data.get(), 0, 0, tv_data_set_get_item(data.get(), 1, 0));
    ASSERT_STREQ(tv_data_set_get_item(data.get(), 0, 0), tv_data_set_get_item(data.get(), 1, 0));
  }
}

TEST(DataSet, StaysBelowItsMemoryLimit) {
  const DataSetOwner owner = data_set_of({{"a", "b"}, {{"1", "2"}}});
  tv_data_set_t* const data = owner.get();
  const size_t limit = 100000;
  tv_data_set_set_memory_limit(data, limit);
  EXPECT_EQ(tv_data_set_get_memory_limit(data), limit);
  EXPECT_EQ(tv_data_set_insert_rows(data, 1, 60000), tv_status_no_memory);
  EXPECT_EQ(tv_data_set_get_number_of_rows(data), 1u);
  const std::string large(limit, 'x');
  EXPECT_EQ(tv_data_set_set_item(data, 0, 0, large.c_str()), tv_status_no_memory);
  EXPECT_EQ(sheet_of(data), (Sheet{{"a", "b"}, {{"1", "2"}}}));
  EXPECT_LE(tv_data_set_get_memory_size(data), limit);
  EXPECT_EQ(tv_data_set_insert_rows(data, 1, 20000), tv_status_none);
}

}  // namespace
}  // namespace test

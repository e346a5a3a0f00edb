// Data sets under failing allocation.

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "faults/export_world.h"

namespace test {
namespace {

const std::string kDataFile = testing::TempDir() + "tarvo_data_faults_" + std::to_string(getpid());

void with_data_file(World& w) {
  with_data(w);
  tv_data_set_delete_rows(w.data.get(), 0, 1);  // so that reading changes something
  std::ofstream(kDataFile) << kCsv;
}

// gzip of "a,b" and two rows.
const unsigned char kPacked[] = {0x1f, 0x8b, 0x08, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0x03, 0x4b,
                                 0xd4, 0x49, 0xe2, 0x32, 0xd4, 0x31, 0xe2, 0x32, 0xd6, 0x31, 0xe1,
                                 0x02, 0x00, 0xe5, 0xe9, 0xd6, 0xce, 0x0c, 0x00, 0x00, 0x00};
void with_packed_file(World& w) {
  with_data(w);
  std::ofstream(kDataFile, std::ios::binary).write(reinterpret_cast<const char*>(kPacked), sizeof kPacked);
}

// So many distinct items that one more needs wider codes and more slots.
void with_full_column(World& w) {
  with_data(w);
  tv_data_set_insert_rows(w.data.get(), 3, 252);
  for (size_t row = 3; row < 255; ++row)
    tv_data_set_set_item(w.data.get(), row, 0, ("item " + std::to_string(row)).c_str());
}

// Numbers, each twice, with a class.
void with_numbers(World& w) {
  w.data.reset(tv_new_data_set());
  std::string text = "x,class\n";
  for (int i = 0; i < 40; ++i) text += std::to_string(i / 2) + (i < 20 ? ",low\n" : ",high\n");
  tv_data_set_parse_csv_string(w.data.get(), text.c_str(), ',', nullptr, nullptr);
}
template <class... Arguments>
void note_bounds(World& w, double* (*method)(const tv_data_set_t*, Arguments...), size_t column,
                 size_t wanted) {
  size_t intervals = 0;
  const std::unique_ptr<double, World::Free> bounds(method(w.data.get(), column, wanted, &intervals));
  for (size_t i = 0; bounds && i <= intervals; ++i) w.number = w.number * 3 + bounds.get()[i];
}
void described_column(World& w) {
  with_numbers(w);
  w.summary.reset(tv_data_set_describe_column(w.data.get(), 0));
}
tv_column_summary_t* summary_of(World& w) { return w.summary.get(); }

const size_t kSortColumns[] = {1, 0};
const int kDescending[] = {0, 1};
const double kBounds[] = {0, 5, 15, 20};
const char* const kLabels[] = {"the lower ones of all", "those between them", "the upper ones of all"};
const char* const kTexts[] = {"nothing of all this", "", nullptr};

const Cases cases = {
    {"tv_new_data_set", plain, [](World& w) { w.made_data.reset(tv_new_data_set()); }},
    {"tv_data_set_clone", with_data, [](World& w) { w.made_data.reset(tv_data_set_clone(w.data.get())); }},
    {"tv_csv_parse_data_set", with_data_file,
     [](World& w) { w.made_data.reset(tv_csv_parse_data_set(kDataFile.c_str(), ',', nullptr, nullptr)); }},
    {"tv_csv_parse_data_set", with_packed_file,
     [](World& w) { w.made_data.reset(tv_csv_parse_data_set(kDataFile.c_str(), ',', nullptr, nullptr)); }},
    {"tv_data_set_parse_csv", with_data_file,
     [](World& w) { tv_data_set_parse_csv(w.data.get(), kDataFile.c_str(), ',', nullptr, nullptr); }},
    {"tv_data_set_parse_csv_stream", with_data_file,
     [](World& w) {
       const std::unique_ptr<std::FILE, World::Close> stream(std::fopen(kDataFile.c_str(), "r"));
       tv_data_set_parse_csv_stream(w.data.get(), stream.get(), ',', nullptr, nullptr);
     }},
    {"tv_data_set_parse_csv_string", with_data,
     [](World& w) { tv_data_set_parse_csv_string(w.data.get(), "x,y\n1,\"\"\n", ',', nullptr, nullptr); }},
    {"tv_data_set_save_csv", with_data,
     [](World& w) { tv_data_set_save_csv(w.data.get(), "/dev/null", ','); }},
    {"tv_data_set_write_csv", with_data,
     [](World& w) {
       const std::unique_ptr<std::FILE, World::Close> stream(std::fopen("/dev/null", "w"));
       tv_data_set_write_csv(w.data.get(), stream.get(), ';');
     }},
    {"tv_data_set_to_csv_string", with_data,
     [](World& w) { w.own_text.reset(tv_data_set_to_csv_string(w.data.get(), ';')); }},
    {"tv_data_set_new_column", with_data,
     [](World& w) { note(w, tv_data_set_new_column(w.data.get(), "new")); }},
    {"tv_data_set_insert_column", with_data,
     [](World& w) { note(w, tv_data_set_insert_column(w.data.get(), 1, "new")); }},
    {"tv_data_set_set_column_name", with_data,
     [](World& w) { tv_data_set_set_column_name(w.data.get(), 1, "another name than before"); }},
    {"tv_data_set_new_row", with_data, [](World& w) { note(w, tv_data_set_new_row(w.data.get())); }},
    {"tv_data_set_insert_rows", with_data, [](World& w) { tv_data_set_insert_rows(w.data.get(), 1, 100); }},
    {"tv_data_set_set_item", with_full_column,
     [](World& w) { tv_data_set_set_item(w.data.get(), 1, 0, "one more"); }},
    {"tv_data_set_set_missing_texts", with_data,
     [](World& w) { tv_data_set_set_missing_texts(w.data.get(), kTexts); }},
    {"tv_data_set_sort", with_numbers,
     [](World& w) { tv_data_set_sort(w.data.get(), kSortColumns, kDescending, 2); }},
    {"tv_data_set_describe_column", with_numbers,
     [](World& w) {
       const World::Summary summary(tv_data_set_describe_column(w.data.get(), 1));
       if (summary) note(w, tv_column_summary_get_item_count(summary.get(), 1));
     }},
    {"tv_column_summary_delete", described_column,
     [](World& w) { note(w, tv_column_summary_delete(w.summary.release())); }, Case::never_fails},
    {"tv_data_set_get_equal_width_bounds", with_numbers,
     [](World& w) { note_bounds(w, tv_data_set_get_equal_width_bounds, 0, 4); }},
    {"tv_data_set_get_equal_frequency_bounds", with_numbers,
     [](World& w) { note_bounds(w, tv_data_set_get_equal_frequency_bounds, 0, 4); }},
    {"tv_data_set_get_k_means_bounds", with_numbers,
     [](World& w) { note_bounds(w, tv_data_set_get_k_means_bounds, 0, 4); }},
    {"tv_data_set_get_class_bounds", with_numbers,
     [](World& w) { note_bounds(w, tv_data_set_get_class_bounds, 0, 1); }},
    {"tv_data_set_discretize", with_numbers,
     [](World& w) { tv_data_set_discretize(w.data.get(), 0, kBounds, 3, kLabels); }},
    {"tv_data_set_delete", with_data, [](World& w) { note(w, tv_data_set_delete(w.data.release())); },
     Case::never_fails},
    ASKS_FOR_NOTHING(tv_data_set_get_number_of_rows, with_data, table_of(w)),
    ASKS_FOR_NOTHING(tv_data_set_get_number_of_columns, with_data, table_of(w)),
    ASKS_FOR_NOTHING(tv_data_set_delete_column, with_data, table_of(w), 0),
    ASKS_FOR_NOTHING(tv_data_set_get_column_name, with_data, table_of(w), 1),
    ASKS_FOR_NOTHING(tv_data_set_get_column_by_name, with_data, table_of(w), "size"),
    ASKS_FOR_NOTHING(tv_data_set_delete_rows, with_data, table_of(w), 0, 2),
    ASKS_FOR_NOTHING(tv_data_set_get_item, with_data, table_of(w), 2, 1),
    ASKS_FOR_NOTHING(tv_data_set_get_missing_texts, with_data, table_of(w)),
    ASKS_FOR_NOTHING(tv_data_set_set_memory_limit, with_data, table_of(w), 1000000),
    ASKS_FOR_NOTHING(tv_data_set_get_memory_limit, with_data, table_of(w)),
    ASKS_FOR_NOTHING(tv_data_set_get_memory_size, with_data, table_of(w)),
    ASKS_FOR_NOTHING(tv_column_summary_get_number_of_items, described_column, summary_of(w)),
    ASKS_FOR_NOTHING(tv_column_summary_get_number_of_missing_items, described_column, summary_of(w)),
    ASKS_FOR_NOTHING(tv_column_summary_get_number_of_distinct_items, described_column, summary_of(w)),
    ASKS_FOR_NOTHING(tv_column_summary_get_item, described_column, summary_of(w), 3),
    ASKS_FOR_NOTHING(tv_column_summary_get_item_count, described_column, summary_of(w), 3),
    ASKS_FOR_NOTHING(tv_column_summary_is_numeric, described_column, summary_of(w)),
    ASKS_FOR_NOTHING(tv_column_summary_get_least, described_column, summary_of(w)),
    ASKS_FOR_NOTHING(tv_column_summary_get_greatest, described_column, summary_of(w)),
    ASKS_FOR_NOTHING(tv_column_summary_get_mean, described_column, summary_of(w)),
    ASKS_FOR_NOTHING(tv_column_summary_get_standard_deviation, described_column, summary_of(w)),
};

}  // namespace
}  // namespace test

// Data sets: tables of text items with named columns. Every column holds its distinct items once and a
// code for each row, which is what learning counts: `column.codes.visit(...)` gives the codes as one array.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "data/item_table.h"
#include "tarvo.h"

namespace tv {

using DataSet = tv_data_set_s;

struct DataColumn {
  explicit DataColumn(MemoryBudget& budget) noexcept
      : name(CountedAllocator<char>(budget)), items(budget), codes(budget) {}

  const char* name_text() const noexcept { return name.data(); }

  CountedVector<char> name;  // with a null character behind it
  ItemTable items;           // some may be in no row any more, see drop_unused_items
  CodeList codes;            // one for each row; 0: missing, else `items.text(code)`
};

// The texts that stand for a missing item where they are not quoted; the first one is what is written.
class MissingTexts {
 public:
  MissingTexts();                                   // the empty text, "?", "NA" and "*"
  explicit MissingTexts(const char* const* texts);  // a list
  MissingTexts(const MissingTexts& other);
  MissingTexts& operator=(MissingTexts&& other) = default;

  bool contain(std::string_view text) const noexcept;
  const std::vector<std::string>& texts() const noexcept { return texts_; }
  const char* const* list() const noexcept { return list_.data(); }

 private:
  void make_list();

  std::vector<std::string> texts_;
  std::vector<const char*> list_;  // of the same, with a null pointer behind the last
};

}  // namespace tv

// All columns have the same number of rows; without columns there are none.
struct tv_data_set_s {
  tv_data_set_s() : budget(std::make_unique<tv::MemoryBudget>(tv::kNone)) {}

  size_t number_of_columns() const noexcept { return columns.size(); }
  size_t number_of_rows() const noexcept { return columns.empty() ? 0 : columns[0]->codes.size(); }

  std::unique_ptr<tv::MemoryBudget> budget;  // of what the columns take; it outlives them
  std::vector<std::unique_ptr<tv::DataColumn>> columns;
  tv::MissingTexts missing;
};

namespace tv {

// A column of `rows` missing items that belongs to none of the columns yet.
std::unique_ptr<DataColumn> new_column(MemoryBudget& budget, std::string_view name, size_t rows);

// All ones where there is none.
size_t find_column(const DataSet& data, std::string_view name) noexcept;

// Takes the columns of another data set, which gets those of this one. The limit stays.
void take_columns(DataSet& data, DataSet& other) noexcept;

// Rewrites items and codes so that each item is in some row, in the order of the rows.
void drop_unused_items(DataColumn& column);

}  // namespace tv

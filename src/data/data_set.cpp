// Data sets and their columns, rows and items. What may run out of memory comes first in every change.

#include "data/data_set.h"

#include <algorithm>
#include <cstring>

#include "api/boundary.h"

namespace tv {
namespace {

void set_name(DataColumn& column, std::string_view name) {
  CountedVector<char> copy(column.name.get_allocator());
  copy.reserve(size_add(name.size(), 1));
  copy.assign(name.begin(), name.end());
  copy.push_back('\0');
  column.name.swap(copy);
}

size_t insert_column(DataSet& data, size_t index, const char* name) {
  if (find_column(data, name) != kNone) {
    refuse(tv_status_twice, "there is a column named \"%s\" already", name);
    return kNone;
  }
  std::unique_ptr<DataColumn> column = new_column(*data.budget, name, data.number_of_rows());
  data.columns.insert(data.columns.begin() + static_cast<ptrdiff_t>(index), std::move(column));
  return index;
}

void insert_rows(DataSet& data, size_t first, size_t count) {
  for (const auto& column : data.columns) column->codes.make_room(count);
  for (const auto& column : data.columns) column->codes.insert(first, count);
}

// Items that are in no row any more are let go when they could be most of all.
void set_item(DataColumn& column, size_t row, const char* item) {
  if (!item) return column.codes.set(row, kMissingCode);
  constexpr size_t kAlwaysKept = 1000;
  std::string kept;
  if (column.items.size() / 2 > column.codes.size() + kAlwaysKept) {
    kept = item;  // it may be one of those that are let go
    drop_unused_items(column);
    item = kept.c_str();
  }
  const Code code = column.items.code_of(item);
  column.codes.make_room_for(code);
  column.codes.set(row, code);
}

std::unique_ptr<DataColumn> copy_of(const DataColumn& column, MemoryBudget& budget) {
  auto copy = new_column(budget, column.name_text(), 0);
  for (Code code = 1; code <= column.items.size(); ++code) copy->items.code_of(column.items.text(code));
  copy->items.seal();
  copy->codes = CodeList(budget, column.codes);
  return copy;
}

std::unique_ptr<DataSet> clone(const DataSet& data) {
  auto copy = std::make_unique<DataSet>();
  copy->budget->set_limit(data.budget->limit());
  copy->missing = MissingTexts(data.missing);
  copy->columns.reserve(data.columns.size());
  for (const auto& column : data.columns) copy->columns.push_back(copy_of(*column, *copy->budget));
  return copy;
}

bool has_column(const DataSet* data, size_t column) noexcept {
  return data && column < data->number_of_columns();
}

bool has_item(const DataSet* data, size_t row, size_t column) noexcept {
  return has_column(data, column) && row < data->number_of_rows();
}

}  // namespace

std::unique_ptr<DataColumn> new_column(MemoryBudget& budget, std::string_view name, size_t rows) {
  auto column = std::make_unique<DataColumn>(budget);
  set_name(*column, name);
  column->codes.make_room(rows);
  column->codes.insert(0, rows);
  return column;
}

size_t find_column(const DataSet& data, std::string_view name) noexcept {
  for (size_t i = 0; i < data.number_of_columns(); ++i)
    if (name == data.columns[i]->name_text()) return i;
  return kNone;
}

void take_columns(DataSet& data, DataSet& other) noexcept {
  other.budget->set_limit(data.budget->limit());
  data.columns.swap(other.columns);
  data.budget.swap(other.budget);
}

void drop_unused_items(DataColumn& column) {
  MemoryBudget& budget = column.name.get_allocator().budget();
  CountedVector<Code> new_codes(column.items.size() + size_t{1}, kMissingCode,
                                CountedAllocator<Code>(budget));
  ItemTable used(budget);
  column.codes.visit([&](const auto* codes) {
    for (size_t row = 0; row < column.codes.size(); ++row) {
      const Code code = codes[row];
      if (code != kMissingCode && new_codes[code] == kMissingCode)
        new_codes[code] = used.code_of(column.items.text(code));
    }
  });
  column.codes.recode(new_codes.data());
  column.items.swap(used);
}

}  // namespace tv

tv_data_set_t* tv_new_data_set(void) {
  return tv::guarded<tv_data_set_t*>(nullptr, [] {
    tv::check(true);
    return std::make_unique<tv::DataSet>().release();
  });
}

tv_status_t tv_data_set_delete(tv_data_set_t* data) {
  if (!tv::check(data)) return tv_status_usage;
  const std::unique_ptr<tv::DataSet> owner(data);
  return tv_status_none;
}

tv_data_set_t* tv_data_set_clone(const tv_data_set_t* data) {
  return tv::guarded<tv_data_set_t*>(nullptr, [&]() -> tv_data_set_t* {
    if (!tv::check(data)) return nullptr;
    return tv::clone(*data).release();
  });
}

size_t tv_data_set_get_number_of_rows(const tv_data_set_t* data) {
  return tv::check(data) ? data->number_of_rows() : tv::kNone;
}

size_t tv_data_set_get_number_of_columns(const tv_data_set_t* data) {
  return tv::check(data) ? data->number_of_columns() : tv::kNone;
}

size_t tv_data_set_new_column(tv_data_set_t* data, const char* name) {
  return tv_data_set_insert_column(data, data ? data->number_of_columns() : 0, name);
}

size_t tv_data_set_insert_column(tv_data_set_t* data, size_t column, const char* name) {
  return tv::guarded(tv::kNone, [&]() -> size_t {
    if (!tv::check(data && name && column <= data->number_of_columns() && tv::is_item_text(name)))
      return tv::kNone;
    return tv::insert_column(*data, column, name);
  });
}

tv_status_t tv_data_set_delete_column(tv_data_set_t* data, size_t column) {
  if (!tv::check(tv::has_column(data, column))) return tv_status_usage;
  data->columns.erase(data->columns.begin() + static_cast<ptrdiff_t>(column));
  return tv_status_none;
}

tv_status_t tv_data_set_set_column_name(tv_data_set_t* data, size_t column, const char* name) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(tv::has_column(data, column) && name && tv::is_item_text(name))) return tv_status_usage;
    const size_t other = tv::find_column(*data, name);
    if (other != tv::kNone && other != column)
      return tv::refuse(tv_status_twice, "there is a column named \"%s\" already", name);
    tv::set_name(*data->columns[column], name);
    return tv_status_none;
  });
}

const char* tv_data_set_get_column_name(const tv_data_set_t* data, size_t column) {
  return tv::check(tv::has_column(data, column)) ? data->columns[column]->name_text() : nullptr;
}

size_t tv_data_set_get_column_by_name(const tv_data_set_t* data, const char* name) {
  return tv::check(data && name) ? tv::find_column(*data, name) : tv::kNone;
}

size_t tv_data_set_new_row(tv_data_set_t* data) {
  const size_t row = data ? data->number_of_rows() : 0;
  return tv_data_set_insert_rows(data, row, 1) ? tv::kNone : row;
}

tv_status_t tv_data_set_insert_rows(tv_data_set_t* data, size_t row, size_t count) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(data && row <= data->number_of_rows() && (!data->columns.empty() || count == 0)))
      return tv_status_usage;
    tv::insert_rows(*data, row, count);
    return tv_status_none;
  });
}

tv_status_t tv_data_set_delete_rows(tv_data_set_t* data, size_t row, size_t count) {
  if (!tv::check(data && row <= data->number_of_rows() && count <= data->number_of_rows() - row))
    return tv_status_usage;
  for (const auto& column : data->columns) column->codes.erase(row, count);
  return tv_status_none;
}

const char* tv_data_set_get_item(const tv_data_set_t* data, size_t row, size_t column) {
  if (!tv::check(tv::has_item(data, row, column))) return nullptr;
  const tv::DataColumn& where = *data->columns[column];
  return where.items.text(where.codes[row]);
}

tv_status_t tv_data_set_set_item(tv_data_set_t* data, size_t row, size_t column, const char* item) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(tv::has_item(data, row, column) && (!item || tv::is_item_text(item))))
      return tv_status_usage;
    tv::set_item(*data->columns[column], row, item);
    return tv_status_none;
  });
}

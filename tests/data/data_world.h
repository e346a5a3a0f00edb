// Data sets in few lines for tests, and what an independent reading of CSV makes of a text.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tarvo.h"

namespace test {

struct DeleteDataSet {
  void operator()(tv_data_set_t* data) const { tv_data_set_delete(data); }
};
using DataSetOwner = std::unique_ptr<tv_data_set_t, DeleteDataSet>;

using Item = std::optional<std::string>;  // none: missing
using Row = std::vector<Item>;

// The names of the columns, and the rows.
struct Sheet {
  std::vector<std::string> names;
  std::vector<Row> rows;
  bool operator==(const Sheet&) const = default;
};

inline Sheet sheet_of(const tv_data_set_t* data) {
  Sheet sheet;
  const size_t columns = tv_data_set_get_number_of_columns(data);
  for (size_t i = 0; i < columns; ++i) sheet.names.push_back(tv_data_set_get_column_name(data, i));
  for (size_t row = 0; row < tv_data_set_get_number_of_rows(data); ++row) {
    sheet.rows.emplace_back();
    for (size_t i = 0; i < columns; ++i) {
      const char* const item = tv_data_set_get_item(data, row, i);
      sheet.rows.back().push_back(item ? Item(item) : Item());
    }
  }
  return sheet;
}

inline DataSetOwner data_set_of(const Sheet& sheet) {
  DataSetOwner data(tv_new_data_set());
  for (const std::string& name : sheet.names) tv_data_set_new_column(data.get(), name.c_str());
  for (const Row& row : sheet.rows) {
    const size_t index = tv_data_set_new_row(data.get());
    for (size_t i = 0; i < row.size(); ++i)
      if (row[i]) tv_data_set_set_item(data.get(), index, i, row[i]->c_str());
  }
  return data;
}

// One character after the other, for well-formed texts with line feeds or carriage returns with line feeds.
inline Sheet read_naively(const std::string& text, char separator, const std::vector<std::string>& missing) {
  std::vector<Row> rows(1);
  std::string cell;
  bool quoted = false, in_quotes = false, row_is_open = false;
  const auto end_cell = [&] {
    bool is_missing = false;
    for (const std::string& one : missing) is_missing |= !quoted && cell == one;
    if (rows.size() == 1) is_missing = false;  // names
    rows.back().push_back(is_missing ? Item() : Item(cell));
    cell.clear();
    quoted = false;
  };
  const auto end_row = [&] {
    const bool is_blank = rows.back().empty() && cell.empty() && !quoted;
    row_is_open = false;
    if (is_blank && (rows.size() == 1 || rows[0].size() != 1)) return;
    end_cell();
    rows.emplace_back();
  };
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (in_quotes) {
      if (c != '"') {
        cell += c;
      } else if (i + 1 < text.size() && text[i + 1] == '"') {
        cell += text[++i];
      } else {
        in_quotes = false;
      }
      continue;
    }
    row_is_open = true;
    if (c == '"') {
      quoted = in_quotes = true;
    } else if (c == separator) {
      end_cell();
    } else if (c == '\n') {
      end_row();
    } else if (c != '\r') {
      cell += c;
    }
  }
  if (row_is_open) end_row();
  Sheet sheet;
  for (const Item& name : rows[0]) sheet.names.push_back(*name);
  sheet.rows.assign(rows.begin() + 1, rows.end());
  if (!sheet.rows.empty()) sheet.rows.pop_back();  // the one behind the last
  if (rows.size() == 1) sheet.rows.clear();
  return sheet;
}

}  // namespace test

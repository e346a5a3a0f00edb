// tarvo data: tables of comma-separated values, looked at and rewritten.
#pragma once

#include <tarvo.h>

#include <memory>
#include <string>
#include <vector>

#include "failure.h"
#include "output.h"

namespace program {

struct RowRange;  // case_rows.h

struct DataOptions {
  std::string file;                  // "-" for the standard input
  std::string separator;             // empty for what the end of the name says
  std::vector<std::string> missing;  // the library's own when empty
  std::string memory_limit;
  std::string to = "-", to_separator;
  std::string to_missing;            // what is written for missing items
  std::vector<std::string> columns;  // to look at, to sort by, to discretise
  std::string method;                // of discretising
  size_t bins = 5;
  std::string class_column, bounds;
  Format format = Format::kText;
};

ExitCode describe_data(const DataOptions& options);
ExitCode sort_data(const DataOptions& options);
ExitCode discretize_data(const DataOptions& options);
ExitCode convert_data(const DataOptions& options);

// Whether a text names a separator: one character, or "tab".
bool is_separator(const std::string& text);

// ---- What the commands share ----

struct DeleteDataSet {
  void operator()(tv_data_set_t* data) const { tv_data_set_delete(data); }
};
using DataSet = std::unique_ptr<tv_data_set_t, DeleteDataSet>;

// Reads the file, or some rows of it. Messages of the reader are told with their place.
DataSet load_data(const DataOptions& options, const RowRange* rows = nullptr);
char separator_of(const DataOptions& options);
void expect_room_for_report(const DataOptions& options);  // to be called before that
void save_data(tv_data_set_t* data, const DataOptions& options);

// Fails with a suggestion where there is no such column.
size_t column_named(const tv_data_set_t* data, const std::string& name, const DataOptions& options);

// What was done, for other programs: the entries of `more` behind those that all reports have.
void report_data(const tv_data_set_t* data, const DataOptions& options, const char* command,
                 const Json& more);

}  // namespace program

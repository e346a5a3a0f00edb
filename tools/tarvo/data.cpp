// tarvo data: reading and writing of data sets, and the commands that need little more.
#include "data.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "case_rows.h"
#include "files.h"
#include "memory.h"
#include "progress.h"
#include "ranks.h"
#include "suggest.h"

namespace program {
namespace {

void set_missing(tv_data_set_t* data, const std::vector<std::string>& texts) {
  std::vector<const char*> list;
  for (const std::string& text : texts) list.push_back(text.c_str());
  list.push_back(nullptr);
  if (tv_data_set_set_missing_texts(data, list.data()) == tv_status_usage)
    throw Failure(kWrongUsage, "what means missing is UTF-8 without quotation marks and line ends");
}

struct Place {
  std::string file;
  uint64_t header_lines = 0, skipped_lines = 0;
  bool is_told = false;
};

void tell_message(size_t line, const char* message, void* place) {
  Place& where = *static_cast<Place*>(place);
  where.is_told = true;
  if (line > where.header_lines) line += where.skipped_lines;
  Ranks::of_this_run().tell(where.file + ":" + std::to_string(line) + ":" +
                            std::to_string(tv_error_column()) + ": " + message);
}

}  // namespace

bool is_separator(const std::string& text) {
  if (text == "tab" || text == "\\t") return true;
  return text.size() == 1 && static_cast<signed char>(text[0]) > 0 &&
         std::strchr("\"\r\n", text[0]) == nullptr;
}

char separator_named(const std::string& text, const std::string& file) {
  if (text == "tab" || text == "\\t") return '\t';
  if (!text.empty()) return text[0];
  const auto ends_with = [&](const std::string& end) {
    return file.size() >= end.size() && file.compare(file.size() - end.size(), end.size(), end) == 0;
  };
  return ends_with(".tsv") || ends_with(".tsv.gz") || ends_with(".tab") ? '\t' : ',';
}

char separator_of(const DataOptions& options) { return separator_named(options.separator, options.file); }

DataSet load_data(const DataOptions& options, const RowRange* rows) {
  const size_t limit = memory_limit_of(options.memory_limit);
  enforce_memory_limit(limit);
  DataSet data(tv_new_data_set());
  Place place{shown_file(options.file)};
  if (!data) fail_with_status(place.file);
  tv_data_set_set_memory_limit(data.get(), limit ? limit : SIZE_MAX);
  if (!options.missing.empty()) set_missing(data.get(), options.missing);
  const Activity reading("reading " + place.file);
  const char separator = separator_of(options);
  errno = 0;
  tv_status_t status;
  if (rows) {
    place.header_lines = rows->header_lines;
    place.skipped_lines = rows->skipped_lines;
    const StreamOwner stream = open_rows(options.file, *rows);
    status = tv_data_set_parse_csv_stream(data.get(), stream.get(), separator, tell_message, &place);
  } else if (options.file == "-") {
    status = tv_data_set_parse_csv_stream(data.get(), stdin, separator, tell_message, &place);
  } else {
    status = tv_data_set_parse_csv(data.get(), options.file.c_str(), separator, tell_message, &place);
  }
  if (status == tv_status_io) throw Failure(kFailed, place.file + ": " + std::strerror(errno ? errno : EIO));
  if (status && place.is_told) throw Failure(kFailed, "");
  expect(status, place.file);
  return data;
}

void expect_room_for_report(const DataOptions& options) {
  if (options.to == "-" && options.format != Format::kText)
    throw Failure(kWrongUsage,
                  "the data themselves go to the standard output, so there is no room for --format");
}

void save_data(tv_data_set_t* data, const DataOptions& options) {
  std::vector<std::string> texts;
  for (const char* const* text = tv_data_set_get_missing_texts(data); *text; ++text) texts.push_back(*text);
  if (!options.to_missing.empty()) {
    texts.insert(texts.begin(), options.to_missing);
    set_missing(data, texts);
  }
  const Activity writing("writing " + shown_file(options.to));
  const char separator = separator_named(options.to_separator, options.to);
  if (texts.front().find(separator) != std::string::npos)
    throw Failure(kWrongUsage, "what is written for missing items holds the separator; see --to-missing");
  FileWriter out(options.to);
  errno = 0;
  const tv_status_t status = tv_data_set_write_csv(data, out.stream(), separator);
  if (status == tv_status_io) out.fail(std::strerror(errno ? errno : EIO));
  expect(status, options.to);
  out.commit();
}

size_t column_named(const tv_data_set_t* data, const std::string& name, const DataOptions& options) {
  const size_t column = tv_data_set_get_column_by_name(data, name.c_str());
  if (column != SIZE_MAX) return column;
  std::vector<std::string> names;
  for (size_t i = 0; i < tv_data_set_get_number_of_columns(data); ++i)
    names.push_back(tv_data_set_get_column_name(data, i));
  throw Failure(kFailed, shown_file(options.file) + ": there is no column \"" + name + "\"" +
                             did_you_mean(name, names));
}

void report_data(const tv_data_set_t* data, const DataOptions& options, const char* command,
                 const Json& more) {
  Json document = {{"command", std::string("data ") + command},
                   {"file", shown_file(options.file)},
                   {"out", options.to},
                   {"rows", tv_data_set_get_number_of_rows(data)},
                   {"columns", tv_data_set_get_number_of_columns(data)}};
  document.update(more);
  if (options.format == Format::kJson) print_json(document);
  if (options.format != Format::kCsv) return;
  const CsvWriter csv({"quantity", "value"});
  for (const char* quantity : {"rows", "columns"}) csv.row({quantity, document[quantity].dump()});
}

ExitCode convert_data(const DataOptions& options) {
  expect_room_for_report(options);
  const DataSet data = load_data(options);
  save_data(data.get(), options);
  report_data(data.get(), options, "convert", Json::object());
  return kSuccess;
}

// ":desc" is part of a name where there is such a column.
ExitCode sort_data(const DataOptions& options) {
  expect_room_for_report(options);
  const std::string mark = ":desc";
  const DataSet data = load_data(options);
  std::vector<size_t> columns;
  std::vector<int> descending;
  for (const std::string& name : options.columns) {
    const bool is_marked = name.size() > mark.size() && name.ends_with(mark) &&
                           tv_data_set_get_column_by_name(data.get(), name.c_str()) == SIZE_MAX;
    descending.push_back(is_marked);
    columns.push_back(
        column_named(data.get(), is_marked ? name.substr(0, name.size() - mark.size()) : name, options));
  }
  const tv_status_t status = tv_data_set_sort(data.get(), columns.data(), descending.data(), columns.size());
  expect(status, shown_file(options.file));
  save_data(data.get(), options);
  report_data(data.get(), options, "sort", Json::object());
  return kSuccess;
}

}  // namespace program

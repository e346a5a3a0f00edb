// Data sets as CSV. What is written reads as the same data set again, as long as the same texts mean missing:
// every item that would be read as something else stands between quotation marks.

#include "data/csv_writer.h"

#include <deque>

#include "api/boundary.h"
#include "api/streams.h"
#include "data/csv_reader.h"
#include "text/output.h"

namespace tv {

bool needs_quotes(std::string_view item, char separator, const MissingTexts& missing) noexcept {
  const char marks[] = {separator, '"', '\n', '\r'};
  return item.find_first_of({marks, sizeof marks}) != item.npos || missing.contain(item);
}

std::string quoted_item(std::string_view item) {
  std::string text = "\"";
  for (const char c : item) text.append(c == '"' ? 2 : 1, c);
  return text += '"';
}

std::string csv_item(std::string_view item, char separator, const MissingTexts& missing) {
  return needs_quotes(item, separator, missing) ? quoted_item(item) : std::string(item);
}

// Quoted as well where it is empty, since lines without anything are skipped, and where it begins like a byte
// order mark.
std::string csv_name(std::string_view name, char separator) {
  const char marks[] = {separator, '"', '\n', '\r'};
  const bool is_plain = !name.empty() && name.find_first_of({marks, sizeof marks}) == name.npos &&
                        without_byte_order_mark(name).size() == name.size();
  return is_plain ? std::string(name) : quoted_item(name);
}

namespace {

// What the cells of one column look like, by code. Items that need no quotation marks stay where they are.
class WrittenItems {
 public:
  WrittenItems(const DataColumn& column, const MissingTexts& missing, char separator) : column_(column) {
    texts_.reserve(column.items.size() + size_t{1});
    texts_.push_back(missing.texts().front());
    for (Code code = 1; code <= column.items.size(); ++code) {
      const std::string_view item = column.items.text(code);
      texts_.push_back(needs_quotes(item, separator, missing) ? quoted_.emplace_back(quoted_item(item))
                                                              : item);
    }
  }
  // The texts point into the object.
  WrittenItems(const WrittenItems&) = delete;

  std::string_view text(size_t row) const noexcept { return texts_[column_.codes[row]]; }

 private:
  const DataColumn& column_;
  std::deque<std::string> quoted_;
  std::vector<std::string_view> texts_;
};

tv_status_t write_csv(OutputSink& sink, const DataSet& data, char separator) {
  const std::string_view between(&separator, 1);
  std::deque<WrittenItems> written;
  for (const auto& column : data.columns) {
    if (&column != &data.columns.front()) sink.text(between);
    sink.text(csv_name(column->name_text(), separator));
    written.emplace_back(*column, data.missing, separator);
  }
  if (!written.empty()) sink.text("\n");
  for (size_t row = 0; row < data.number_of_rows() && !sink.status(); ++row) {
    for (const WrittenItems& column : written) {
      if (&column != &written.front()) sink.text(between);
      sink.text(column.text(row));
    }
    sink.text("\n");
  }
  return sink.finish();
}

bool can_write(const DataSet* data, char separator) noexcept {
  return data && is_csv_separator(separator) &&
         data->missing.texts().front().find(separator) == std::string::npos;
}

tv_status_t save_csv(const DataSet& data, const char* file_name, char separator) {
  OpenFile file = open_file(file_name, "wb");
  if (!file) return current_status();
  OutputSink sink(file.get());
  if (tv_status_t status = write_csv(sink, data, separator)) return status;
  return close_file(std::move(file));
}

}  // namespace
}  // namespace tv

tv_status_t tv_data_set_save_csv(const tv_data_set_t* data, const char* file_name, char separator) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(tv::can_write(data, separator) && file_name)) return tv_status_usage;
    return tv::save_csv(*data, file_name, separator);
  });
}

tv_status_t tv_data_set_write_csv(const tv_data_set_t* data, FILE* stream, char separator) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(tv::can_write(data, separator) && stream)) return tv_status_usage;
    tv::OutputSink sink(stream);
    return tv::write_csv(sink, *data, separator);
  });
}

char* tv_data_set_to_csv_string(const tv_data_set_t* data, char separator) {
  return tv::guarded<char*>(nullptr, [&]() -> char* {
    if (!tv::check(tv::can_write(data, separator))) return nullptr;
    tv::OutputSink sink;
    if (tv::store_status(tv::write_csv(sink, *data, separator))) return nullptr;
    return sink.release();
  });
}

// The entry points of reading CSV: where the text comes from.

#include "api/boundary.h"
#include "api/streams.h"
#include "data/csv_reader.h"

namespace tv {
namespace {

tv_status_t parse_file(DataSet& data, const char* name, char separator, MessageHandler handler) {
  OpenFile file = open_file(name, "rb");
  if (!file) return current_status();
  CsvSource source(file.get());
  if (tv_status_t status = read_csv(data, source, separator, handler)) return status;
  return close_file(std::move(file));
}

}  // namespace
}  // namespace tv

tv_data_set_t* tv_csv_parse_data_set(const char* file_name, char separator, tv_error_handler_t handler,
                                     void* handler_data) {
  return tv::guarded<tv_data_set_t*>(nullptr, [&]() -> tv_data_set_t* {
    if (!tv::check(file_name && tv::is_csv_separator(separator))) return nullptr;
    auto data = std::make_unique<tv::DataSet>();
    if (tv::store_status(tv::parse_file(*data, file_name, separator, {handler, handler_data})))
      return nullptr;
    return data.release();
  });
}

tv_status_t tv_data_set_parse_csv(tv_data_set_t* data, const char* file_name, char separator,
                                  tv_error_handler_t handler, void* handler_data) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(data && file_name && tv::is_csv_separator(separator))) return tv_status_usage;
    return tv::parse_file(*data, file_name, separator, {handler, handler_data});
  });
}

tv_status_t tv_data_set_parse_csv_stream(tv_data_set_t* data, FILE* stream, char separator,
                                         tv_error_handler_t handler, void* handler_data) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(data && stream && tv::is_csv_separator(separator))) return tv_status_usage;
    tv::CsvSource source(stream);
    return tv::read_csv(*data, source, separator, {handler, handler_data});
  });
}

tv_status_t tv_data_set_parse_csv_string(tv_data_set_t* data, const char* text, char separator,
                                         tv_error_handler_t handler, void* handler_data) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(data && text && tv::is_csv_separator(separator))) return tv_status_usage;
    tv::CsvSource source{std::string_view(text)};
    return tv::read_csv(*data, source, separator, {handler, handler_data});
  });
}

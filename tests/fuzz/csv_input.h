// One input of the fuzz target of CSV: any bytes give a message or a data set, the same however they are cut
// into pieces, and what was read is written and read again unchanged. The first byte chooses the separator.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "data/csv_reader.h"
#include "net_input.h"

namespace fuzz {

struct CsvOutcome {
  tv_status_t status = tv_status_none;
  size_t errors = 0, line = 0, column = 0;
  std::string text;  // what it reads as
  bool operator==(const CsvOutcome&) const = default;
};

inline std::string written_csv(const tv_data_set_t* data, char separator) {
  const std::unique_ptr<char, decltype(&std::free)> text(tv_data_set_to_csv_string(data, separator),
                                                         std::free);
  require(text != nullptr, "a data set can be written");
  return text.get();
}

inline CsvOutcome outcome_of(const std::string& text, char separator, size_t window) {
  CsvOutcome outcome;
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> stream(
      text.empty() ? std::fopen("/dev/null", "r")
                   : fmemopen(const_cast<char*>(text.data()), text.size(), "r"),
      std::fclose);
  tv::DataSet data;
  data.budget->set_limit(size_t{1} << 28);
  tv::CsvSource source(stream.get());
  outcome.status = tv::read_csv(data, source, separator, {count_errors, &outcome.errors}, window);
  require((outcome.errors > 0) == (outcome.status != tv_status_none), "a failure is told");
  outcome.line = tv_error_line();
  outcome.column = tv_error_column();
  if (outcome.status == tv_status_none) outcome.text = written_csv(&data, separator);
  return outcome;
}

inline void parse_csv_bytes(const uint8_t* data, size_t size) {
  if (size == 0) return;
  const char separator = ",;\t|"[data[0] % 4];
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const CsvOutcome outcome = outcome_of(text, separator, tv::kCsvWindow);
  require(outcome == outcome_of(text, separator, 1), "pieces make no difference");
  if (outcome.status == tv_status_none)
    require(outcome_of(outcome.text, separator, 7).text == outcome.text, "what was written reads the same");
}

}  // namespace fuzz

// CSV texts into data sets: RFC 4180, and beyond it any separator, line ends of every kind, lines without
// anything, and texts that mean a missing item.
#pragma once

#include "data/csv_source.h"
#include "data/data_set.h"
#include "text/lexer.h"

namespace tv {

inline constexpr size_t kCsvWindow = size_t{1} << 18;  // bytes that are looked at together

// Whether cells can stand between such characters.
bool is_csv_separator(char separator) noexcept;

// Replaces the columns of the data set. A failure has been told and leaves them alone.
tv_status_t read_csv(DataSet& data, CsvSource& source, char separator, MessageHandler handler,
                     size_t window = kCsvWindow);

}  // namespace tv

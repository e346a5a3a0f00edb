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

// The rows of a text some at a time, so that texts of any length need little memory.
class CsvRows {
 public:
  // A column that has more items begins anew with the next rows: the same texts get other codes.
  static constexpr Code kMostKeptItems = 4096;

  // The data set, which is empty at first, gets the columns and holds the rows.
  CsvRows(DataSet& data, CsvSource& source, char separator, MessageHandler handler,
          size_t window = kCsvWindow);
  ~CsvRows();

  // Replaces the rows by the next ones, about so many; none at the end. A failure has been told.
  tv_status_t next(size_t rows);

  size_t line(size_t row) const noexcept;  // in which a row of the data set begins

 private:
  class Reader;

  DataSet& data_;
  std::unique_ptr<Reader> reader_;
};

}  // namespace tv

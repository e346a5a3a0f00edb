// The lines of a file of many cases, cut into cells: cells stand between commas, blanks around them do not
// count, and what holds commas, blanks or quotes itself stands between double quotes. A `%` outside quotes
// starts a comment, and lines without any cell are skipped.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "text/lexer.h"

namespace tv {

struct Cell {
  std::string text;
  bool quoted = false;
  size_t column = 0;  // where it begins in its line, from 1
  bool is_missing() const noexcept { return !quoted && (text.empty() || text == "*"); }
};

class CaseLines {
 public:
  CaseLines(std::FILE* stream, MessageHandler handler);

  // The cells of the next line that has any; none at the end of the file. A failure has been reported.
  tv_status_t next(std::vector<Cell>& cells);

  tv_status_t fail(const std::string& message) noexcept;  // gives `parse`
  tv_status_t fail(const std::string& message, const Cell& cell) noexcept;
  void warn(const char* message) noexcept;

 private:
  bool refill() noexcept;         // false at the end of the file
  int read_character() noexcept;  // -1 at the end of the file
  tv_status_t read_cell(int& character, Cell& cell);
  tv_status_t read_quoted(int& character, Cell& cell);
  tv_status_t read_escape(Cell& cell);
  void report(const char* message) noexcept;

  std::FILE* stream_;
  MessageHandler handler_;
  std::vector<char> window_;
  size_t next_ = 0, end_ = 0;
  size_t line_ = 1, column_ = 0;  // of the character that was read last
  bool newline_read_ = false;
  bool is_first_ = true;  // nothing has been read
};

}  // namespace tv

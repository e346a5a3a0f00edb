#include "net/case_lines.h"

#include <algorithm>
#include <utility>

#include "api/text_place.h"

namespace tv {
namespace {

constexpr size_t kWindow = size_t{1} << 16;

bool is_blank(int c) noexcept { return c == ' ' || c == '\t' || c == '\f' || c == '\v'; }
bool ends_line(int c) noexcept { return c < 0 || c == '\n'; }
bool ends_cell(int c) noexcept { return ends_line(c) || c == ',' || c == '%'; }

}  // namespace

CaseLines::CaseLines(std::FILE* stream, MessageHandler handler)
    : stream_(stream), handler_(handler), window_(kWindow) {
  last_place = {};
}

void CaseLines::report(const char* message) noexcept {
  last_place = {line_, std::max<size_t>(column_, 1)};
  if (handler_.function) handler_.function(line_, message, handler_.data);
}

tv_status_t CaseLines::fail(const std::string& message) noexcept {
  report(message.c_str());
  return tv_status_parse;
}

tv_status_t CaseLines::fail(const std::string& message, const Cell& cell) noexcept {
  column_ = cell.column;
  return fail(message);
}

void CaseLines::warn(const char* message) noexcept { report(message); }

bool CaseLines::refill() noexcept {
  if (next_ < end_) return true;
  end_ = std::fread(window_.data(), 1, window_.size(), stream_);
  const std::string_view text(window_.data(), end_);
  next_ = std::exchange(is_first_, false) ? end_ - without_byte_order_mark(text).size() : 0;
  return next_ < end_;
}

// Whatever ends a line, a line feed, a carriage return or both, is handed on as one line feed.
int CaseLines::read_character() noexcept {
  for (;;) {
    if (!refill()) return -1;
    if (newline_read_) {
      ++line_;
      column_ = 0;
    }
    char character = window_[next_++];
    ++column_;
    newline_read_ = character == '\n' || character == '\r';
    if (character == '\r' && refill() && window_[next_] == '\n') ++next_;
    if (newline_read_) return '\n';
    if (character != '\0') return static_cast<unsigned char>(character);
    warn("warning: null character ignored");
  }
}

// A line feed that ends a line belongs to it: messages about the line come with its number.
tv_status_t CaseLines::next(std::vector<Cell>& cells) {
  for (;;) {
    cells.clear();
    int character = 0;
    do {
      cells.emplace_back();
      if (tv_status_t status = read_cell(character, cells.back())) return status;
    } while (character == ',');
    while (!ends_line(character)) character = read_character();  // of a comment
    if (std::ferror(stream_)) return tv_status_io;
    const bool is_empty = cells.size() == 1 && cells[0].text.empty() && !cells[0].quoted;
    if (is_empty) cells.clear();
    if (!is_empty || character < 0) return tv_status_none;
  }
}

// Leaves in `character` what ends the cell: a comma, a percent sign, a line feed, or -1.
tv_status_t CaseLines::read_cell(int& character, Cell& cell) {
  do character = read_character();
  while (is_blank(character));
  cell.column = column_;
  if (character == '"') return read_quoted(character, cell);
  for (; !ends_cell(character); character = read_character()) {
    if (character == '"') return fail("syntax error");
    cell.text += static_cast<char>(character);
  }
  while (!cell.text.empty() && is_blank(cell.text.back())) cell.text.pop_back();
  return tv_status_none;
}

// Escapes are those of the NET language; a doubled quote stands for one, too.
tv_status_t CaseLines::read_quoted(int& character, Cell& cell) {
  cell.quoted = true;
  for (;;) {
    character = read_character();
    if (ends_line(character))
      return fail(character < 0 ? "unexpected end-of-file" : "unexpected end-of-line");
    if (character == '\\') {
      if (tv_status_t status = read_escape(cell)) return status;
      continue;
    }
    if (character == '"') {
      character = read_character();
      if (character != '"') break;
    }
    cell.text += static_cast<char>(character);
  }
  while (is_blank(character)) character = read_character();
  return ends_cell(character) ? tv_status_none : fail("syntax error");
}

// The backslash has been read. Up to three octal digits, or a character with a meaning; any other stands for
// itself.
tv_status_t CaseLines::read_escape(Cell& cell) {
  static constexpr std::string_view escaped = "abfnrtv", meant = "\a\b\f\n\r\t\v";
  int character = read_character();
  if (ends_line(character)) return fail(character < 0 ? "unexpected end-of-file" : "unexpected end-of-line");
  const auto is_octal = [](int c) { return c >= '0' && c <= '7'; };
  if (is_octal(character)) {
    int value = 0;
    for (int digits = 1;; ++digits) {
      value = value * 8 + (character - '0');
      if (digits == 3 || !refill() || !is_octal(window_[next_])) break;
      character = read_character();
    }
    cell.text += static_cast<char>(static_cast<unsigned char>(value));
    return tv_status_none;
  }
  const size_t index = escaped.find(static_cast<char>(character));
  cell.text += index == escaped.npos ? static_cast<char>(character) : meant[index];
  return tv_status_none;
}

}  // namespace tv

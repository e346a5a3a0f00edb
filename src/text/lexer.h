// The lexer of every text that the library reads: it knows where it stands, hands out one token at a
// time, and passes messages with their position to the host's handler.
// A file is read through a window that slides over it, a string is read where it lies; both look the
// same to the scanning code, which works on plain pointers.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "api/status.h"

namespace tv {

// A punctuation character is a token by its own code.
enum class Token : int {
  name = 256,
  dotted_name,
  number,
  string,
  end,
  error,
  equal,  // this and the next three in expressions only
  not_equal,
  less_or_equal,
  greater_or_equal
};

constexpr Token punctuation(char character) noexcept {
  return static_cast<Token>(static_cast<unsigned char>(character));
}

// What some editors put in front of a text to say that it is UTF-8 is no part of it.
std::string_view without_byte_order_mark(std::string_view text) noexcept;

// The text of the last name or string. Growing it is the one allocation whose failure has a message of
// its own, so it reports failure instead of throwing.
class TokenBuffer {
 public:
  void clear() noexcept { size_ = 0; }
  bool append(const char* text, size_t length) noexcept;  // false: out of memory
  bool append(char character) noexcept { return append(&character, 1); }
  std::string_view view() const noexcept { return {text_.get(), size_}; }

 private:
  std::unique_ptr<char[]> text_;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

struct MessageHandler {
  tv_error_handler_t function = nullptr;  // null: nothing is reported
  void* data = nullptr;
};

class Lexer {
 public:
  Lexer(std::string_view text, MessageHandler handler) noexcept;  // positions count characters
  Lexer(std::FILE* stream, MessageHandler handler);               // positions are line numbers
  Lexer(const Lexer&) = delete;
  Lexer& operator=(const Lexer&) = delete;

  // The next token. After Token::error `status` tells whether its message has been reported.
  Token next() { return next(false); }
  // The same in an expression: signs and the other operators are tokens of their own, and no sign is part
  // of a number.
  Token next_operand() { return next(true); }
  void push_back() noexcept { pushed_back_ = true; }  // the last token comes once more

  bool read_number(double& number);  // false when the next token is something else

  // Shortcut for long lists: reads numbers for as long as they stand there plainly, without signs or
  // comments, and at most `limit` of them. What stops it is left to the functions above.
  size_t read_numbers(tv_number_t* numbers, size_t limit) noexcept;

  // Of the last token; valid until the next one is read.
  std::string text() const { return std::string(buffer_.view()); }
  std::string_view view() const noexcept { return buffer_.view(); }
  double number() const noexcept { return number_; }

  // A number as it is written; valid until anything else is read.
  std::string_view number_text() const noexcept;

  size_t position() const noexcept;
  size_t offset() const noexcept { return dropped_ + static_cast<size_t>(cursor_ - begin_); }  // in bytes
  bool at_line_end() const noexcept;
  size_t line() const noexcept { return line_; }

  // What comes next as far as it is at hand: the text, or the first piece of the stream. For a look at the
  // beginning, before the first token.
  std::string_view lookahead();
  void report_error(const char* message) noexcept;
  void report_warning(const char* message) noexcept;  // the message begins with "warning: "
  size_t error_count() const noexcept { return error_count_; }

  // What the lexer itself ran into, `none` as long as it is fine. Nothing more need be reported then,
  // except for `io`, which has no message here.
  tv_status_t status() const noexcept { return status_; }
  // Goes on behind what was no token; false when there is no going on, because reading or memory failed.
  bool recover() noexcept;

 private:
  Token next(bool in_expression);
  Token read_operator(char first);
  bool skip_space();
  void skip_byte_order_mark() noexcept;
  bool refill();
  size_t column_of(const char* place) noexcept;
  void report(const char* message) noexcept;
  int peek_character();
  Token read_name();
  Token scan_number();
  Token read_string();
  bool read_escape();
  void skip_string();
  bool keep(char character);
  Token fail(const char* message, tv_status_t status = tv_status_parse) noexcept;
  Token unexpected(char character) noexcept;
  Token illegal_escape(char character) noexcept;

  const char* begin_ = nullptr;   // of the text or the window
  const char* cursor_ = nullptr;  // the next character
  const char* end_ = nullptr;
  size_t dropped_ = 0;  // bytes of the whole text in front of `begin_`
  // Where the way back to the start of a line may end: a place that was asked for before, or the beginning,
  // and the bytes of its line in front of it.
  const char* anchor_ = nullptr;
  size_t anchor_column_ = 0;
  std::FILE* stream_ = nullptr;  // null: the text is all there is
  std::unique_ptr<char[]> window_;
  size_t window_size_ = 0;
  bool exhausted_ = true;  // the stream has nothing more
  size_t line_ = 1;

  Token token_ = Token::end;
  const char* token_start_ = nullptr;  // null when the window has moved since
  size_t token_line_ = 1;
  size_t token_column_ = 1;  // when there is no `token_start_`
  bool pushed_back_ = false;
  TokenBuffer buffer_;
  double number_ = 0.0;

  MessageHandler handler_;
  size_t error_count_ = 0;
  tv_status_t status_ = tv_status_none;
};

// The message about every number that does not fit where it stands, in whatever text.
inline constexpr char kTooLarge[] = "number is too large";

// Doubles from here on round to no number of a table.
inline constexpr double kBeyondTables = 0x1.ffffffp127;

enum class Scan { number, none, too_large };

// Reads an optional sign, decimal digits with an optional point, and an optional exponent; `cursor` moves
// behind what was read. There is none when the exponent has no digits; a number that is too small for a
// double becomes zero.
Scan scan_decimal(const char*& cursor, const char* end, double& number) noexcept;

// Unsigned numbers with blanks and newlines between them; `line` counts the newlines. Stops before
// anything else, before a number that is too large, and before one that touches the end, which may be cut
// short there.
size_t scan_decimals(const char*& cursor, const char* end, tv_number_t* numbers, size_t limit,
                     size_t& line) noexcept;

}  // namespace tv

#include "text/lexer.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <new>

#include "api/text_place.h"

namespace tv {
namespace {

constexpr size_t kWindowSize = size_t{1} << 18;
constexpr size_t kFirstTokenSize = 64;

// What a character is, as the "C" locale sees it.
enum CharacterClass : unsigned char {
  kSpace = 1,
  kLetter = 2,
  kDigit = 4,
  kHexadecimal = 8,
  kPunctuation = 16,
  kOperator = 32  // in expressions
};

constexpr std::array<unsigned char, 256> kClasses = [] {
  std::array<unsigned char, 256> classes{};
  const auto add = [&](std::string_view characters, CharacterClass character_class) {
    for (const char c : characters) {
      auto& entry = classes[static_cast<unsigned char>(c)];
      entry = static_cast<unsigned char>(entry | character_class);
    }
  };
  add(" \t\n\v\f\r", kSpace);
  add("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_", kLetter);
  add("0123456789", kDigit);
  add("0123456789abcdefABCDEF", kHexadecimal);
  add("#()*,:;=?{|}", kPunctuation);
  add("+-/^<>=!", kOperator);
  return classes;
}();

bool is(char character, int classes) noexcept {
  return (kClasses[static_cast<unsigned char>(character)] & classes) != 0;
}

bool is_sign(char character) noexcept { return character == '+' || character == '-'; }
bool ends_line(char character) noexcept { return character == '\n' || character == '\r'; }
bool is_octal(char character) noexcept { return character >= '0' && character <= '7'; }

unsigned digit_value(char digit) noexcept {
  if (is(digit, kDigit)) return static_cast<unsigned>(digit - '0');
  return static_cast<unsigned>((digit | 0x20) - 'a') + 10;
}

// The first character that ends a line, or `end`. Looked for in pieces, because the one of the two that a
// text does not use would otherwise be looked for up to its end each time.
const char* find_line_end(const char* from, const char* end) noexcept {
  constexpr ptrdiff_t piece = 256;
  while (from != end) {
    size_t length = static_cast<size_t>(std::min(piece, end - from));
    const char* found = nullptr;
    for (const char character : {'\n', '\r'}) {
      const void* const place = std::memchr(from, character, length);
      if (!place) continue;
      found = static_cast<const char*>(place);
      length = static_cast<size_t>(found - from);
    }
    if (found) return found;
    from += length;
  }
  return end;
}

}  // namespace

std::string_view without_byte_order_mark(std::string_view text) noexcept {
  constexpr std::string_view mark = "\xEF\xBB\xBF";
  return text.starts_with(mark) ? text.substr(mark.size()) : text;
}

bool TokenBuffer::append(const char* text, size_t length) noexcept {
  if (length > capacity_ - size_) {
    if (length > std::numeric_limits<size_t>::max() / 4) return false;
    const size_t capacity = std::max({2 * capacity_, size_ + length, kFirstTokenSize});
    std::unique_ptr<char[]> larger(new (std::nothrow) char[capacity]);
    if (!larger) return false;
    if (size_) std::memcpy(larger.get(), text_.get(), size_);
    text_ = std::move(larger);
    capacity_ = capacity;
  }
  if (length) std::memcpy(text_.get() + size_, text, length);
  size_ += length;
  return true;
}

Lexer::Lexer(std::string_view text, MessageHandler handler) noexcept
    : begin_(text.data()), cursor_(begin_), end_(begin_ + text.size()), handler_(handler) {
  last_place = {};
  skip_byte_order_mark();
}

Lexer::Lexer(std::FILE* stream, MessageHandler handler)
    : stream_(stream),
      window_(new char[kWindowSize]),
      window_size_(kWindowSize),
      exhausted_(false),
      handler_(handler) {
  begin_ = cursor_ = end_ = anchor_ = window_.get();
  last_place = {};
}

size_t Lexer::position() const noexcept { return stream_ ? line_ : offset(); }

bool Lexer::at_line_end() const noexcept { return cursor_ == end_ ? exhausted_ : ends_line(*cursor_); }

// The cursor stands at the beginning of everything.
void Lexer::skip_byte_order_mark() noexcept {
  const std::string_view text(cursor_, static_cast<size_t>(end_ - cursor_));
  dropped_ = text.size() - without_byte_order_mark(text).size();
  begin_ = anchor_ = cursor_ += dropped_;
}

// From 1, in bytes; `place` is one in the text or the window, and no later one has been asked for.
size_t Lexer::column_of(const char* place) noexcept {
  const char* start = place;
  while (start > anchor_ && !ends_line(start[-1])) --start;
  anchor_column_ = static_cast<size_t>(place - start) + (start == anchor_ ? anchor_column_ : 0);
  anchor_ = place;
  return anchor_column_ + 1;
}

std::string_view Lexer::number_text() const noexcept {
  return {token_start_, static_cast<size_t>(cursor_ - token_start_)};
}

void Lexer::report(const char* message) noexcept {
  last_place = {token_line_, token_start_ ? column_of(token_start_) : token_column_};
  if (handler_.function) handler_.function(position(), message, handler_.data);
}

void Lexer::report_error(const char* message) noexcept {
  ++error_count_;
  report(message);
}

void Lexer::report_warning(const char* message) noexcept { report(message); }

Token Lexer::fail(const char* message, tv_status_t status) noexcept {
  report_error(message);
  status_ = status;
  return Token::error;
}

Token Lexer::unexpected(char character) noexcept {
  char message[] = "unexpected character: `?'";
  *std::strchr(message, '?') = character;
  return fail(message);
}

// The cursor stands behind the character, which follows the backslash.
Token Lexer::illegal_escape(char character) noexcept {
  token_line_ = line_;
  if (cursor_ - anchor_ >= 2) token_start_ = cursor_ - 2;
  char message[] = "illegal escape sequence: `\\?'";
  *std::strchr(message, '?') = character;
  return fail(message);
}

// Slides the window so that it starts at the cursor, and reads on behind what is left in it. A token that
// fills the whole window makes it grow. False when there is nothing more to read.
bool Lexer::refill() {
  if (exhausted_) return false;
  const bool is_first = end_ == window_.get();
  if (token_start_) token_column_ = column_of(token_start_);
  token_start_ = nullptr;
  column_of(cursor_);
  dropped_ += static_cast<size_t>(cursor_ - begin_);
  const size_t kept = static_cast<size_t>(end_ - cursor_);
  if (kept == window_size_) {
    std::unique_ptr<char[]> larger(new char[2 * window_size_]);
    std::memcpy(larger.get(), cursor_, kept);
    window_ = std::move(larger);
    window_size_ *= 2;
  } else if (kept) {
    std::memmove(window_.get(), cursor_, kept);
  }
  const size_t wanted = window_size_ - kept;
  const size_t count = std::fread(window_.get() + kept, 1, wanted, stream_);
  if (count < wanted) {
    exhausted_ = true;
    if (std::ferror(stream_)) status_ = tv_status_io;
  }
  begin_ = cursor_ = anchor_ = window_.get();
  end_ = begin_ + kept + count;
  if (is_first) skip_byte_order_mark();
  return count > 0 && cursor_ != end_;
}

std::string_view Lexer::lookahead() {
  if (cursor_ == end_) refill();
  return {cursor_, static_cast<size_t>(end_ - cursor_)};
}

int Lexer::peek_character() {
  if (cursor_ == end_ && !refill()) return -1;
  return static_cast<unsigned char>(*cursor_);
}

// Moves to the next character that is neither white space nor part of a comment. A line ends with a line
// feed, a carriage return, or both.
bool Lexer::skip_space() {
  bool in_comment = false, after_return = false;
  do {
    while (cursor_ != end_) {
      const char character = *cursor_;
      if (in_comment) {
        cursor_ = find_line_end(cursor_, end_);
        in_comment = cursor_ == end_;
      } else if (is(character, kSpace)) {
        line_ += character == '\r' || (character == '\n' && !after_return);
        after_return = character == '\r';
        ++cursor_;
      } else if (character == '%') {
        in_comment = true;
      } else {
        return true;
      }
    }
  } while (refill());
  return false;
}

Token Lexer::next(bool in_expression) {
  if (pushed_back_) {
    pushed_back_ = false;
    return token_;
  }
  if (status_) return token_ = Token::error;
  const bool at_end = !skip_space();
  token_start_ = cursor_;
  token_line_ = line_;
  if (at_end) return token_ = status_ ? Token::error : Token::end;
  const char first = *cursor_;
  if (in_expression && is(first, kOperator)) return token_ = read_operator(first);
  if (is(first, kPunctuation)) {
    ++cursor_;
    return token_ = punctuation(first);
  }
  if (is(first, kLetter)) return token_ = read_name();
  if (is(first, kDigit) || is_sign(first) || first == '.') return token_ = scan_number();
  ++cursor_;
  return token_ = first == '"' ? read_string() : unexpected(first);
}

// The cursor stands at the operator.
Token Lexer::read_operator(char first) {
  ++cursor_;
  if (std::string_view("+-/^").find(first) != std::string_view::npos) return punctuation(first);
  const int second = peek_character();
  if (second < 0 && status_) return Token::error;
  const bool equal_follows = second == '=';
  cursor_ += equal_follows || (first == '<' && second == '>');
  switch (first) {
    case '=':
      return Token::equal;
    case '!':
      return equal_follows ? Token::not_equal : fail("`!' must be followed by `='");
    case '<':
      if (second == '>') return Token::not_equal;
      return equal_follows ? Token::less_or_equal : punctuation(first);
    default:
      return equal_follows ? Token::greater_or_equal : punctuation(first);
  }
}

bool Lexer::recover() noexcept {
  if (status_ == tv_status_parse) status_ = tv_status_none;
  return status_ == tv_status_none;
}

bool Lexer::read_number(double& number) {
  const bool is_number = next() == Token::number;
  number = number_;
  return is_number;
}

size_t Lexer::read_numbers(tv_number_t* numbers, size_t limit) noexcept {
  return pushed_back_ ? 0 : scan_decimals(cursor_, end_, numbers, limit, line_);
}

Token Lexer::scan_number() {
  for (;;) {
    const char* cursor = cursor_;
    const Scan outcome = scan_decimal(cursor, end_, number_);
    // What ends with the window may go on behind it.
    if (cursor == end_ && refill()) continue;
    token_start_ = cursor_;
    cursor_ = cursor;
    if (outcome == Scan::too_large) return fail(kTooLarge);
    return outcome == Scan::number ? Token::number : Token::error;
  }
}

Token Lexer::read_name() {
  buffer_.clear();
  do {
    const char* const start = cursor_;
    while (cursor_ != end_ && (is(*cursor_, kLetter | kDigit) || *cursor_ == '.')) ++cursor_;
    if (!buffer_.append(start, static_cast<size_t>(cursor_ - start)))
      return fail("out-of-memory", tv_status_no_memory);
  } while (cursor_ == end_ && refill());

  const std::string_view name = buffer_.view();
  size_t dot = name.find('.');
  if (dot == name.npos) return Token::name;
  for (; dot != name.npos; dot = name.find('.', dot + 1))
    if (dot + 1 == name.size() || !is(name[dot + 1], kLetter))
      return fail("`.' must be followed by a letter or an `_'");
  return Token::dotted_name;
}

bool Lexer::keep(char character) {
  if (!buffer_.append(character)) {
    fail("out-of-memory", tv_status_no_memory);
    return false;
  }
  if (character == '\0') report_warning("warning: null character in string");
  return true;
}

// The cursor stands behind the opening quote.
Token Lexer::read_string() {
  buffer_.clear();
  for (;;) {
    const int next_character = peek_character();
    if (next_character < 0 && status_) return Token::error;
    const char character = static_cast<char>(next_character);
    if (next_character < 0 || ends_line(character)) return fail("string did not end");
    ++cursor_;
    if (character == '"') return Token::string;
    if (character == '\\' ? read_escape() : keep(character)) continue;
    skip_string();
    return Token::error;
  }
}

// Behind an error in a string, so that what comes after it is not taken for its end.
void Lexer::skip_string() {
  bool is_escaped = false;
  for (int next_character = peek_character(); next_character >= 0; next_character = peek_character()) {
    const char character = static_cast<char>(next_character);
    if (ends_line(character)) return;
    ++cursor_;
    if (character == '"' && !is_escaped) return;
    is_escaped = character == '\\' && !is_escaped;
  }
}

// The cursor stands behind the backslash.
bool Lexer::read_escape() {
  static constexpr std::string_view escaped = "\"'?\\abfnrtv";
  static constexpr std::string_view meant = "\"'?\\\a\b\f\n\r\t\v";
  const int next_character = peek_character();
  if (next_character < 0) {
    if (!status_) fail("string did not end");
    return false;
  }
  const char character = static_cast<char>(next_character);
  if (character == 'x' || is_octal(character)) {
    const bool hexadecimal = character == 'x';
    const int limit = hexadecimal ? 2 : 3;
    if (hexadecimal) ++cursor_;
    unsigned value = 0;
    int count = 0;
    for (; count < limit; ++count, ++cursor_) {
      const int digit = peek_character();
      if (digit < 0) break;
      const char c = static_cast<char>(digit);
      if (!(hexadecimal ? is(c, kHexadecimal) : is_octal(c))) break;
      value = value * (hexadecimal ? 16 : 8) + digit_value(c);
    }
    if (count > 0) return keep(static_cast<char>(static_cast<unsigned char>(value)));
    illegal_escape(character);
    return false;
  }
  ++cursor_;
  if (ends_line(character)) {
    ++line_;
    if (character == '\r' && peek_character() == '\n') ++cursor_;
    return true;
  }
  const size_t index = escaped.find(character);
  if (index != escaped.npos) return keep(meant[index]);
  illegal_escape(character);
  return false;
}

}  // namespace tv

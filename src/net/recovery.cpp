// Going on after an error, so that a text with several mistakes tells of all of them at once. An attribute
// ends with its semicolon and an item with its brace: behind these the text makes sense again. What follows
// from a mistake that has been reported is not reported as another one.

#include <utility>

#include "net/file_access.h"
#include "net/parser.h"

namespace tv {

// Whether there is any use in reading on. Failures that nobody has told the handler are told now.
bool NetParser::goes_on_after(tv_status_t status) {
  if (!first_failure_) first_failure_ = status;
  if (most_errors_ <= 1) return false;
  if (lexer_.error_count() == told_errors_ && !is_silent_) report_failure(lexer_, status);
  told_errors_ = lexer_.error_count();
  is_silent_ = status == tv_status_no_memory || told_errors_ >= most_errors_ || !lexer_.recover();
  return !is_silent_;
}

tv_status_t NetParser::fail_silently() noexcept {
  is_silent_ = true;
  return tv_status_parse;
}

// Characters that make no token are errors of their own, but no reason to stop skipping. `end` when it is
// time to give up.
Token NetParser::next_to_skip() {
  for (;;) {
    const Token token = lexer_.next();
    if (token != Token::error) return token;
    if (lexer_.status() && !goes_on_after(lexer_.status())) return Token::end;
  }
}

// To the next attribute or the end of the block, from the token at which parsing stopped; false when the
// block does not go on.
bool NetParser::skip_attribute() {
  bool starts_afresh = std::exchange(value_is_complete_, false);
  lexer_.push_back();
  Token token = lexer_.next();
  if (token == Token::error) {
    // A string that did not end has taken the rest of its line with it.
    starts_afresh = lexer_.at_line_end();
    token = next_to_skip();
  }
  if (!next_keyword_.empty()) {
    if (token == Token::name || token == punctuation('(') || token == punctuation('{')) {
      lexer_.push_back();
      return false;
    }
    next_keyword_.clear();
  }
  for (; token != Token::end; token = next_to_skip(), starts_afresh = false) {
    if (token == punctuation(';')) return true;
    if (token != punctuation('}') && !(token == Token::name && starts_afresh)) continue;
    lexer_.push_back();
    return true;
  }
  return false;
}

// Behind the block of an item that could not be read to its end, or to the keyword of the next one where the
// block is missing; false at the end of the text.
bool NetParser::skip_item(const std::string& keyword) {
  if (item_has_ended_ || !next_keyword_.empty()) return true;
  if (lexer_.offset() != item_offset_) lexer_.push_back();  // the keyword itself is done with
  size_t blocks = in_block_ ? 1 : 0, parentheses = 0;
  for (Token token = next_to_skip(); token != Token::end; token = next_to_skip()) {
    blocks += token == punctuation('{');
    if (token == punctuation('}') && blocks <= 1) return true;
    blocks -= token == punctuation('}');
    if (blocks > 0) continue;
    parentheses += token == punctuation('(');
    parentheses -= token == punctuation(')') && parentheses > 0;
    if (token != Token::name || parentheses > 0) continue;
    if (is_keyword(lexer_.view())) {
      next_keyword_ = lexer_.text();
      return true;
    }
    if (keyword != "potential") lost_names_.insert(lexer_.text());
  }
  return false;
}

}  // namespace tv

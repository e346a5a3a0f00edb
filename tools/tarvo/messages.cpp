#include "messages.h"

#include <tarvo.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "failure.h"
#include "output.h"
#include "progress.h"

namespace program {
namespace {

constexpr char kFailure[] = "API error: ", kAboutTable[] = "the table of ";
constexpr char kWarning[] = "warning: ";
constexpr size_t kWidth = 100;  // of the part of a line that is shown
constexpr size_t kShownWarnings = 10;
constexpr size_t kBefore = 60;  // characters of it before the place, in a long line

// The byte where the character of that number begins.
size_t byte_of(const std::string& line, size_t character) {
  size_t byte = 0;
  for (size_t passed = 1; byte < line.size(); ++byte) {
    if ((static_cast<unsigned char>(line[byte]) & 0xC0) == 0x80) continue;
    if (passed++ == character) break;
  }
  return byte;
}

}  // namespace

// Where a line begins, all ones when there is no such line. Lines end with either or both of the usual
// characters; a byte order mark belongs to none.
size_t Messages::begin_of(size_t line) const {
  if (!text_ || line == 0) return std::string::npos;
  if (lines_.empty()) {
    lines_.push_back(text_->rfind("\xEF\xBB\xBF", 0) == 0 ? 3 : 0);
    for (size_t end = 0; (end = text_->find_first_of("\r\n", end)) != std::string::npos;) {
      end += text_->compare(end, 2, "\r\n") == 0 ? 2 : 1;
      lines_.push_back(end);
    }
  }
  return line > lines_.size() ? std::string::npos : lines_[line - 1];
}

std::string Messages::line_of(size_t line) const {
  const size_t begin = begin_of(line);
  if (begin == std::string::npos) return "";
  return text_->substr(begin, text_->find_first_of("\r\n", begin) - begin);
}

// The library counts bytes, people count characters. In lines that nobody looks at as a whole it makes no
// difference.
void Messages::add_from_library(const char* text) {
  constexpr size_t looked_at = 1 << 16;
  const size_t line = tv_error_line(), begin = begin_of(line);
  size_t column = tv_error_column();
  if (begin != std::string::npos && column <= looked_at)
    column = 1 + display_width(text_->substr(begin, column - 1));
  add(line, column, text);
}

void Messages::add(size_t line, size_t column, const char* text) {
  Message message{line, column, text, false};
  if (message.text.rfind(kWarning, 0) == 0) {
    message.is_warning = true;
    message.text.erase(0, std::strlen(kWarning));
  }
  // The library's words about codes are for programmers; about a wrong table it knows more than the grammar
  // says.
  if (message.text.rfind(kFailure, 0) == 0)
    message.text = library_message();
  else if (const std::string detail = tv_error_message();
           detail.rfind(kAboutTable, 0) == 0 && detail != detail_)
    message.text += ": " + (detail_ = detail);
  messages_.push_back(std::move(message));
}

bool Messages::has_errors() const {
  return std::any_of(messages_.begin(), messages_.end(), [](const Message& one) { return !one.is_warning; });
}

std::string Messages::shown(const Message& message) const {
  std::string text = file_;
  if (message.line) text += ":" + std::to_string(message.line);
  if (message.column) text += ":" + std::to_string(message.column);
  text += std::string(": ") + (message.is_warning ? kWarning : "") + message.text;
  text = printable(text, true);
  std::string line = line_of(message.line);
  if (line.find_first_not_of(" \t") == std::string::npos) return text;
  size_t place = message.column ? byte_of(line, message.column) : 0;
  if (place > kBefore) {
    size_t begin = place - kBefore;
    while (begin < place && (static_cast<unsigned char>(line[begin]) & 0xC0) == 0x80) ++begin;
    line.erase(0, begin);
    place -= begin;
  }
  std::string before = line.substr(0, place), after = line.substr(place);
  if (line.size() > kWidth && place < kWidth) after.resize(byte_of(after, kWidth - place));
  std::replace(before.begin(), before.end(), '\t', ' ');
  before = printable(before);
  text += "\n    " + before + printable(after, true);
  if (message.column) text += "\n    " + std::string(display_width(before), ' ') + "^";
  return text;
}

void Messages::print() const {
  clear_progress();
  size_t warnings = 0;
  for (const Message& message : messages_) {
    warnings += message.is_warning;
    if (!message.is_warning || warnings <= kShownWarnings)
      std::fprintf(stderr, "%s\n", shown(message).c_str());
  }
  if (warnings > kShownWarnings)
    std::fprintf(stderr, "%s: %zu more warnings; \"tarvo check\" shows them all\n", printable(file_).c_str(),
                 warnings - kShownWarnings);
}

}  // namespace program

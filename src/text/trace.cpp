#include "text/trace.h"

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <new>

#include "network/node_operations.h"

namespace tv {
namespace {

constexpr size_t kIndent = 4;
constexpr size_t kLineWidth = 75;
constexpr double kHugeCost = 9007199254740992.0;  // 2^53: from here on doubles skip integers

}  // namespace

Trace::Trace(const Domain& domain) noexcept : Trace(domain.log) {}

void Trace::print(const char* format, ...) noexcept {
  if (!stream_) return;
  std::va_list arguments;
  va_start(arguments, format);
  if (std::vfprintf(stream_, format, arguments) < 0) failed_ = true;
  va_end(arguments);
}

void Trace::text(std::string_view text) noexcept {
  if (!stream_ || text.empty()) return;
  if (std::fwrite(text.data(), 1, text.size(), stream_) != text.size()) failed_ = true;
}

void Trace::flush() noexcept {
  if (stream_ && std::fflush(stream_) != 0) failed_ = true;
}

void Trace::time_stamp() noexcept {
  if (!stream_) return;
  const std::time_t now = std::time(nullptr);
  char buffer[64];  // ctime_r writes 26 characters
  if (const char* stamp = ctime_r(&now, buffer)) text(stamp);
}

NumberText::NumberText(double number, int precision, bool upper_case) noexcept {
  // More digits than a double can need would not fit into the text.
  precision = std::clamp(precision, 0, 30);
  char* const last = text_ + sizeof text_ - 1;
  char* const end = std::to_chars(text_, last, number, std::chars_format::general, precision).ptr;
  *end = '\0';
  if (!upper_case) return;
  for (char* c = text_; c != end; ++c)
    if (*c >= 'a' && *c <= 'z') *c = static_cast<char>(*c - 'a' + 'A');
}

CostText::CostText(double cost) noexcept {
  if (cost < kHugeCost)
    *std::to_chars(text_, text_ + sizeof text_ - 1, static_cast<long long>(cost)).ptr = '\0';
  else
    std::strcpy(text_, "HUGE");
}

void trace_names(Trace& trace, Node* const* begin, Node* const* end) {
  if (!trace.enabled()) return;
  size_t column = 0;
  for (Node* const* node = begin; node != end; ++node) {
    const char* name = name_of(**node);
    if (!name) throw std::bad_alloc();  // an automatic name could not be made
    const size_t length = std::strlen(name);
    if (node == begin) {
      trace.text("    ");
      column = kIndent + length;
    } else if (column + 2 + length > kLineWidth) {
      trace.text(",\n    ");
      column = kIndent + length;
    } else {
      trace.text(", ");
      column += 2 + length;
    }
    trace.text({name, length});
  }
  trace.text("\n");
}

}  // namespace tv

// The writer of the traces: formats into the domain's log stream and remembers the first failure.
// Nothing on the way checks for errors; the operation asks `status` once, before it commits. (A
// second flush after a failed one reports success, so the first failure must be remembered.)
#pragma once

#include <cstdio>
#include <string_view>

#include "network/types.h"

namespace tv {

class Trace {
 public:
  explicit Trace(std::FILE* stream) noexcept : stream_(stream) {}  // null: writes nothing
  explicit Trace(const Domain& domain) noexcept;                   // the domain's log stream

  bool enabled() const noexcept { return stream_ != nullptr; }
  void print(const char* format, ...) noexcept __attribute__((format(printf, 2, 3)));
  void text(std::string_view text) noexcept;
  void flush() noexcept;
  void time_stamp() noexcept;  // the current time as ctime_r writes it

  // `io` once a write or a flush has failed, else `none`; stores nothing.
  tv_status_t status() const noexcept { return failed_ ? tv_status_io : tv_status_none; }

 private:
  std::FILE* stream_;
  bool failed_ = false;
};

// "%G" and "%g" (and "%-10.8G" alike: any precision, upper or lower case) as the "C" locale writes
// them, whatever the host's locale. Usable as an argument of `Trace::print` with "%s".
class NumberText {
 public:
  explicit NumberText(double number, int precision = 6, bool upper_case = false) noexcept;
  const char* c_str() const noexcept { return text_; }

 private:
  char text_[40];
};

// A cost as the traces print it: an integer, or "HUGE" from 2^53 on.
class CostText {
 public:
  explicit CostText(double cost) noexcept;
  const char* c_str() const noexcept { return text_; }

 private:
  char text_[40];
};

// Names separated by ", ", every line indented by four blanks and broken with ",\n" before it would pass
// 75 columns; ends with "\n".
void trace_names(Trace& trace, Node* const* begin, Node* const* end);

}  // namespace tv

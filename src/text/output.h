// The one way out for text: a sink that writes to a stream or into a string that the caller will free. It
// remembers its first failure and takes nothing more after it, so that writers ask once.
#pragma once

#include <cstdio>
#include <string_view>

#include "api/status.h"

namespace tv {

class OutputSink {
 public:
  OutputSink() noexcept = default;                                      // a string
  explicit OutputSink(std::FILE* stream) noexcept : stream_(stream) {}  // written in large pieces
  ~OutputSink();
  OutputSink(const OutputSink&) = delete;
  OutputSink& operator=(const OutputSink&) = delete;

  void text(std::string_view text) noexcept;
  void blanks(size_t count) noexcept;
  void table_number(tv_number_t number) noexcept;          // "%G"
  void number(double number, int precision = 8) noexcept;  // "%.8G"

  // What went wrong first: `no_memory` or `io`.
  tv_status_t status() const noexcept { return status_; }
  // Hands the rest to the stream, and flushes the stream.
  tv_status_t finish() noexcept;
  // The text, which is the caller's to free; null after a failure.
  char* release() noexcept;

 private:
  char* room(size_t count) noexcept;  // for so many characters behind the last; null: no room
  bool grow(size_t needed) noexcept;
  void flush() noexcept;

  std::FILE* stream_ = nullptr;  // null: a string
  char* buffer_ = nullptr;
  size_t used_ = 0;
  size_t capacity_ = 0;
  tv_status_t status_ = tv_status_none;
};

}  // namespace tv

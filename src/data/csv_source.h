// The bytes of a CSV text, from a stream or from memory. A stream that holds gzip is read as what it holds.
#pragma once

#include <cstdio>
#include <memory>
#include <string_view>

#include "api/status.h"

namespace tv {

class GzipReader;

class CsvSource {
 public:
  explicit CsvSource(std::string_view text) noexcept;
  explicit CsvSource(std::FILE* stream) noexcept;
  ~CsvSource();
  CsvSource(const CsvSource&) = delete;
  CsvSource& operator=(const CsvSource&) = delete;

  // Stores up to `room` bytes; fewer only at the end or where reading failed.
  size_t read(char* to, size_t room);

  // What went wrong while reading: `io` for the stream, `parse` for what it holds compressed.
  tv_status_t status() const noexcept { return status_; }
  const char* message() const noexcept { return message_; }  // of `parse`

 private:
  size_t read_stream(char* to, size_t room) noexcept;
  void begin();

  std::FILE* stream_ = nullptr;  // null: memory
  std::string_view text_;        // what is left in memory, which comes first
  char first_[2];                // of a stream
  std::unique_ptr<GzipReader> gzip_;
  bool has_begun_ = false;
  tv_status_t status_ = tv_status_none;
  const char* message_ = nullptr;
};

}  // namespace tv

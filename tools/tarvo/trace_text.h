// What the library writes to its log, kept in memory.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include "network.h"

namespace program {

class TraceText {
 public:
  TraceText() : stream_(open_memstream(&text_, &size_)) {
    if (!stream_) throw Failure(kFailed, "no memory for the report");
  }
  ~TraceText() {
    std::fclose(stream_);
    std::free(text_);
  }
  TraceText(const TraceText&) = delete;
  TraceText& operator=(const TraceText&) = delete;
  std::FILE* stream() const { return stream_; }
  std::string text() const {
    std::fflush(stream_);
    return {text_, size_};
  }

 private:
  char* text_ = nullptr;
  size_t size_ = 0;
  std::FILE* stream_;
};

}  // namespace program

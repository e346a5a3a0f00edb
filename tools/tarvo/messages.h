// What the readers of networks and evidence have to say about a file: on the error stream, each with its
// place and the line that it is about.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace program {

struct Message {
  size_t line = 0;    // from 1; 0 where it is about no line
  size_t column = 0;  // in characters from 1; 0 where it is about the whole line
  std::string text;
  bool is_warning = false;
};

// Collects the messages of one reader, by the handlers of the library.
class Messages {
 public:
  Messages() = default;
  Messages(std::string file, const std::string& text) : file_(std::move(file)), text_(&text) {}

  void add(size_t line, size_t column, const char* text);
  // The library's latest message, whose place it knows.
  void add_from_library(const char* text);
  const std::vector<Message>& all() const { return messages_; }
  bool has_errors() const;

  // "FILE:LINE:COLUMN: message", then the line with a mark below the place.
  std::string shown(const Message& message) const;
  void print() const;  // errors, and the first warnings

 private:
  size_t begin_of(size_t line) const;
  std::string line_of(size_t line) const;

  std::string file_;
  const std::string* text_ = nullptr;  // of the file
  mutable std::vector<size_t> lines_;  // where they begin; made when the first one is shown
  std::vector<Message> messages_;
  std::string detail_;  // the latest of those that the library added to an error
};

}  // namespace program

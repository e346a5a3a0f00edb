// Whole files in and out. Reading knows "-" for the standard input; writing never leaves half a file behind.
#pragma once

#include <cstdio>
#include <string>

namespace program {

// The bytes of a file, or of the standard input for "-". Fails with the name and the reason of the system.
std::string read_file(const std::string& file);

// "standard input" for "-".
std::string shown_file(const std::string& file);

// A file in the making. It stands beside the one that it will replace, under another name, until it is
// complete and safely stored; what is no ordinary file, such as a pipe or a device, is written as it is. "-"
// stands for the standard output.
class FileWriter {
 public:
  explicit FileWriter(const std::string& file);
  ~FileWriter();
  FileWriter(const FileWriter&) = delete;
  FileWriter& operator=(const FileWriter&) = delete;

  std::FILE* stream() const { return stream_; }
  void commit();  // the file is complete; fails when it could not be written
  [[noreturn]] void fail(const std::string& trouble) const;

 private:
  std::string file_;       // for messages
  std::string target_;     // behind symbolic links
  std::string temporary_;  // empty when the target is written directly
  std::FILE* stream_ = nullptr;
};

// To be called by the handler of a signal that ends the program.
void remove_unfinished_file() noexcept;

}  // namespace program

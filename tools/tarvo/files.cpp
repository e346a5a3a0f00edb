#include "files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "failure.h"

namespace program {
namespace {

// The name of the unfinished file, where a signal handler can read it; empty when there is none.
char unfinished[PATH_MAX] = "";

std::string reason(int error) { return std::strerror(error); }

std::string behind_links(const std::string& file) {
  const std::unique_ptr<char, void (*)(void*)> path(realpath(file.c_str(), nullptr), std::free);
  return path ? path.get() : file;
}

mode_t mode_of_new_files() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

}  // namespace

std::string shown_file(const std::string& file) { return file == "-" ? "standard input" : file; }

std::string read_file(const std::string& file) {
  std::FILE* stream = file == "-" ? stdin : std::fopen(file.c_str(), "rb");
  if (!stream) throw Failure(kFailed, file + ": " + reason(errno));
  std::string text;
  char block[1 << 16];
  errno = 0;
  for (size_t size; (size = std::fread(block, 1, sizeof block, stream)) > 0;) text.append(block, size);
  const int error = std::ferror(stream) ? errno : 0;
  if (stream != stdin) std::fclose(stream);
  if (error) throw Failure(kFailed, shown_file(file) + ": " + reason(error));
  return text;
}

FileWriter::FileWriter(const std::string& file) : file_(file == "-" ? "standard output" : file) {
  if (file == "-") {
    stream_ = stdout;
    return;
  }
  target_ = behind_links(file);
  struct stat present {};
  const bool exists = stat(target_.c_str(), &present) == 0;
  if (exists && S_ISDIR(present.st_mode)) throw Failure(kFailed, file_ + ": " + reason(EISDIR));
  if (exists && !S_ISREG(present.st_mode)) {
    stream_ = std::fopen(target_.c_str(), "w");
    if (!stream_) fail(reason(errno));
    return;
  }
  if (exists && access(target_.c_str(), W_OK) != 0) fail(reason(errno));
  temporary_ = target_ + ".XXXXXX";
  if (temporary_.size() >= sizeof unfinished) fail(reason(ENAMETOOLONG));
  const int descriptor = mkstemp(temporary_.data());
  if (descriptor < 0) {
    temporary_.clear();
    fail(reason(errno));
  }
  std::strcpy(unfinished, temporary_.c_str());
  const bool has_mode = fchmod(descriptor, exists ? present.st_mode & 07777 : mode_of_new_files()) == 0;
  stream_ = has_mode ? fdopen(descriptor, "w") : nullptr;
  if (stream_) return;
  const int error = errno;
  close(descriptor);
  remove_unfinished_file();
  fail(reason(error));
}

FileWriter::~FileWriter() {
  if (stream_ && stream_ != stdout) std::fclose(stream_);
  if (!temporary_.empty()) remove_unfinished_file();
}

void FileWriter::fail(const std::string& trouble) const {
  throw Failure(kFailed, file_ + ": it could not be written: " + trouble);
}

void FileWriter::commit() {
  if (stream_ == stdout) return;  // looked at when the program ends
  errno = 0;
  const bool stored = std::fflush(stream_) == 0 && !std::ferror(stream_) &&
                      (temporary_.empty() || fsync(fileno(stream_)) == 0);
  const int error = errno;
  const bool closed = std::fclose(stream_) == 0;
  stream_ = nullptr;
  if (!stored || !closed) fail(reason(stored ? errno : error));
  if (temporary_.empty()) return;
  if (std::rename(temporary_.c_str(), target_.c_str()) != 0) fail(reason(errno));
  unfinished[0] = '\0';
  temporary_.clear();
}

void remove_unfinished_file() noexcept {
  if (unfinished[0]) unlink(unfinished);
  unfinished[0] = '\0';
}

}  // namespace program

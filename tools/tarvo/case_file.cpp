#include "case_file.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "files.h"
#include "progress.h"

namespace program {
namespace {

// A text under a file name, since the library reads cases from files alone.
class NamedText {
 public:
  explicit NamedText(const std::string& text) : descriptor_(memfd_create("case", MFD_CLOEXEC)) {
    if (descriptor_ < 0) throw Failure(kFailed, std::string("evidence: ") + std::strerror(errno));
    for (size_t written = 0; written < text.size();) {
      const ssize_t size = ::write(descriptor_, text.data() + written, text.size() - written);
      if (size < 0 && errno != EINTR) throw std::bad_alloc();
      if (size > 0) written += static_cast<size_t>(size);
    }
  }
  ~NamedText() { close(descriptor_); }
  NamedText(const NamedText&) = delete;
  NamedText& operator=(const NamedText&) = delete;
  std::string name() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

void note(size_t, const char* text, void* messages) {
  static_cast<Messages*>(messages)->add_from_library(text);
}

using Reader = tv_status_t (*)(tv_domain_t*, const char*, tv_error_handler_t, void*);

void read(Reader reader, const Network& network, const std::string& file) {
  const Activity reading("reading " + shown_file(file));
  const std::string text = read_file(file);
  Messages messages(shown_file(file), text);
  const NamedText copy(text);
  const tv_status_t status = reader(network.domain(), copy.name().c_str(), note, &messages);
  if (status && !messages.has_errors()) messages.add(0, 0, library_message().c_str());
  messages.print();
  if (status) throw Failure(kFailed, "");
}

}  // namespace

void enter_case_file(const Network& network, const std::string& file) {
  read(tv_domain_parse_case, network, file);
}

void read_cases(const Network& network, const std::string& file) {
  read(tv_domain_parse_cases, network, file);
}

}  // namespace program

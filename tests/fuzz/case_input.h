// One input of the fuzz target of case files: any bytes give messages or findings, and what was read from
// them is written and read again unchanged. The first byte chooses between one case and many.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include "net_input.h"

namespace fuzz {

// A file in memory, with a name as long as it lives.
class MemoryFile {
 public:
  explicit MemoryFile(const std::string& text) : descriptor_(memfd_create("case", 0)) {
    require(write(descriptor_, text.data(), text.size()) == static_cast<ssize_t>(text.size()),
            "memory is a file");
    name_ = "/proc/self/fd/" + std::to_string(descriptor_);
  }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  const char* name() const { return name_.c_str(); }
  std::string text() const {
    std::string result(static_cast<size_t>(lseek(descriptor_, 0, SEEK_END)), '\0');
    require(pread(descriptor_, result.data(), result.size(), 0) == static_cast<ssize_t>(result.size()),
            "it is read");
    return result;
  }

 private:
  int descriptor_;
  std::string name_;
};

inline tv_domain_t* case_domain() {
  static tv_domain_t* const domain = tv_net_parse_from_string(
      "node L { states = (\"yes\" \"no\" \"no\"); } node B { states = (\"\" \"\"); subtype = boolean; }\n"
      "node N { states = (\"\" \"\"); subtype = number; state_values = (-1 0.5); }\n"
      "node I { states = (\"\" \"\"); subtype = interval; state_values = (0 1 infinity); }\n"
      "continuous node X {} function F {}",
      nullptr);
  return domain;
}

inline std::string saved(bool many) {
  const MemoryFile file("");
  const tv_status_t status = many ? tv_domain_save_cases(case_domain(), file.name())
                                  : tv_domain_save_case(case_domain(), file.name());
  require(status == tv_status_none, "cases can be written");
  return file.text();
}

inline bool load(bool many, const std::string& text) {
  const MemoryFile file(text);
  size_t errors = 0;
  const tv_status_t status = many ? tv_domain_parse_cases(case_domain(), file.name(), count_errors, &errors)
                                  : tv_domain_parse_case(case_domain(), file.name(), count_errors, &errors);
  require((errors > 0) == (status != tv_status_none), "a failure is told");
  return status == tv_status_none;
}

inline void parse_case_bytes(const uint8_t* data, size_t size) {
  if (size == 0) return;
  const bool many = data[0] == 'm';
  if (!load(many, std::string(reinterpret_cast<const char*>(data) + 1, size - 1))) {
    require(many || saved(false).empty(), "a failure leaves no findings");
    return;
  }
  const std::string text = saved(many);
  require(load(many, text), "what was written can be read");
  require(saved(many) == text, "a second writing gives the same text");
}

}  // namespace fuzz

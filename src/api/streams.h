// What the library needs of the C library's streams and locale: opening files, the "C" locale for
// the duration of a parse or a write, and sizes as text for reports.
#pragma once

#include <locale.h>

#include <cstdio>
#include <memory>

#include "api/status.h"

namespace tv {

// Opens `name`; stores `io` and returns null on failure, `none` on success.
std::FILE* _tv_open_file(const char* name, const char* mode) noexcept;

struct CloseFile {
  void operator()(std::FILE* stream) const noexcept { std::fclose(stream); }
};
using OpenFile = std::unique_ptr<std::FILE, CloseFile>;

// Null with the status stored when the file cannot be opened.
inline OpenFile open_file(const char* name, const char* mode) noexcept {
  return OpenFile(_tv_open_file(name, mode));
}

inline tv_status_t close_file(OpenFile file) noexcept {
  return std::fclose(file.release()) == 0 ? tv_status_none : tv_status_io;
}

// The "C" locale in all categories, on this thread and for the lifetime of the object. The locale of the
// process stays as it is: other threads may be reading and writing at the same time, or need the host's.
class CLocale {
 public:
  CLocale() noexcept;  // stores `locale` or `no_memory` when it cannot be selected
  ~CLocale();
  CLocale(const CLocale&) = delete;
  CLocale& operator=(const CLocale&) = delete;
  bool selected() const noexcept { return before_ != nullptr; }

 private:
  locale_t own_;
  locale_t before_;  // what the thread used; null when nothing was selected
};

// Eight texts in rotation, so that up to eight sizes can stand in one message.
struct PrintContext {
  char buffers[8][64] = {};
  unsigned next = 0;
};

// Decimal digits, or "HUGE" for the all-ones value; valid until the eighth following call.
const char* _tv_print_size(PrintContext& context, size_t size) noexcept;

}  // namespace tv

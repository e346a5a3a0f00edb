// What the library needs of the C library's streams and locale: opening files, the "C" locale for
// the duration of a parse or a write, and sizes as text for reports.
#pragma once

#include <cstdio>

#include "api/status.h"

namespace tv {

// Opens `name`; stores `io` and returns null on failure, `none` on success.
std::FILE* _tv_open_file(const char* name, const char* mode) noexcept;

// Selects the "C" locale for all categories and returns the name of the locale that was in force,
// to be given back to `_tv_restore_locale`; null with `locale` or `no_memory` on failure.
char* _tv_select_C_locale() noexcept;
void _tv_restore_locale(char* saved) noexcept;

// The "C" locale for the lifetime of the object.
class CLocale {
 public:
  CLocale() noexcept : saved_(_tv_select_C_locale()) {}
  ~CLocale() {
    if (saved_) _tv_restore_locale(saved_);
  }
  CLocale(const CLocale&) = delete;
  CLocale& operator=(const CLocale&) = delete;
  bool selected() const noexcept { return saved_ != nullptr; }

 private:
  char* saved_;
};

// Eight texts in rotation, so that up to eight sizes can stand in one message.
struct PrintContext {
  char buffers[8][64] = {};
  unsigned next = 0;
};

// Decimal digits, or "HUGE" for the all-ones value; valid until the eighth following call.
const char* _tv_print_size(PrintContext& context, size_t size) noexcept;

}  // namespace tv

#include "api/streams.h"

#include <cerrno>
#include <charconv>
#include <clocale>
#include <cstdlib>
#include <cstring>

#include "api/memory.h"

namespace tv {

std::FILE* _tv_open_file(const char* name, const char* mode) noexcept {
  std::FILE* stream = std::fopen(name, mode);
  if (stream)
    store_status(tv_status_none);
  else
    refuse(tv_status_io, "%s: %s", name, std::strerror(errno));
  return stream;
}

char* _tv_select_C_locale() noexcept {
  const char* present = std::setlocale(LC_ALL, nullptr);
  if (!present) {
    store_status(tv_status_locale);
    return nullptr;
  }
  char* saved = _tv_allocate_string(present);
  if (saved && !std::setlocale(LC_ALL, "C")) {
    std::free(saved);
    store_status(tv_status_locale);
    return nullptr;
  }
  return saved;
}

void _tv_restore_locale(char* saved) noexcept {
  std::setlocale(LC_ALL, saved);
  std::free(saved);
}

const char* _tv_print_size(PrintContext& context, size_t size) noexcept {
  char* buffer = context.buffers[context.next];
  constexpr size_t capacity = sizeof context.buffers[0];
  context.next = (context.next + 1) % 8;
  if (size == kHugeSize) return std::strcpy(buffer, "HUGE");
  *std::to_chars(buffer, buffer + capacity - 1, size).ptr = '\0';
  return buffer;
}

}  // namespace tv

#include "api/streams.h"

#include <cerrno>
#include <charconv>
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

CLocale::CLocale() noexcept
    : own_(newlocale(LC_ALL_MASK, "C", nullptr)), before_(own_ ? uselocale(own_) : nullptr) {
  if (!selected()) store_status(!own_ && errno == ENOMEM ? tv_status_no_memory : tv_status_locale);
}

CLocale::~CLocale() {
  if (selected()) uselocale(before_);
  if (own_) freelocale(own_);
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

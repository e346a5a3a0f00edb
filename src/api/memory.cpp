#include "api/memory.h"

#include <cstdlib>
#include <cstring>

namespace tv {
namespace {

void* keep_or_report(void* block) noexcept {
  store_status(block ? tv_status_none : tv_status_no_memory);
  return block;
}

}  // namespace

void* _tv_allocate(size_t size) noexcept {
  // malloc(0) may return null without being out of memory.
  return keep_or_report(size == kHugeSize ? nullptr : std::malloc(size ? size : 1));
}

void* _tv_reallocate(void* pointer, size_t size) noexcept {
  if (!pointer) return _tv_allocate(size);
  return keep_or_report(size == kHugeSize ? nullptr : std::realloc(pointer, size ? size : 1));
}

void* _tv_shrink(void* pointer, size_t size) noexcept {
  if (!pointer) return nullptr;
  if (size == 0) {
    std::free(pointer);
    return nullptr;
  }
  void* block = std::realloc(pointer, size);
  return block ? block : pointer;
}

char* _tv_allocate_string(const char* text) noexcept {
  const size_t size = size_add(std::strlen(text), 1);
  char* copy = static_cast<char*>(_tv_allocate(size));
  if (copy) std::memcpy(copy, text, size);
  return copy;
}

char* _tv_copy_file_name(const char* name) noexcept { return _tv_allocate_string(name); }

}  // namespace tv

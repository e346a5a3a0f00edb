#include "api/memory.h"

#include <sys/mman.h>

#include <cstdint>
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

void expect_large_block(void* block, size_t size) noexcept {
  constexpr std::uintptr_t page = 2 * 1024 * 1024;
  const std::uintptr_t first = (reinterpret_cast<std::uintptr_t>(block) + page - 1) & ~(page - 1);
  const std::uintptr_t last = (reinterpret_cast<std::uintptr_t>(block) + size) & ~(page - 1);
  if (last > first) madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
}

char* _tv_allocate_string(const char* text) noexcept {
  const size_t size = size_add(std::strlen(text), 1);
  char* copy = static_cast<char*>(_tv_allocate(size));
  if (copy) std::memcpy(copy, text, size);
  return copy;
}

char* _tv_copy_file_name(const char* name) noexcept { return _tv_allocate_string(name); }

}  // namespace tv

// Memory that a caller of the library frees with free(), and size arithmetic that cannot wrap.
// What the library keeps for itself comes from operator new instead.
#pragma once

#include <cstddef>

#include "api/status.h"

namespace tv {

// The all-ones value of size_t stands for every size that does not fit.
inline constexpr size_t kHugeSize = static_cast<size_t>(-1);

inline size_t size_multiply(size_t a, size_t b) noexcept {
  size_t product;
  return __builtin_mul_overflow(a, b, &product) ? kHugeSize : product;
}

inline size_t size_add(size_t a, size_t b) noexcept {
  size_t sum;
  return __builtin_add_overflow(a, b, &sum) ? kHugeSize : sum;
}

// Both store `no_memory` and return null when the size is kHugeSize or the allocator fails, and
// store `none` otherwise; a failed reallocation leaves the old block alone.
void* _tv_allocate(size_t size) noexcept;
void* _tv_reallocate(void* pointer, size_t size) noexcept;

// Never fails and never touches the status; a size of 0 frees the block and returns null.
void* _tv_shrink(void* pointer, size_t size) noexcept;

// Tells the system that a large block will be used as a whole, so that it may come in large pages: the first
// touch of every small page costs more than a pass over it. Harmless where the system does not listen.
void expect_large_block(void* block, size_t size) noexcept;

char* _tv_allocate_string(const char* text) noexcept;
char* _tv_copy_file_name(const char* name) noexcept;

}  // namespace tv

#include "memory.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<size_t> live{0}, peak{0};

void* counted(void* block) {
  if (!block) throw std::bad_alloc();
  const size_t now = live += malloc_usable_size(block);
  for (size_t seen = peak; now > seen && !peak.compare_exchange_weak(seen, now);) {
  }
  return block;
}

void release(void* block) {
  if (!block) return;
  live -= malloc_usable_size(block);
  std::free(block);
}

}  // namespace

// The array and nothrow forms of the standard library call these.
void* operator new(size_t size) { return counted(std::malloc(size ? size : 1)); }
void* operator new(size_t size, std::align_val_t alignment) {
  const size_t unit = static_cast<size_t>(alignment);
  return counted(std::aligned_alloc(unit, (size + unit - 1) / unit * unit));
}
void operator delete(void* block) noexcept { release(block); }
void operator delete(void* block, size_t) noexcept { release(block); }
void operator delete(void* block, std::align_val_t) noexcept { release(block); }
void operator delete(void* block, size_t, std::align_val_t) noexcept { release(block); }

namespace bench {

size_t live_bytes() { return live; }
size_t peak_bytes() { return peak; }
void reset_peak() { peak = live.load(); }

}  // namespace bench

#include "faults/injection.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>
#include <thread>

extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);
void __real_free(void* block);
int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
}

namespace test {
namespace {

constexpr long kNever = -1;
std::atomic<long> seen[2], fail_at[2] = {kNever, kNever}, live;
std::atomic<bool> lasting, struck;
std::atomic<size_t> requested;

bool refuse(Fault fault) noexcept {
  const int kind = static_cast<int>(fault);
  const long limit = fail_at[kind].load();
  if (limit == kNever) return false;
  const long n = seen[kind]++;
  if (n < limit || (n > limit && !lasting)) return false;
  struck = true;
  return true;  // a good place for a breakpoint
}

template <class Allocate>
void* counted(Allocate allocate) noexcept {
  void* block = refuse(Fault::allocation) ? nullptr : allocate();
  if (block) ++live;
  return block;
}

void counted_free(void* block) noexcept {
  if (block) --live;
  __real_free(block);
}

void* plain(size_t size) noexcept {
  requested += size;
  return counted([=] { return __real_malloc(size ? size : 1); });
}

void* aligned(size_t size, std::align_val_t alignment) noexcept {
  const size_t unit = static_cast<size_t>(alignment);
  requested += size;
  return counted([=] { return std::aligned_alloc(unit, (size + unit - 1) / unit * unit); });
}

void* or_throw(void* block) {
  if (!block) throw std::bad_alloc();
  return block;
}

}  // namespace

void arm(Fault fault, long n, bool persistent) noexcept {
  lasting = persistent;
  struck = false;
  requested = 0;
  for (auto& count : seen) count = 0;
  fail_at[static_cast<int>(fault)] = n;
}
void disarm() noexcept {
  for (auto& limit : fail_at) limit = kNever;
}
long requests_seen() noexcept { return std::max(seen[0].load(), seen[1].load()); }
size_t bytes_requested() noexcept { return requested; }
bool fault_struck() noexcept { return struck; }
long live_blocks() noexcept { return live; }

namespace {

struct Device {
  size_t room;
  std::string* written;
};

ssize_t write_to_device(void* cookie, const char* data, size_t size) {
  Device& device = *static_cast<Device*>(cookie);
  const size_t taken = std::min(size, device.room);
  device.room -= taken;
  device.written->append(data, taken);
  if (taken == 0) errno = ENOSPC;
  return static_cast<ssize_t>(taken);  // 0 is how a write function of the C library says that it failed
}

int close_device(void* cookie) {
  delete static_cast<Device*>(cookie);
  return 0;
}

}  // namespace

std::FILE* open_limited_stream(size_t room, bool buffered, std::string& written) {
  written.clear();
  std::FILE* stream =
      fopencookie(new Device{room, &written}, "w",
                  {.read = nullptr, .write = write_to_device, .seek = nullptr, .close = close_device});
  if (!buffered) std::setvbuf(stream, nullptr, _IONBF, 0);
  return stream;
}

}  // namespace test

extern "C" {
void* __wrap_malloc(size_t size) {
  return test::counted([=] { return __real_malloc(size); });
}
void* __wrap_calloc(size_t count, size_t size) {
  return test::counted([=] { return __real_calloc(count, size); });
}
void* __wrap_realloc(void* block, size_t size) {
  if (!block) return __wrap_malloc(size);
  return test::refuse(test::Fault::allocation) ? nullptr : __real_realloc(block, size);
}
void __wrap_free(void* block) { test::counted_free(block); }
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                          void* argument) {
  if (test::refuse(test::Fault::thread_start)) return EAGAIN;
  return __real_pthread_create(thread, attributes, start, argument);
}
}

void* operator new(size_t size) { return test::or_throw(test::plain(size)); }
void* operator new[](size_t size) { return test::or_throw(test::plain(size)); }
void* operator new(size_t size, const std::nothrow_t&) noexcept { return test::plain(size); }
void* operator new[](size_t size, const std::nothrow_t&) noexcept { return test::plain(size); }
void* operator new(size_t size, std::align_val_t unit) { return test::or_throw(test::aligned(size, unit)); }
void* operator new[](size_t size, std::align_val_t unit) { return test::or_throw(test::aligned(size, unit)); }
void* operator new(size_t size, std::align_val_t unit, const std::nothrow_t&) noexcept {
  return test::aligned(size, unit);
}
void* operator new[](size_t size, std::align_val_t unit, const std::nothrow_t&) noexcept {
  return test::aligned(size, unit);
}
void operator delete(void* block) noexcept { test::counted_free(block); }
void operator delete[](void* block) noexcept { test::counted_free(block); }
void operator delete(void* block, size_t) noexcept { test::counted_free(block); }
void operator delete[](void* block, size_t) noexcept { test::counted_free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { test::counted_free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { test::counted_free(block); }
void operator delete(void* block, std::align_val_t) noexcept { test::counted_free(block); }
void operator delete[](void* block, std::align_val_t) noexcept { test::counted_free(block); }
void operator delete(void* block, size_t, std::align_val_t) noexcept { test::counted_free(block); }
void operator delete[](void* block, size_t, std::align_val_t) noexcept { test::counted_free(block); }

namespace test {
namespace {

// Compilers may leave out a pair of allocation and release whose block nobody looks at.
void look_at(void** blocks) { asm volatile("" : : "r"(blocks) : "memory"); }

// The harness itself: a fault that is never injected would make every other test here pass.
TEST(Injection, EveryKindOfAllocationIsSeen) {
  const long before = live_blocks();
  arm(Fault::allocation, 100, false);
  void* blocks[] = {::operator new(1), ::operator new(1, std::nothrow),
                    ::operator new(64, std::align_val_t(64)), std::malloc(1), std::calloc(1, 1)};
  look_at(blocks);
  disarm();
  EXPECT_EQ(requests_seen(), 5);
  EXPECT_EQ(live_blocks(), before + 5);
  ::operator delete(blocks[0]);
  ::operator delete(blocks[1], std::nothrow);
  ::operator delete(blocks[2], std::align_val_t(64));
  std::free(blocks[3]);
  std::free(blocks[4]);
  EXPECT_EQ(live_blocks(), before);
}

TEST(Injection, FaultsStrikeOnceOrForEver) {
  for (bool persistent : {false, true}) {
    arm(Fault::allocation, 1, persistent);
    void* blocks[] = {std::malloc(1), std::malloc(1), std::malloc(1)};
    look_at(blocks);
    disarm();
    EXPECT_TRUE(fault_struck());
    EXPECT_TRUE(blocks[0]);
    EXPECT_FALSE(blocks[1]);
    EXPECT_EQ(blocks[2] == nullptr, persistent);
    for (void* block : blocks) std::free(block);
  }
}

}  // namespace
}  // namespace test

// Threads for one operation: starting them, waiting for them, and doing the share of those that do not come.

#include "tables/kernels/parallel.h"

#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "api/float_environment.h"
#include "api/memory.h"
#include "tables/limits.h"

namespace tv {
namespace {

constexpr size_t kLooks = 4000;  // at a value that will change soon, before going to sleep

// Leaves the processor's units to the other thread of its core for a moment.
inline void rest_briefly() noexcept {
#if defined(__x86_64__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("yield");
#endif
}

// Waits until the value has changed.
void await_change(const std::atomic<uint32_t>& value, uint32_t old) noexcept {
  for (size_t look = 0; look < kLooks; ++look) {
    if (value.load(std::memory_order_acquire) != old) return;
    rest_briefly();
  }
  while (value.load(std::memory_order_acquire) == old) value.wait(old, std::memory_order_acquire);
}

#ifdef __linux__
// The processors that the control group has quota for, rounded up.
size_t find_quota() noexcept {
  long quota = 0, period = 0;
  FILE* const file = std::fopen("/sys/fs/cgroup/cpu.max", "re");
  const bool is_limited =
      file && std::fscanf(file, "%ld %ld", &quota, &period) == 2;  // without a quota it contains max
  if (file) std::fclose(file);
  if (!is_limited || quota <= 0 || period <= 0) return kHugeSize;
  return static_cast<size_t>((quota - 1) / period + 1);
}

size_t bound_processors() noexcept {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) == 0) return static_cast<size_t>(CPU_COUNT(&set));
  const long online = sysconf(_SC_NPROCESSORS_ONLN);  // more than the set can hold
  return online > 0 ? static_cast<size_t>(online) : 1;
}

size_t processors() noexcept {
  static const size_t quota = find_quota();
  return std::min(quota, bound_processors());
}
#else
size_t processors() noexcept {
  const long online = sysconf(_SC_NPROCESSORS_ONLN);
  return online > 0 ? static_cast<size_t>(online) : 1;
}
#endif

}  // namespace

size_t usable_threads(size_t targets) noexcept {
  if (targets <= 1) return 1;
  return std::clamp<size_t>(limits.processors ? limits.processors : processors(), 1, targets);
}

size_t number_of_threads(size_t units, size_t work, const ParallelSettings& settings) noexcept {
  if (settings.concurrency_level <= 1 || units == 0 || work == 0) return 1;
  const size_t chunk = settings.grain_size / work + (settings.grain_size % work != 0);
  return std::clamp<size_t>(units / std::max<size_t>(chunk, 1), 1, settings.concurrency_level);
}

UnitRange units_of_thread(size_t units, size_t threads, size_t t) noexcept {
  const size_t share = units / threads, extra = units % threads;
  const size_t begin = t * share + std::min(t, extra);
  return {begin, begin + share + (t < extra)};
}

Workers::~Workers() {
  ends_.store(true, std::memory_order_relaxed);
  round_.fetch_add(1, std::memory_order_release);
  round_.notify_all();
  for (const pthread_t thread : threads_started_) pthread_join(thread, nullptr);
}

void* Workers::serve(void* context) {
  Workers& workers = *static_cast<Workers*>(context);
  clear_range_flags();  // of the thread that started this one
  for (uint32_t seen = 0;;) {
    await_change(workers.round_, seen);
    seen = workers.round_.load(std::memory_order_acquire);
    if (workers.ends_.load(std::memory_order_relaxed)) return nullptr;
    workers.take_shares(seen, false);
  }
}

// Does shares until none is left, or until another round has begun, which comes after the end of this one.
void Workers::take_shares(uint32_t round, bool is_caller) {
  uint64_t left = left_.load(std::memory_order_acquire);
  while (left >> 32 == round && (left & 0xffffffff) != 0) {
    if (!left_.compare_exchange_weak(left, left - 1, std::memory_order_acq_rel, std::memory_order_acquire))
      continue;
    const size_t threads = threads_;
    const UnitRange share = units_of_thread(units_, threads, threads - (left & 0xffffffff));
    task_(context_, share.begin, share.end);
    if (!is_caller) hand_over_range_flags();
    if (done_.fetch_add(1, std::memory_order_acq_rel) + 1 == threads) done_.notify_one();
    left = left_.load(std::memory_order_acquire);
  }
}

void Workers::hand_over_range_flags() noexcept {
  const unsigned flags = range_flags();
  if (!flags) return;
  range_flags_.fetch_or(flags, std::memory_order_relaxed);
  clear_range_flags();
}

// A late thread sees the present round, like one that slept.
void Workers::start(size_t count) {
  threads_started_.reserve(count);
  while (threads_started_.size() < count) {
    pthread_t thread;
    if (pthread_create(&thread, nullptr, serve, this) == 0) {
      threads_started_.push_back(thread);
    } else {
      most_ = threads_started_.size() + 1;
      return;
    }
  }
}

void Workers::run(size_t units, size_t threads, ThreadTask task, void* context) {
  const uint32_t round = round_.load(std::memory_order_relaxed) + 1;
  if (const size_t others = std::min(threads, most_) - 1; others > threads_started_.size()) start(others);
  task_ = task;
  context_ = context;
  units_ = units;
  threads_ = threads;
  done_.store(0, std::memory_order_relaxed);
  left_.store(static_cast<uint64_t>(round) << 32 | threads, std::memory_order_release);
  round_.store(round, std::memory_order_release);
  if (!threads_started_.empty()) round_.notify_all();
  take_shares(round, true);
  for (uint32_t done; (done = done_.load(std::memory_order_acquire)) != threads;) await_change(done_, done);
  raise_range_flags(range_flags_.exchange(0, std::memory_order_relaxed));
}

void run_on_threads(size_t units, size_t threads, ThreadTask task, void* context, Workers* workers) {
  if (threads <= 1) return task(context, 0, units);
  if (workers) return workers->run(units, threads, task, context);
  Workers(threads).run(units, threads, task, context);
}

}  // namespace tv

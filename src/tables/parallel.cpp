// Starting, waiting for, and standing in for the threads of one operation.

#include "tables/parallel.h"

#include <algorithm>

#include "api/memory.h"

namespace tv {
namespace {

constexpr size_t kLooks = 4000;  // at a value that will change soon, before going to sleep

// Until the value is another one.
void await_change(const std::atomic<uint32_t>& value, uint32_t old) noexcept {
  for (size_t look = 0; look < kLooks; ++look) {
    if (value.load(std::memory_order_acquire) != old) return;
    __builtin_ia32_pause();
  }
  while (value.load(std::memory_order_acquire) == old) value.wait(old, std::memory_order_acquire);
}

}  // namespace

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
  ends_ = true;
  round_.fetch_add(1, std::memory_order_release);
  round_.notify_all();
  for (const Worker& worker : list_) pthread_join(worker.thread, nullptr);
}

void* Workers::serve(void* worker) {
  const Worker& self = *static_cast<Worker*>(worker);
  Workers& workers = *self.workers;
  for (uint32_t seen = 0;;) {
    await_change(workers.round_, seen);
    ++seen;
    if (workers.ends_) return nullptr;
    if (self.index < workers.threads_) workers.do_share(self.index);
    if (workers.working_.fetch_sub(1, std::memory_order_acq_rel) == 1) workers.working_.notify_one();
  }
}

// Before the first operation, so that every worker sees every round. Those that cannot be started are missing
// at the end of the list.
void Workers::start() {
  list_.reserve(most_ - 1);
  for (size_t t = 1; t < most_; ++t) {
    list_.push_back({this, t, {}});
    if (pthread_create(&list_.back().thread, nullptr, serve, &list_.back()) == 0) continue;
    list_.pop_back();
    return;
  }
}

void Workers::run(size_t units, size_t threads, ThreadTask task, void* context) {
  if (round_.load(std::memory_order_relaxed) == 0) start();
  task_ = task;
  context_ = context;
  units_ = units;
  threads_ = threads;
  working_.store(static_cast<uint32_t>(list_.size()), std::memory_order_relaxed);
  round_.fetch_add(1, std::memory_order_release);
  if (!list_.empty()) round_.notify_all();
  do_share(0);
  for (size_t t = list_.size() + 1; t < threads; ++t) do_share(t);
  for (uint32_t left; (left = working_.load(std::memory_order_acquire)) != 0;) await_change(working_, left);
}

void run_on_threads(size_t units, size_t threads, ThreadTask task, void* context, Workers* workers) {
  if (threads <= 1) return task(context, 0, units);
  if (workers) return workers->run(units, threads, task, context);
  Workers(threads).run(units, threads, task, context);
}

}  // namespace tv

// Work in small pieces, each taken by the next thread that is free. What a piece does must not depend on
// which thread does it.
#pragma once

#include <pthread.h>

#include <atomic>

#include "learn/thread_tasks.h"
#include "network/progress.h"

namespace tv {

// The wish of the host to stop, for work whose pieces may be long. The host is asked now and then, by the
// thread that it has called from.
class StopFlag {
 public:
  explicit StopFlag(ProgressMeter& progress) noexcept : progress_(progress) {}

  // With each step of a piece, counted from 0: whether to end it.
  bool look(size_t step) noexcept {
    constexpr size_t kStepsOfLook = 64;
    if (step % kStepsOfLook == 0 && pthread_equal(pthread_self(), caller_) && progress_.advance())
      is_raised_ = true;
    return is_raised_;
  }
  bool is_raised() const noexcept { return is_raised_; }

 private:
  ProgressMeter& progress_;
  const pthread_t caller_ = pthread_self();
  std::atomic<bool> is_raised_ = false;
};

// Calls work(thread, i), which returns a status, for each i below `count`, and the progress handler from the
// calling thread. The first failure that is met ends it. With workers, these are the threads.
template <class Work>
tv_status_t run_pieces(size_t count, size_t threads, ProgressMeter& progress, const Work& work,
                       Workers* workers = nullptr) {
  struct Shared {
    const Work& work;
    ProgressMeter& progress;
    const size_t count;
    const pthread_t caller;
    std::atomic<size_t> next = 0;
    std::atomic<tv_status_t> status = tv_status_none;
  } context{work, progress, count, pthread_self()};
  const auto task = [](void* data, size_t begin, size_t end) {
    Shared& shared = *static_cast<Shared*>(data);
    for (size_t thread = begin; thread < end; ++thread) {
      for (size_t i = shared.next++; i < shared.count && !shared.status; i = shared.next++) {
        tv_status_t status = tv_status_none;
        if (pthread_equal(pthread_self(), shared.caller)) status = shared.progress.advance();
        if (!status) status = guarded([&]() -> tv_status_t { return shared.work(thread, i); });
        if (status) shared.status = status;
      }
    }
  };
  const size_t most = std::max<size_t>(std::min(threads, count), 1);
  if (most == 1)
    task(&context, 0, 1);
  else
    run_on_threads(most, most, task, &context, workers);
  return context.status ? store_status(context.status) : tv_status_none;
}

}  // namespace tv

// Splitting one operation over POSIX threads: how many there can be, how many of them the work deserves, who
// gets which part.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "tables/kernels/index_map.h"

namespace tv {

// Of `targets` threads, as many as the process may run at the same time: not more than the processors that it
// is bound to, nor than its control group has quota for. Asked anew each time, for bindings change.
size_t usable_threads(size_t targets) noexcept;

// `units` is what can be split, `work` the cost of one unit. One thread unless each has at least a grain.
size_t number_of_threads(size_t units, size_t work, const ParallelSettings& settings) noexcept;

// The units of thread t of `threads`: units / threads, and one more for each of the first units % threads.
struct UnitRange {
  size_t begin, end;
};
UnitRange units_of_thread(size_t units, size_t threads, size_t t) noexcept;

using ThreadTask = void (*)(void* context, size_t begin, size_t end);

// Threads that serve many operations one after the other: between them they spin for a short while and then
// sleep. They are started when operations need them; `most` counts the caller, too. Where the system refuses
// one, the others do its share, and no further one is requested.
class Workers {
 public:
  explicit Workers(size_t most) noexcept : most_(most) {}
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  // Like run_on_threads. A share is done by whichever thread comes first, so that the caller never waits for
  // a thread that the system does not run.
  void run(size_t units, size_t threads, ThreadTask task, void* context);

 private:
  static void* serve(void* workers);
  void start(size_t count);
  void take_shares(uint32_t round, bool is_caller);
  void hand_over_range_flags() noexcept;

  size_t most_;
  std::vector<pthread_t> threads_started_;
  std::atomic<uint32_t> round_ = 0;        // grows with every operation
  std::atomic<uint64_t> left_ = 0;         // the round, and below it how many shares nobody has begun yet
  std::atomic<uint32_t> done_ = 0;         // shares of this round that are done
  std::atomic<unsigned> range_flags_ = 0;  // raised by the other threads
  std::atomic<bool> ends_ = false;
  // Of this round; read by threads that have begun a share, for whose end the caller waits.
  ThreadTask task_ = nullptr;
  void* context_ = nullptr;
  size_t units_ = 0, threads_ = 0;
};

// Calls task(context, begin, end) for the ranges of all threads and waits for them. The calling thread takes
// part, and does what no thread has begun. Range flags that the others raise are raised in the calling
// thread.
void run_on_threads(size_t units, size_t threads, ThreadTask task, void* context, Workers* workers = nullptr);

}  // namespace tv

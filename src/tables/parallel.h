// Splitting one operation over POSIX threads: how many threads the work deserves, who gets which part.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "tables/control.h"

namespace tv {

// `units` is what can be split, `work` the cost of one unit. One thread unless each has at least a grain.
size_t number_of_threads(size_t units, size_t work, const ParallelSettings& settings) noexcept;

// The units of thread t of `threads`: units / threads, and one more for each of the first units % threads.
struct UnitRange {
  size_t begin, end;
};
UnitRange units_of_thread(size_t units, size_t threads, size_t t) noexcept;

using ThreadTask = void (*)(void* context, size_t begin, size_t end);

// Threads that serve many operations one after the other: between them they watch for the next for a short
// while and then sleep. They are started with the first operation that is split; `most` counts the caller,
// too.
class Workers {
 public:
  explicit Workers(size_t most) noexcept : most_(most) {}
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  // Like run_on_threads.
  void run(size_t units, size_t threads, ThreadTask task, void* context);

 private:
  struct Worker {
    Workers* workers;
    size_t index;  // from 1; the caller of run() is thread 0
    pthread_t thread;
  };

  static void* serve(void* worker);
  void start();
  void do_share(size_t t) const { task_(context_, shares(t).begin, shares(t).end); }
  UnitRange shares(size_t t) const noexcept { return units_of_thread(units_, threads_, t); }

  size_t most_;
  std::vector<Worker> list_;
  std::atomic<uint32_t> round_ = 0;    // grows with every operation
  std::atomic<uint32_t> working_ = 0;  // workers that have not finished it
  bool ends_ = false;
  ThreadTask task_ = nullptr;
  void* context_ = nullptr;
  size_t units_ = 0, threads_ = 0;
};

// Calls task(context, begin, end) for the ranges of all threads and waits for them. The calling thread
// does the first range itself, and any for which no thread could be started.
void run_on_threads(size_t units, size_t threads, ThreadTask task, void* context, Workers* workers = nullptr);

}  // namespace tv

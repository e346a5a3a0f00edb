// Starting, waiting for, and standing in for the threads of one operation.

#include "tables/parallel.h"

#include <pthread.h>

#include <algorithm>

#include "api/memory.h"

namespace tv {
namespace {

struct Task {
  void (*function)(void*, size_t, size_t);
  void* context;
  UnitRange range;
  pthread_t thread;
  bool started;
};

void* run_task(void* argument) {
  const Task& task = *static_cast<Task*>(argument);
  task.function(task.context, task.range.begin, task.range.end);
  return nullptr;
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

void run_on_threads(size_t units, size_t threads, void (*task)(void*, size_t, size_t), void* context) {
  if (threads <= 1) return task(context, 0, units);
  std::vector<Task> tasks(threads);
  for (size_t t = 0; t < threads; ++t)
    tasks[t] = {task, context, units_of_thread(units, threads, t), {}, false};
  for (size_t t = 1; t < threads; ++t)
    tasks[t].started = pthread_create(&tasks[t].thread, nullptr, run_task, &tasks[t]) == 0;
  run_task(&tasks[0]);
  for (size_t t = 1; t < threads; ++t) {
    if (tasks[t].started) pthread_join(tasks[t].thread, nullptr);
    if (!tasks[t].started) run_task(&tasks[t]);
  }
}

}  // namespace tv

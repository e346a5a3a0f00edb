// Splitting one operation over POSIX threads: how many threads the work deserves, who gets which part.
#pragma once

#include <cstddef>

#include "tables/control.h"

namespace tv {

// `units` is what can be split, `work` the cost of one unit. One thread unless each has at least a grain.
size_t number_of_threads(size_t units, size_t work, const ParallelSettings& settings) noexcept;

// The units of thread t of `threads`: units / threads, and one more for each of the first units % threads.
struct UnitRange {
  size_t begin, end;
};
UnitRange units_of_thread(size_t units, size_t threads, size_t t) noexcept;

// Calls task(context, begin, end) for the ranges of all threads and waits for them. The calling thread
// does the first range itself, and any for which no thread could be started.
void run_on_threads(size_t units, size_t threads, void (*task)(void* context, size_t begin, size_t end),
                    void* context);

}  // namespace tv

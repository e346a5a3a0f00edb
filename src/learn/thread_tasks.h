// Work in pieces on several threads, in which memory may run out.
#pragma once

#include <algorithm>
#include <vector>

#include "api/boundary.h"
#include "tables/kernels/parallel.h"

namespace tv {

// Calls work(i), which returns a status, for each i below `count`. The failure of the first piece that fails;
// that of an allocation has been stopped at the boundary of its thread.
template <class Work>
tv_status_t run_tasks(size_t count, size_t threads, const Work& work) {
  struct Context {
    const Work& work;
    std::vector<tv_status_t> statuses;
  } context{work, std::vector<tv_status_t>(count, tv_status_none)};
  const auto task = [](void* data, size_t begin, size_t end) {
    Context& shared = *static_cast<Context*>(data);
    for (size_t i = begin; i < end; ++i)
      shared.statuses[i] = guarded([&, i]() -> tv_status_t { return shared.work(i); });
  };
  run_on_threads(count, std::min(threads, count), task, &context);
  for (const tv_status_t status : context.statuses)
    if (status) return store_status(status);
  return tv_status_none;
}

}  // namespace tv

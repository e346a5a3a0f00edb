// The boundary between the host and the library: every exported function that can fail does its
// work inside `guarded`, and exceptions are caught nowhere but in this file. `std::bad_alloc` becomes
// `no_memory`; nothing else is ever thrown on purpose.
#pragma once

#include "api/status.h"

namespace tv {

// To be called in a catch block: stores and returns the code for the exception in flight.
tv_status_t store_status_of_exception() noexcept;

// Runs `work` and returns its result, or `failure` when an exception had to be stopped.
template <class Result, class Work>
Result guarded(Result failure, Work work) noexcept {
  try {
    return work();
  } catch (...) {
    store_status_of_exception();
    return failure;
  }
}

// The same for operations whose result is the status itself.
template <class Work>
tv_status_t guarded(Work work) noexcept {
  guarded(0, [&] { return store_status(work()); });
  return current_status();
}

// Runs work that may also be left undone; whether there was enough memory for it. Stores nothing.
template <class Work>
bool succeeds_with_memory(Work work) noexcept {
  try {
    work();
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace tv

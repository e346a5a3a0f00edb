// The status of the calling thread, and the fixed table of codes behind it.
// Every exported function stores exactly one code before it returns; internal functions that
// fail store theirs and hand it on, so that the first failure is the one the host reads.
#pragma once

#include "tarvo.h"

namespace tv {

inline constexpr unsigned kNumberOfCodes = 48;
inline constexpr size_t kNone = static_cast<size_t>(-1);  // "no such index", "no size"

// Kept here, so that to store it takes no call.
extern constinit thread_local tv_status_t last_status [[gnu::tls_model("initial-exec")]];

inline tv_status_t current_status() noexcept { return last_status; }
inline tv_status_t store_status(tv_status_t code) noexcept { return last_status = code; }

// The argument check of an exported function: stores `usage` or `none`.
inline bool check(bool arguments_are_valid) noexcept {
  return store_status(arguments_are_valid ? tv_status_none : tv_status_usage) == tv_status_none;
}

// A later, more specific check: stores `code` unless the condition holds.
inline bool require(bool condition, tv_status_t code) noexcept {
  if (!condition) store_status(code);
  return condition;
}

}  // namespace tv

// The status of the calling thread, and the fixed table of codes behind it.
// Every exported function stores exactly one code before it returns; internal functions that
// fail store theirs and hand it on, so that the first failure is the one the host reads. Who knows more
// than the code says it in a message.
#pragma once

#include "tarvo.h"

namespace tv {

inline constexpr unsigned kNumberOfCodes = 48;
inline constexpr size_t kNone = static_cast<size_t>(-1);  // "no such index", "no size"

// What the latest call left: its code, and whether a message explains it.
struct Outcome {
  tv_status_t code;
  bool explained;
};

// Kept here, so that to store it takes no call.
extern constinit thread_local Outcome last_outcome [[gnu::tls_model("initial-exec")]];

inline tv_status_t current_status() noexcept { return last_outcome.code; }

// A code that is handed on keeps its message; another one has none yet.
inline tv_status_t store_status(tv_status_t code) noexcept {
  if (code != last_outcome.code) last_outcome = {code, false};
  return code;
}

// Stores the code with a message for people, which names the objects. What does not fit is cut off; nothing
// is allocated.
[[gnu::format(printf, 2, 3)]] tv_status_t refuse(tv_status_t code, const char* format, ...) noexcept;

// The argument check of an exported function: stores `usage` or `none`. A message left by an earlier call is
// forgotten here.
inline bool check(bool arguments_are_valid) noexcept {
  last_outcome = {arguments_are_valid ? tv_status_none : tv_status_usage, false};
  return arguments_are_valid;
}

// A later, more specific check: stores `code` unless the condition holds.
inline bool require(bool condition, tv_status_t code) noexcept {
  if (!condition) store_status(code);
  return condition;
}

}  // namespace tv

// Results of analyses, kept for the calls that read them.
#pragma once

#include "faults/export_world.h"

namespace test {

// Keeps a result for as long as the world is there, unless a call deletes it.
template <class Result>
void keep(World& w, Result* result, tv_status_t (*end)(Result*)) {
  w.analysis = std::shared_ptr<void>(result, [end, &w](void* kept) {
    if (kept && !w.analysis_is_deleted) end(static_cast<Result*>(kept));
  });
}
template <class Result>
Result* kept(World& w) {
  return static_cast<Result*>(w.analysis.get());
}

// A result of this type, or what was written last.
#define READS(function, type, prepare, ...)                                                               \
  {                                                                                                       \
#function, prepare,                                                                                   \
        [](World & w) { note(w, function(kept<type>(w) __VA_OPT__(, ) __VA_ARGS__)); }, Case::never_fails \
  }

#define DELETES(function, type, prepare)    \
  {                                         \
#function, prepare, [](World & w) {       \
      note(w, function(kept<type>(w)));       \
      w.analysis_is_deleted = true;           \
    }, Case::never_fails \
  }

}  // namespace test

// Copies a schedule, for the cache, into one arena of exact size. Operations over small tables become gather
// operations.
#pragma once

#include <memory>

#include "inference/schedule/gather_schedule.h"

namespace tv {

struct CopiedSchedule {
  std::unique_ptr<unsigned char[]> memory;  // null if memory ran out, or more than was allowed is needed
  size_t bytes = 0;                         // of the arena, or that it would have needed
  Schedule schedule;
};

// A copy that takes at most `most_bytes`, without gather operations where all are to be copied as they are.
CopiedSchedule copy_schedule(const TreeEngine& engine, const ScheduleLists& from,
                             tv_equilibrium_t equilibrium, bool as_it_is, size_t most_bytes) noexcept;

}  // namespace tv

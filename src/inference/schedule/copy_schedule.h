// Copying a schedule into one block of memory, with all that its steps point to: the maps and shapes in the
// engine will soon be those of another propagation. Operations over tables of a few entries become short
// ones.
#pragma once

#include <memory>

#include "inference/schedule/gather_schedule.h"

namespace tv {

struct CopiedSchedule {
  std::unique_ptr<unsigned char[]> memory;  // null where there was none, or not enough was allowed
  size_t bytes = 0;                         // of it, or that would have been needed
  Schedule schedule;
  GatherSchedule gather;
};

// A copy that takes at most `most_bytes`. Its owner has to let `schedule.gather` point to `gather`, unless
// all operations were to be copied as they are.
CopiedSchedule copy_schedule(const TreeEngine& engine, const Schedule& schedule, tv_equilibrium_t equilibrium,
                             bool as_it_is, size_t most_bytes) noexcept;

}  // namespace tv

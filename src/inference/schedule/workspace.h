// What one thread works with while a schedule runs.
#pragma once

#include "inference/schedule/schedule.h"

namespace tv {

struct Workspace {
  double* totals[kTotalsBuffers];  // accumulators, by their buffer
  const float* const* buffers;     // of factors
  Step* steps;                     // capacity for those of any pass
  ParallelSettings settings;

  // The steps with the places in these buffers, valid until the next ones are bound.
  const Step* bind(const ScheduleStep* first, size_t count, const IndexMap* maps) const noexcept {
    for (size_t s = 0; s < count; ++s) {
      const ScheduleStep& step = first[s];
      steps[s] = {step.operation, maps + step.map};
      if (step.is_factor())
        steps[s].operand = buffers[step.place.buffer] + step.place.offset;
      else
        steps[s].target = totals[step.place.buffer] + step.place.offset;
    }
    return steps;
  }
};

}  // namespace tv

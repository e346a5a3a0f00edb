// What one thread works with while a schedule runs.
#pragma once

#include <vector>

#include "inference/schedule/schedule.h"
#include "tables/block.h"

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

// The memory of one more thread.
struct WorkspaceMemory {
  Block<double> totals;
  std::vector<Step> steps;

  // A workspace like another one, for passes that are not shared.
  Workspace make(const Workspace& other, size_t message_totals, size_t belief_totals, size_t most_steps) {
    totals.allocate_uninitialized(message_totals + belief_totals + other.settings.scratch_size);
    steps.resize(most_steps);
    Workspace own = other;
    own.totals[kMessageTotals] = totals.data();
    own.totals[kBeliefTotals] = totals.data() + message_totals;
    own.steps = steps.data();
    own.settings.scratch = totals.data() + message_totals + belief_totals;
    return own;
  }
};

}  // namespace tv

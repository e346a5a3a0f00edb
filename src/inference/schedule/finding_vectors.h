// Small trees: one schedule that serves every evidence. All nodes have finding vectors in it: a state that is
// known is a vector with a single one, no evidence is a vector of ones, and no table is reduced. That costs
// more arithmetic than a schedule for the observed nodes, but nothing has to be planned, which in small trees
// takes much longer.
#pragma once

#include "inference/schedule/run_schedule.h"

namespace tv {

// Whether the propagation, from the potentials, can run so.
bool takes_finding_vectors(const PropagationRequest& request) noexcept;

tv_status_t propagate_finding_vectors(const PropagationRequest& request);

}  // namespace tv

// Why a propagation failed, for people.
#pragma once

#include "inference/state.h"

namespace tv {

// Returns the status; for those that evidence brought about, with a message that names the nodes it was
// entered on.
tv_status_t explain_failure(const InferenceState& state, tv_status_t status) noexcept;

}  // namespace tv

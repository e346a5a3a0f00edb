// The checks of state values that come before a table is generated.
#pragma once

#include "text/trace.h"

namespace tv {

// `invalid_state_values`, which is logged, when the values of a numbered or interval node do not increase,
// or are infinite elsewhere than at the outer bounds of intervals. Nodes of other kinds pass.
tv_status_t check_state_values(Node& node, Trace& trace);

}  // namespace tv

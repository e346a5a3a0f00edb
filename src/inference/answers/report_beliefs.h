// The report of all beliefs in the domain's log.
#pragma once

#include "text/trace.h"

namespace tv {

// The domain is in equilibrium. `io` once a write has failed; nothing is stored.
tv_status_t _tv_domain_report_beliefs(Domain& domain, Trace& trace);
tv_status_t _tv_node_report_beliefs(Node& node, Trace& trace);

}  // namespace tv

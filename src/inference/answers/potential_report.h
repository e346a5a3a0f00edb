// The report of suspicious potentials in the domain's log.
#pragma once

#include "text/trace.h"

namespace tv {

// Inspects the tables that have not been checked since they were last touched, and changes none of them.
// `invalid_probability_potential` for an invalid entry or a distribution that cannot be normalised, `io`
// once a write has failed; nothing is stored.
tv_status_t inspect_all_potentials(Domain& domain, Trace& trace);

}  // namespace tv

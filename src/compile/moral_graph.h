// The moral graph: which nodes must meet in a clique before triangulation adds anything.
#pragma once

#include "compile/forest.h"
#include "text/trace.h"

namespace tv {

// Fills in who takes part and the moral-neighbour lists of the forest, with the links that a strong
// triangulation of a domain with discrete and continuous nodes needs.
void _tv_domain_moralize(Forest& forest, Trace& trace);

}  // namespace tv

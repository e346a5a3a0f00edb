// Which links of a skeleton meet in a collider, from the sets that separate nodes.
#pragma once

#include "learn/structure/graph/ambiguous_triples.h"
#include "learn/structure/independence/skeleton.h"

namespace tv {

// Directs the links of colliders: those found with the greatest p-values first, and none that contradicts
// what experts know, a link directed before, or that would close a cycle.
tv_status_t direct_colliders(const SkeletonSearch& search, ProgressMeter& progress, Structure& structure,
                             AmbiguousTriples& ambiguous);

}  // namespace tv

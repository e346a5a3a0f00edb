// How far two structures are from each other.
#pragma once

#include "learn/structure/graph/structure.h"

namespace tv {

// Between how many pairs of nodes, known by name, there is not the same (Tsamardinos, Brown and Aliferis
// 2006).
size_t hamming_distance(const Structure& a, const Structure& b);

// For how many ordered pairs of nodes the parents in `guess` of the first one do not identify its effect on
// the second one in `truth` (Peters and Bühlmann 2015). Both graphs are directed and without cycles, over the
// same nodes.
size_t intervention_distance(const PartialGraph& truth, const PartialGraph& guess);

}  // namespace tv

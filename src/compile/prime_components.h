// Decomposition of a graph along its complete minimal separators.
#pragma once

#include "compile/elimination.h"

namespace tv {

// The maximal vertex sets that no complete separator splits, in ascending order. `error` when the host
// asked to stop.
tv_status_t find_prime_components(const VertexGraph& graph, Progress& progress,
                                  std::vector<VertexSet>& components);

}  // namespace tv

// Which nodes new evidence can reach.
#pragma once

#include "inference/engine.h"

namespace tv {

// Sets `is_target` of every node of the tree that is d-connected to a node in `engine.pending`, given
// the evidence that was propagated before (Pearl 1988; the search is the "Bayes ball" of Shachter 1998).
// Propagated evidence that came with `engine.pending` does not block: those nodes are the sources.
void target_d_connected_beliefs(TreeEngine& engine) noexcept;

}  // namespace tv

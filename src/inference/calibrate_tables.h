// Clique tables for those who need them after a propagation that did without.
#pragma once

#include "inference/engine.h"

namespace tv {

// Forms the tables of the equilibrium that the tree is in, where an elimination plan has left only beliefs.
// What a host can see stays as it is. On failure nothing has changed: `no_equilibrium` where the potential of
// a node is no longer known, because it changed without notice.
tv_status_t calibrate_tables(JunctionTree& tree);

// The potentials of such a tree as they were when it came to its equilibrium, for the lifetime of the result.
FormerNumbers former_numbers(JunctionTree& tree);

// The table of a node of a compiled tree has changed.
void note_changed_potential(const Node& node) noexcept;

}  // namespace tv

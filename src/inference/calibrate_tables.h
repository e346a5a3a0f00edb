// Calibrates the clique tables after a propagation that has computed marginals only.
#pragma once

#include "inference/engine.h"

namespace tv {

// Forms the tables of the equilibrium that the tree is in, where an elimination schedule has left only
// beliefs. Nothing that a host can see changes. On failure nothing has changed: `no_equilibrium` where the
// potential of a node is no longer known, because it changed without notice.
tv_status_t calibrate_tables(TreeEngine& engine);

// The node's table is about to change, perhaps: its numbers are remembered where the equilibrium of its tree
// still depends on them. Does nothing when memory runs out.
void save_potential(Node& node) noexcept;

// The table of a node of a compiled tree has changed.
void note_changed_potential(const Node& node) noexcept;

}  // namespace tv

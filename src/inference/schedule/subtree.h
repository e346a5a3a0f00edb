// Which cliques take part in a propagation and in which order. Cliques with new evidence are marked; the
// subtree that connects them is traversed from a root outwards, and messages follow that order backwards
// (collect) and forwards (distribute). All of it costs time in proportion to the cliques that take part.
#pragma once

#include "inference/engine.h"

namespace tv {

void mark_clique(TreeEngine& engine, size_t clique) noexcept;
void mark_all_cliques(TreeEngine& engine) noexcept;
void clear_marks(TreeEngine& engine) noexcept;

// Marks the cliques on paths between marked ones (and `root`, when there is one) and returns the root: the
// given one, or the clique of the subtree with the smallest table, of equal ones the first in the traversal.
size_t _tv_identify_subtree(TreeEngine& engine, size_t root) noexcept;

// Marks the cliques around those in `order` that hold a target node. The path from one of them to the next
// leads through separators that hold one, too: behind a separator without target nodes there is nothing that
// the evidence can reach.
void extend_to_targets(TreeEngine& engine) noexcept;

// Sets `order` and `reached_by` to the traversal of the marked cliques from `root`.
void order_from(TreeEngine& engine, size_t root) noexcept;

// Sets `order` to the cliques that hold the node, its home first.
void order_cliques_with(TreeEngine& engine, const Node& node) noexcept;

// Nodes whose beliefs are to be renewed.
void add_target(TreeEngine& engine, const Node& node) noexcept;
void target_all_beliefs(TreeEngine& engine) noexcept;  // of discrete nodes
void target_no_beliefs(TreeEngine& engine) noexcept;

}  // namespace tv

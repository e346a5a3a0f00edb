// Which cliques take part in a propagation and in which order. Marks say which cliques have work; the
// subtree that connects them is walked from a root outwards, and messages follow that walk backwards
// (collect) and forwards (distribute).
#pragma once

#include "inference/engine.h"

namespace tv {

void mark_all_cliques(TreeEngine& engine) noexcept;
void clear_marks(TreeEngine& engine) noexcept;

// Marks every clique that holds a member for which `applies(member)` is true.
template <class Applies>
void mark_cliques_with_member(TreeEngine& engine, Applies applies) noexcept {
  for (CliqueWork& work : engine.cliques)
    for (const Node* member : work.clique->members())
      if (applies(compiled(*member))) {
        work.clique->marked = true;
        break;
      }
}

// Marks the cliques on paths between marked ones (and `root`, when there is one) and returns the root:
// the given one, or the clique of the subtree with the smallest table, the one nearer to the start of
// the walk among equals.
size_t _tv_identify_subtree(TreeEngine& engine, size_t root) noexcept;

// Sets `order` and `reached_by` to the walk over the marked cliques from `root`.
void order_from(TreeEngine& engine, size_t root) noexcept;

}  // namespace tv

// The order in which the trees of a domain are worked on: a tree whose nodes depend, through nodes that lie
// in no tree (real-valued function nodes), on nodes of another tree comes after it.
#pragma once

#include <vector>

#include "inference/engine.h"

namespace tv {

// Every tree once, prerequisites first, otherwise in list order.
std::vector<JunctionTree*> trees_in_order(const Domain& domain);

// Calls `work` for each tree in that order until one fails.
template <class Work>
tv_status_t for_each_tree_in_order(InferenceState& state, Work work) {
  // Without nodes outside the trees there is nothing to order (and nothing to allocate).
  if (state.trees.size() < 2 || state.domain->counters.function == 0) {
    for (const auto& engine : state.trees)
      if (tv_status_t status = work(*engine)) return status;
    return tv_status_none;
  }
  for (const JunctionTree* tree : trees_in_order(*state.domain))
    if (tv_status_t status = work(*state.trees[tree->position])) return status;
  return tv_status_none;
}

}  // namespace tv

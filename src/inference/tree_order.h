// The order in which the trees of a domain are worked on: a tree whose nodes depend, through nodes that lie
// in no tree (real-valued function nodes), on nodes of another tree comes after it.
#pragma once

#include <vector>

#include "compile/forest.h"

namespace tv {

// Every tree once, prerequisites first, otherwise in list order.
std::vector<JunctionTree*> trees_in_order(const Domain& domain);

// Calls `work` for each tree in that order until one fails.
template <class Work>
tv_status_t for_each_tree_in_order(Domain& domain, Work work) {
  // Without nodes outside the trees there is nothing to order (and nothing to allocate).
  if (domain.forest->tree_count < 2 || domain.counters.function == 0) {
    for (JunctionTree& tree : domain.forest->trees)
      if (tv_status_t status = work(tree)) return status;
    return tv_status_none;
  }
  for (JunctionTree* tree : trees_in_order(domain))
    if (tv_status_t status = work(*tree)) return status;
  return tv_status_none;
}

}  // namespace tv

// From the possible configurations of a tree to its sparse tables.
#pragma once

#include <memory>

#include "inference/compress/sparse_tree.h"
#include "inference/engine.h"

namespace tv {

struct FoundTree {
  std::shared_ptr<SparseTree> sparse;  // null where no clique gains by it
  double possible_bytes = 0.0;         // of tables that hold what is possible and nothing else
};

// What is possible under the present potentials. `no_memory` where finding it needs more than the domain's
// memory limit.
tv_status_t find_sparse_tree(const JunctionTree& tree, FoundTree& found);

// The same without what an approximation has set to zero.
tv_status_t find_sparse_tree_of(TreeEngine& engine, FoundTree& found);

// A sparse tree whose tables are all full.
std::shared_ptr<SparseTree> full_sparse_tree(const JunctionTree& tree);

}  // namespace tv

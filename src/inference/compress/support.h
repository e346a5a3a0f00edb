// Which configurations of the cliques of a junction tree are possible, found from the zeros of the potentials
// alone and never by way of full tables: a tree of cliques with hundreds of nodes has a small support where
// most of them follow from the others.
#pragma once

#include "compile/forest.h"
#include "inference/compress/packed_rows.h"

namespace tv {

struct TreeSupport {
  // By position in the tree. Nodes: the discrete members of the separator towards the parent, in the
  // separator's order, then the others in the clique's order.
  std::vector<PackedRows> cliques;
  // By position of the child clique, in the separator's order; an empty record for the root.
  std::vector<PackedRows> separators;
};

// Which rows beside the impossible ones are left out; null: none. Called once the clique's rows are joined.
using KeepsRow = bool (*)(const void* context, size_t clique, const PackedRows& rows, size_t row);

struct SupportRequest {
  const JunctionTree& tree;
  size_t most_bytes = SIZE_MAX;  // of all rows together
  KeepsRow keeps = nullptr;
  const void* context = nullptr;
};

// Finds the possible configurations of every clique and separator of a tree: those that no potential forbids
// and that can be extended to the whole tree. A table without numbers and the policy of a decision forbid
// nothing; utility nodes and continuous nodes have no part. `support` is unchanged on failure: `no_memory`
// where the rows would need more than `most_bytes`, `error` where the host's progress handler asks to stop
// the task "compression".
tv_status_t find_support(const SupportRequest& request, TreeSupport& support);

}  // namespace tv

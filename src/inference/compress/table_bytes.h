// The memory of tables by their entries, which compression is measured by: one table for each node, clique
// and separator. In doubles, since full tables may have more entries than any size holds.
#pragma once

#include "compile/forest.h"
#include "inference/compress/support.h"

namespace tv {

// Of nodes, also of those that have no table before somebody asks for it.
double bytes_of_node_tables(const Domain& domain) noexcept;

// With the tables of nodes, and full ones for all cliques and separators.
double bytes_of_full_tables(const Domain& domain) noexcept;

// Of a tree whose tables hold nothing but these configurations.
double bytes_of_rows(const JunctionTree& tree, const TreeSupport& support) noexcept;

}  // namespace tv

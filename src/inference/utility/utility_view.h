// The host's view of a clique's utility table.
#pragma once

#include "compile/forest.h"

namespace tv {

// Fills the table's `data`: for each configuration of the clique the utility of the whole tree that is
// expected given it and the evidence, 0 where the configuration is impossible. Before the first propagation
// after a reset it is the sum of the utilities that are assigned to the clique.
tv_status_t materialize_utilities(Table& table);

}  // namespace tv

// The host's view of a clique's table.
#pragma once

#include "compile/forest.h"

namespace tv {

// Fills the table's `data` with the clique's full table: entries that evidence rules out are zero. Before the
// first propagation after a reset it is the product of the clique's potentials.
tv_status_t materialize_clique(Table& table);

}  // namespace tv

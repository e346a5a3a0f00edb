// The host's view of a clique's table.
#pragma once

#include "compile/forest.h"

namespace tv {

// Fills the table's `data` with the clique's full table: entries that evidence rules out are zero. Before the
// first propagation after a reset it is the product of the clique's potentials.
// Copies the present numbers of a clique to a table of full size, and back where known states allow any.
void read_table(const Clique& clique, float* full) noexcept;
void write_table(const Clique& clique, const float* full) noexcept;

// Ones for the configurations that agree with the states that are fixed, zeros for the others.
void read_allowed(const Clique& clique, float* full) noexcept;

tv_status_t materialize_clique(Table& table);

}  // namespace tv

// The host's view of a clique's table.
#pragma once

#include "compile/forest.h"

namespace tv {

// Copies the clique's present numbers to a table of full size: entries that evidence rules out are zero.
// Before the first propagation after a reset they are the product of the clique's potentials.
void read_table(TreeEngine& engine, const Clique& clique, float* full);
void write_table(TreeEngine& engine, const Clique& clique, const float* full) noexcept;

// Ones for the configurations that agree with the observed states, zeros for the others.
void read_allowed(TreeEngine& engine, const Clique& clique, float* full) noexcept;

tv_status_t materialize_clique(Table& table);

}  // namespace tv

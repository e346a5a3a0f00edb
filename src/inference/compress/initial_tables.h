// The tables of a sparse tree without evidence: formed once, from the potentials, and loaded at every reset.
#pragma once

#include "inference/engine.h"

namespace tv {

// Forms them in the engine of the domain's own state, which has been reset, and keeps a copy with the tree.
// Where the zeros of potentials have changed so that more is possible, the stored configurations are found
// anew first, and the engine with them.
tv_status_t form_initial_tables(TreeEngine& engine);

// Whether they are there and rest on the present potentials.
bool has_initial_tables(const TreeEngine& engine) noexcept;

// Gives them to an engine that has been reset, but for their numbers, which may not be needed. Its
// equilibrium stays `none`, although it is calibrated.
void load_initial_tables(TreeEngine& engine) noexcept;

// Gives an engine their numbers alone; beliefs and constants stay. The second form, if they are still
// awaited.
void load_initial_numbers(TreeEngine& engine) noexcept;
void load_awaited_numbers(TreeEngine& engine) noexcept;

// The approximation constant of what a tree stores, before anything is set to zero.
double constant_of_stored_entries(const TreeEngine& engine) noexcept;

// Whether the tables are calibrated for the equilibrium: propagated, or just loaded.
bool is_calibrated(const TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept;

}  // namespace tv

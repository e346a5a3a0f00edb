// Tables generated from models, brought up to date where inference is about to use them.
#pragma once

#include "compile/forest.h"

namespace tv {

// Generates the tables of the tree's nodes whose models have changed, and of those that depend on results of
// other trees which have. To be called when the trees before it in order are in equilibrium.
tv_status_t refresh_model_tables(const JunctionTree& tree);

// The same, where other trees may have no results: tables that depend on them are left for later.
tv_status_t refresh_own_model_tables(const JunctionTree& tree);

// Refuses (`usage`) what works on states of its own where some table depends on results: those are of the
// domain's own state alone.
tv_status_t check_for_tables_of_results(const Domain& domain) noexcept;

}  // namespace tv

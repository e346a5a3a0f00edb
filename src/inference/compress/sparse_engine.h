// Turning the engines of a compiled domain from full to sparse tables, and from some sparse tables to others.
#pragma once

#include "inference/engine.h"

namespace tv {

// Where more is possible under the present potentials than the sparse tree of an engine stores, finds its
// configurations anew and makes the engine, which has been reset, anew.
tv_status_t renew_sparse_tree(TreeEngine& engine);

// Gives every tree of a compiled domain that gains by it sparse tables, with the same evidence, equilibrium
// and answers. Entries that an approximation has set to zero are left out. Nothing changes on failure.
tv_status_t make_engines_sparse(Domain& domain);

}  // namespace tv

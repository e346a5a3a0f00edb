// The potentials of a tree that has marginals only, as they were when it came to its equilibrium.
#pragma once

#include "inference/engine.h"

namespace tv {

// For the lifetime of the result, the nodes' tables hold their former numbers.
inline FormerNumbers former_numbers(const TreeEngine& engine) {
  return {engine.saved_potentials, [&](size_t node) { return engine.tree->nodes[node]->table.get(); }};
}

}  // namespace tv

// Compiling and propagating as the commands do it, with failures that say what to look at.
#pragma once

#include "network.h"
#include "triangulation.h"

namespace program {

// Triangulated as the command line says. Fails when that takes more than the limit.
void compile(const Network& network, const TriangulationOptions& options);

void propagate(const Network& network, tv_equilibrium_t equilibrium = tv_equilibrium_sum,
               tv_evidence_mode_t mode = tv_evidence_normal);

// Of what is entered, a smallest group that cannot be true together with the decisions that are made: without
// any one of them the rest would be possible. Everything that is entered is there again afterwards.
std::vector<tv_node_t*> smallest_impossible_group(const Network& network);

}  // namespace program

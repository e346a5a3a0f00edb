// Compiling and propagating as the commands do it, with failures that say what to look at.
#pragma once

#include "compression.h"
#include "network.h"
#include "triangulation.h"

namespace program {

// Triangulated as the command line says. Fails when that takes more than the limit. With compressed tables an
// approximation is made at once, so that it holds under whatever is entered later; returns what they come to.
CompressionFigures compile(const Network& network, const TriangulationOptions& options,
                           const CompressionOptions& compression = {});

// The same for a network that is triangulated by this method.
CompressionFigures compile_triangulated(const Network& network, const std::string& method,
                                        const CompressionOptions& compression);

void propagate(const Network& network, tv_equilibrium_t equilibrium = tv_equilibrium_sum,
               tv_evidence_mode_t mode = tv_evidence_normal);

// Of what is entered, a smallest group that cannot be true together with the decisions that are made: without
// any one of them the rest would be possible. Everything that is entered is there again afterwards.
std::vector<tv_node_t*> smallest_impossible_group(const Network& network);

}  // namespace program

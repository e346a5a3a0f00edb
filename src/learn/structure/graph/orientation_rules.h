// Directions that follow from others: links whose other direction would make a collider that no test has
// found, or a cycle, or that experts rule out.
#pragma once

#include "learn/structure/graph/ambiguous_triples.h"
#include "learn/structure/graph/knowledge.h"

namespace tv {

// Directs the undirected links that may lead in one direction alone, in ascending order. A link that would
// close a directed cycle stays as it is. Knowledge of size 0, here and below, is none.
void apply_knowledge(PartialGraph& graph, const Knowledge& knowledge);

// Directs the undirected links for which the rules R1 to R4 of Meek (1995) demand it, until none applies.
// Where tests contradict each other a rule may ask for a direction that is ruled out or closes a directed
// cycle: such a link stays as it is. Triples that may be colliders lead to no direction.
void apply_orientation_rules(PartialGraph& graph, const Knowledge& knowledge,
                             const AmbiguousTriples& ambiguous = {});

}  // namespace tv

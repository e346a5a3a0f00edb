// Which directions of a directed graph follow from the independences that it states.
#pragma once

#include "learn/structure/graph/knowledge.h"

namespace tv {

// The graph of all directed graphs with the same independences as this one, which has neither undirected
// links nor cycles: links that have one direction in all of them have it, others none (Verma and Pearl 1990,
// Meek 1995).
PartialGraph class_of(const PartialGraph& dag);

// The same of those among them that agree with what experts know, as the given one does.
PartialGraph class_of(const PartialGraph& dag, const Knowledge& knowledge);

}  // namespace tv

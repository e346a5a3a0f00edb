// Seeing early that a network is beyond any machine: to triangulate a large random one takes minutes, to
// bound its treewidth from below a fraction of a second.
#pragma once

#include <string>

#include "network.h"

namespace program {

// A treewidth at which some clique has more entries than any machine passes over, if the network provably has
// no smaller one; 0 otherwise.
size_t hopeless_treewidth(const Network& network);

// "the treewidth is at least ..., ...": for people.
std::string explain_hopeless(size_t treewidth);

}  // namespace program

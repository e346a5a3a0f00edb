// The node that a question is about, and the state of it.
#pragma once

#include <string>

#include "network.h"

namespace program {

// Of "NODE" or "NODE=STATE"; a name holds no equals sign. Fails for what has no probabilities.
tv_node_t* find_target(const Network& network, const std::string& text);

// The state in such a text, or without one that which is most probable after the propagation.
size_t find_state(const Network& network, tv_node_t* node, const std::string& text);

size_t most_probable_state(const tv_node_t* node);

}  // namespace program

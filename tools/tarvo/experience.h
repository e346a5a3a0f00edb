// Experience counts, which say what tables are worth.
#pragma once

#include <string>

#include "network.h"

namespace program {

// The same count for every configuration of the node's parents. `subject` stands in front of a failure.
void set_experience(tv_node_t* node, double count, const std::string& subject);

}  // namespace program

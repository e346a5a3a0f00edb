// The numbers of a node's table as the commands look at them.
#pragma once

#include "network.h"
#include "output.h"

namespace program {

struct NodeTable {
  std::vector<tv_node_t*> parents;       // the discrete ones, the last one fastest
  const tv_number_t* numbers = nullptr;  // of a discrete node or a utility
  size_t columns = 1;                    // numbers for each configuration of the parents
  size_t rows = 1;
};

// The layout of the table of a node that has one, without its numbers: they may be many. A model is not
// looked at.
NodeTable layout_of(tv_node_t* node);

// With the numbers, generated where a model says them. Nothing but the layout where that fails, which the
// status of the library tells.
NodeTable table_of(tv_node_t* node);

// Whether the table is within the memory limit, and small enough to be passed over many times.
bool can_be_looked_at(const Network& network, tv_node_t* node);

std::vector<size_t> configuration_of(const NodeTable& table, size_t row);

// "sprinkler = on, rain = no"; empty without parents.
std::string configuration_text(const NodeTable& table, size_t row);

}  // namespace program

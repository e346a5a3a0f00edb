// In which order a search binds the nodes.
#pragma once

#include <vector>

#include "inference/compress/packed_rows.h"

namespace tv {

// The nodes among `nodes` that have several states, in an order in which little is tried in vain.
std::vector<const Node*> order_of_search(const std::vector<const Node*>& nodes,
                                         const std::vector<const PackedRows*>& relations);

}  // namespace tv

// In which order a search binds nodes, and about how long it takes.
#pragma once

#include <vector>

#include "inference/compress/packed_rows.h"

namespace tv {

struct SearchOrder {
  std::vector<const Node*> nodes;  // those with several states
  double steps = 0.0;              // states that are bound, estimated
};

SearchOrder order_of_search(const std::vector<const Node*>& nodes,
                            const std::vector<const PackedRows*>& relations);

}  // namespace tv

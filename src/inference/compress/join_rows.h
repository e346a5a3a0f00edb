// Joining relations over discrete nodes: the configurations whose part in each relation is one of its rows.
#pragma once

#include <vector>

#include "inference/compress/packed_rows.h"
#include "network/progress.h"

namespace tv {

struct JoinRequest {
  std::vector<const PackedRows*> relations;  // over nodes of the result
  size_t most_rows = SIZE_MAX;               // `no_memory` beyond
  ProgressMeter& progress;                   // `error` where the host asks to stop
};

// Nodes beside those of the result, and relations that bind them to it. The join is to be the same with them,
// but a search finds its way sooner where the nodes of the result follow from others.
struct Detour {
  std::vector<const Node*> nodes;
  std::vector<const PackedRows*> relations;
};

// In all of these `rows` comes with its layout alone.

// Goes through all configurations in their order, which must be few enough for a word to hold one.
tv_status_t walk_rows(const JoinRequest& request, PackedRows& rows);

// Binds one node after the other in the order given, which has the nodes with several states. Nodes beside
// those of the result are free to take any states that the relations allow.
tv_status_t search_rows(const JoinRequest& request, const std::vector<const Node*>& order, PackedRows& rows);

// Whichever is faster, by a rough estimate.
tv_status_t join_rows(const JoinRequest& request, const Detour& detour, PackedRows& rows);

}  // namespace tv

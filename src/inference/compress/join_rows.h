// Joining relations over discrete nodes: the configurations whose part in each relation is one of its rows.
#pragma once

#include <vector>

#include "inference/compress/packed_rows.h"
#include "network/progress.h"

namespace tv {

struct JoinRequest {
  std::vector<const PackedRows*> relations;  // their nodes are among those of the result
  size_t most_rows = SIZE_MAX;               // `no_memory` beyond
  ProgressMeter& progress;                   // `error` where the host asks to stop
};

// `rows` comes with its layout alone.
tv_status_t join_rows(const JoinRequest& request, PackedRows& rows);

// The two ways to do it. The walk goes through all configurations in their order, which must be few enough
// for a word to hold one. The search binds one node after the other.
tv_status_t walk_rows(const JoinRequest& request, PackedRows& rows);
tv_status_t search_rows(const JoinRequest& request, PackedRows& rows);

}  // namespace tv

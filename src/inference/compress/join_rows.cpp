#include "inference/compress/join_rows.h"

#include "tables/limits.h"

namespace tv {

tv_status_t join_rows(const JoinRequest& request, PackedRows& rows) {
  JoinRequest needed{{}, request.most_rows, request.progress};
  for (const PackedRows* relation : request.relations) {
    if (relation->size() == 0) return tv_status_none;
    if (relation->size() < full_size(relation->nodes)) needed.relations.push_back(relation);
  }
  if (full_size(rows.nodes) <= limits.walked_rows) return walk_rows(needed, rows);
  return search_rows(needed, rows);
}

}  // namespace tv

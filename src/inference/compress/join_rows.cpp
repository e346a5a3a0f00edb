#include "inference/compress/join_rows.h"

#include "inference/compress/join_order.h"
#include "tables/limits.h"

namespace tv {
namespace {

constexpr size_t kMostWalked = size_t{1} << 28;  // configurations; some tenths of a second

bool walk_is_faster(double steps, size_t configurations) noexcept {
  if (configurations > kMostWalked) return false;
  return steps * static_cast<double>(limits.step_entries) > static_cast<double>(configurations);
}

}  // namespace

tv_status_t join_rows(const JoinRequest& request, const Detour& detour, PackedRows& rows) {
  JoinRequest straight{{}, request.most_rows, request.progress};
  for (const PackedRows* relation : request.relations) {
    if (relation->size() == 0) return tv_status_none;
    if (relation->size() < full_size(relation->nodes)) straight.relations.push_back(relation);
  }
  const size_t configurations = full_size(rows.nodes);
  if (configurations <= limits.walked_rows) return walk_rows(straight, rows);
  const SearchOrder order = order_of_search(rows.nodes, straight.relations);
  if (!detour.relations.empty()) {
    JoinRequest roundabout = straight;
    roundabout.relations.insert(roundabout.relations.end(), detour.relations.begin(), detour.relations.end());
    std::vector<const Node*> nodes = rows.nodes;
    nodes.insert(nodes.end(), detour.nodes.begin(), detour.nodes.end());
    const SearchOrder longer = order_of_search(nodes, roundabout.relations);
    if (longer.steps < order.steps && !walk_is_faster(longer.steps, configurations))
      return search_rows(roundabout, longer.nodes, rows);
  }
  if (walk_is_faster(order.steps, configurations)) return walk_rows(straight, rows);
  return search_rows(straight, order.nodes, rows);
}

}  // namespace tv

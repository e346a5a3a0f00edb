// Again and again a node is taken out that needs no child among those left, and has few enough neighbors
// there to have them all as parents; taking one out never hinders another.
#include "learn/structure/constraints/required_links.h"

#include <algorithm>

namespace tv {

std::vector<std::vector<size_t>> required_neighbors(const Knowledge& knowledge, bool directed,
                                                    size_t left_out) {
  std::vector<std::vector<size_t>> lists(knowledge.size());
  for (size_t a = 0; a < knowledge.size(); ++a)
    for (size_t b = 0; b < knowledge.size(); ++b)
      if (a != left_out && b != left_out &&
          (directed ? must_lead(knowledge, a, b) : is_required(knowledge, a, b)))
        lists[a].push_back(b);
  return lists;
}

std::vector<size_t> order_of_required_links(const Knowledge& knowledge, size_t most) {
  const std::vector<std::vector<size_t>> next = required_neighbors(knowledge, false);
  std::vector<size_t> left(next.size()), children(next.size()), order;
  std::vector<bool> is_out(next.size(), false);
  const auto look_at = [&](size_t v) {
    if (!is_out[v] && children[v] == 0 && left[v] <= most) {
      is_out[v] = true;
      order.push_back(v);
    }
  };
  for (size_t v = 0; v < next.size(); ++v) {
    left[v] = next[v].size();
    children[v] = static_cast<size_t>(std::count_if(
        next[v].begin(), next[v].end(), [&](size_t other) { return must_lead(knowledge, v, other); }));
  }
  for (size_t v = 0; v < next.size(); ++v) look_at(v);
  for (size_t i = 0; i < order.size(); ++i)
    for (const size_t other : next[order[i]]) {
      --left[other];
      children[other] -= must_lead(knowledge, other, order[i]);
      look_at(other);
    }
  if (order.size() < next.size()) order.clear();
  return order;
}

}  // namespace tv

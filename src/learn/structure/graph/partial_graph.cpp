// What is asked of a whole partially directed graph.
#include "learn/structure/graph/partial_graph.h"

#include <bit>

namespace tv {

std::vector<size_t> PartialGraph::collect(size_t v, bool (PartialGraph::*belongs)(size_t, size_t)
                                                        const noexcept) const {
  std::vector<size_t> found;
  for (size_t other = 0; other < size(); ++other)
    if ((this->*belongs)(v, other)) found.push_back(other);
  return found;
}

size_t PartialGraph::number_of_links() const noexcept {
  size_t count = 0;
  for (size_t a = 0; a < size(); ++a)
    for (size_t b = a + 1; b < size(); ++b) count += are_adjacent(a, b);
  return count;
}

bool PartialGraph::has_undirected_links() const noexcept {
  for (size_t a = 0; a < size(); ++a)
    for (size_t b = a + 1; b < size(); ++b)
      if (is_undirected(a, b)) return true;
  return false;
}

std::pair<size_t, size_t> PartialGraph::find_link(size_t index) const noexcept {
  for (size_t from = 0; from < size(); ++from)
    for (size_t w = 0; w < ends_.words(); ++w)
      for (uint64_t word = ends_.row(from)[w]; word; word &= word - 1) {
        const size_t to = w * 64 + static_cast<size_t>(std::countr_zero(word));
        if (to < from && ends_.has(to, from)) continue;
        if (index-- == 0) return {from, to};
      }
  return {size(), size()};
}

std::vector<size_t> PartialGraph::topological_order() const {
  std::vector<size_t> waiting(size()), order;  // for how many parents
  std::vector<bool> is_done(size(), false);
  for (size_t v = 0; v < size(); ++v) waiting[v] = parents(v).size();
  for (size_t v = 0; v < size();) {
    if (is_done[v] || waiting[v] > 0) {
      ++v;
      continue;
    }
    is_done[v] = true;
    order.push_back(v);
    size_t next = v + 1;
    for (const size_t child : children(v))
      if (--waiting[child] == 0 && child < next) next = child;
    v = next;
  }
  if (order.size() < size()) order.clear();
  return order;
}

}  // namespace tv

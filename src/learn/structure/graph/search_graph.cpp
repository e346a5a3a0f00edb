// Ancestors are kept as rows of bits, so that most questions about cycles are one look.
#include "learn/structure/graph/search_graph.h"

#include <algorithm>

namespace tv {

SearchGraph::SearchGraph(const PartialGraph& graph)
    : parents_(graph.size()), links_(graph.size()), ancestors_(graph.size()) {
  for (uint32_t to = 0; to < size(); ++to)
    for (const size_t from : graph.parents(to)) {
      parents_[to].push_back(static_cast<uint32_t>(from));
      links_.set(from, to);
      hash_ ^= hash_of_link(from, to);
    }
  find_ancestors();
}

// From one bijection of all words to another (Steele, Lea and Flood 2014).
uint64_t SearchGraph::hash_of_link(uint64_t from, uint64_t to) noexcept {
  uint64_t hash = (from << 32 | to) + 0x9E3779B97F4A7C15u;
  hash = (hash ^ (hash >> 30)) * 0xBF58476D1CE4E5B9u;
  hash = (hash ^ (hash >> 27)) * 0x94D049BB133111EBu;
  return hash ^ (hash >> 31);
}

bool SearchGraph::can_reverse(size_t from, size_t to) const noexcept {
  return std::none_of(parents_[to].begin(), parents_[to].end(),
                      [&](uint32_t other) { return other != from && ancestors_.has(other, from); });
}

void SearchGraph::add(uint32_t from, uint32_t to) {
  std::vector<uint32_t>& parents = parents_[to];
  parents.insert(std::lower_bound(parents.begin(), parents.end(), from), from);
  links_.set(from, to);
  hash_ ^= hash_of_link(from, to);
  for (size_t node = 0; node < size(); ++node) {
    if (node != to && !ancestors_.has(node, to)) continue;
    uint64_t* const row = ancestors_.row(node);
    for (size_t w = 0; w < ancestors_.words(); ++w) row[w] |= ancestors_.row(from)[w];
    ancestors_.set(node, from);
  }
}

void SearchGraph::remove(uint32_t from, uint32_t to) {
  std::vector<uint32_t>& parents = parents_[to];
  parents.erase(std::lower_bound(parents.begin(), parents.end(), from));
  links_.clear(from, to);
  hash_ ^= hash_of_link(from, to);
  find_ancestors();
}

void SearchGraph::find_ancestors() {
  ancestors_ = BitMatrix(size());
  std::vector<uint32_t> order, waiting(size());  // for how many parents
  for (uint32_t node = 0; node < size(); ++node) {
    waiting[node] = static_cast<uint32_t>(parents_[node].size());
    if (parents_[node].empty()) order.push_back(node);
  }
  for (size_t i = 0; i < order.size(); ++i) {
    uint64_t* const row = ancestors_.row(order[i]);
    for (const uint32_t parent : parents_[order[i]]) {
      for (size_t w = 0; w < ancestors_.words(); ++w) row[w] |= ancestors_.row(parent)[w];
      ancestors_.set(order[i], parent);
    }
    for (uint32_t child = 0; child < size(); ++child)
      if (links_.has(order[i], child) && --waiting[child] == 0) order.push_back(child);
  }
}

PartialGraph SearchGraph::graph() const {
  PartialGraph graph(size());
  for (size_t to = 0; to < size(); ++to)
    for (const uint32_t from : parents_[to]) graph.direct(from, to);
  return graph;
}

}  // namespace tv

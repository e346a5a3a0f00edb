// A directed graph that a search changes link by link, with what it takes to keep it without cycles.
#pragma once

#include <cstdint>
#include <vector>

#include "learn/structure/graph/partial_graph.h"

namespace tv {

class SearchGraph {
 public:
  explicit SearchGraph(const PartialGraph& graph);

  size_t size() const noexcept { return parents_.size(); }
  const std::vector<uint32_t>& parents(size_t node) const noexcept { return parents_[node]; }  // ascending
  bool has_link(size_t from, size_t to) const noexcept { return links_.has(from, to); }

  bool can_add(size_t from, size_t to) const noexcept {
    return from != to && !ancestors_.has(from, to) && !has_link(to, from);
  }
  bool can_reverse(size_t from, size_t to) const noexcept;  // a link that there is

  void add(uint32_t from, uint32_t to);
  void remove(uint32_t from, uint32_t to);

  // Of the links; that of another graph is another one, but for a chance of 2^-64.
  uint64_t hash() const noexcept { return hash_; }
  static uint64_t hash_of_link(uint64_t from, uint64_t to) noexcept;

  PartialGraph graph() const;

 private:
  void find_ancestors();

  std::vector<std::vector<uint32_t>> parents_;
  BitMatrix links_;      // [from][to]
  BitMatrix ancestors_;  // [node][ancestor]
  uint64_t hash_ = 0;
};

}  // namespace tv

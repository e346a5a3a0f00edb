// The links of a partially directed graph by kind, as rows of bits, and what leads where: for algorithms that
// take whole rows at a time.
#pragma once

#include <bit>

#include "learn/structure/graph/partial_graph.h"

namespace tv {

// Calls visit(i) for each bit of the word, which is the one of this index in its row.
template <class Visit>
void for_each_bit(uint64_t word, size_t index, Visit visit) {
  for (; word; word &= word - 1) visit(index * 64 + static_cast<size_t>(std::countr_zero(word)));
}

inline uint64_t bit_of(size_t i) noexcept { return uint64_t{1} << (i % 64); }

struct LinksByKind {
  explicit LinksByKind(const PartialGraph& graph);

  size_t size() const noexcept { return parents.size(); }
  size_t words() const noexcept { return parents.words(); }

  // A link that has no direction yet.
  void direct(size_t from, size_t to) noexcept;

  BitMatrix parents, children, undirected, adjacent;  // [node][other]
};

// Which nodes directed links lead to from which, while links are added (Italiano 1986): all of them together
// cost no more than a few passes over the square of bits for each node.
class Reachability {
 public:
  explicit Reachability(const LinksByKind& links);

  // Each node leads to itself.
  bool leads(size_t from, size_t to) const noexcept { return reached_.has(from, to); }
  const BitMatrix& rows() const noexcept { return reached_; }

  void add(size_t from, size_t to) noexcept;

 private:
  BitMatrix reached_;
};

}  // namespace tv

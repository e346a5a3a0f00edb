// Required links, and how all of them can be directed.
#pragma once

#include "learn/structure/graph/knowledge.h"

namespace tv {

// Nodes that must be joined in a direction that is allowed.
inline bool is_required(const Knowledge& knowledge, size_t a, size_t b) noexcept {
  return knowledge.requires_any(a, b) && knowledge.allows_any(a, b);
}

// A direction that one of two nodes must have links in: the other is not allowed.
inline bool must_lead(const Knowledge& knowledge, size_t from, size_t to) noexcept {
  return knowledge.requires_link(from, to) && knowledge.allows(from, to);
}

// By node, in ascending order: those to which links must lead (`directed`), or that must be joined to it.
std::vector<std::vector<size_t>> required_neighbors(const Knowledge& knowledge, bool directed,
                                                    size_t left_out = kNone);

// All nodes in such an order that, with each required link leading from the later of its nodes to the earlier
// one, directions are allowed, no cycle is closed, and no node has more than `most` parents. Empty where
// there is no such order, and where there are no nodes.
std::vector<size_t> order_of_required_links(const Knowledge& knowledge, size_t most);

}  // namespace tv

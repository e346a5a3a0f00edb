// Searches over the directed graph, all iterative. A search marks the nodes that it has reached; the
// list of them is its queue and, at its end, clears the marks.
#pragma once

#include <algorithm>
#include <utility>
#include <vector>

#include "network/domain.h"
#include "network/node.h"

namespace tv {

// The nodes that a search has reached, in the order in which it did.
class MarkedNodes {
 public:
  MarkedNodes() = default;
  MarkedNodes(const MarkedNodes&) = delete;
  MarkedNodes& operator=(const MarkedNodes&) = delete;
  ~MarkedNodes() {
    for (Node* node : nodes_) node->mark = 0;
  }

  // Whether the node had no mark yet.
  bool reach(Node* node, int mark) {
    if (node->mark) return false;
    nodes_.push_back(node);
    node->mark = mark;
    return true;
  }
  size_t size() const noexcept { return nodes_.size(); }
  Node* operator[](size_t i) const noexcept { return nodes_[i]; }
  Node* const* begin() const noexcept { return nodes_.data(); }
  Node* const* end() const noexcept { return nodes_.data() + nodes_.size(); }

  std::vector<Node*> release() noexcept {  // clears the marks at once
    for (Node* node : nodes_) node->mark = 0;
    return std::exchange(nodes_, {});
  }

 private:
  std::vector<Node*> nodes_;
};

// A link of the graph that a search does as if it were not there (or that is not there yet).
struct DirectedLink {
  const Node* parent = nullptr;
  const Node* child = nullptr;
  bool is(const Node* from, const Node* to) const noexcept { return parent == from && child == to; }
};

// Whether a link from parent to child would close a directed cycle. When it would not, the levels are
// brought in line with it: no link leads to a lower level.
bool would_close_cycle(Node& parent, Node& child);

// The nodes that paths of links in their direction and of undirected links reach from `start`, itself
// included, when `absent` is not used.
std::vector<Node*> reachable_nodes(Node& start, DirectedLink absent);

// Lifts nodes to a level, with which everything below them has to be in line.
template <class NodeRange>
void raise_to(const NodeRange& nodes, size_t level) noexcept {
  for (Node* node : nodes) node->level = std::max(node->level, level);
}

}  // namespace tv

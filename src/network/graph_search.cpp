// Every node has a rank, and every link leads to a higher one. A new link that agrees with the ranks
// closes no cycle, which is the common case. Otherwise the descendants of the child and the ancestors
// of the parent are explored in turn, link by link, until one side is exhausted or they meet; the
// exhausted side is closed and moves as a whole behind (or before) all other nodes. So the cost is
// that of the smaller side, and building a network in any order of its links stays cheap.
#include "network/graph_search.h"

#include <algorithm>

#include "network/links.h"

namespace tv {
namespace {

constexpr int kBelow = 1, kAbove = 2;  // marks: reached from the child, from the parent

// One side of the search, advanced by a single link at a time.
struct Frontier {
  NodeList Node::*links;
  int mark;
  MarkedNodes reached;
  size_t node = 0, link = 0;  // the next link to follow

  Frontier(NodeList Node::*followed, int own_mark, Node& start) : links(followed), mark(own_mark) {
    reached.reach(&start, mark);
  }
  bool exhausted() noexcept {
    while (node < reached.size() && link == (reached[node]->*links).size()) {
      ++node;
      link = 0;
    }
    return node == reached.size();
  }
  // Whether the step met a node of the other side.
  bool step() {
    Node* next = (reached[node]->*links)[link++];
    return !reached.reach(next, mark) && next->mark != mark;
  }
};

void move_to_front(Domain& domain, const std::vector<Node*>& nodes) noexcept {
  for (size_t i = nodes.size(); i-- > 0;) nodes[i]->rank = --domain.first_rank;
}

NodeList collect(const Node& start, NodeList Node::*links) {
  MarkedNodes reached;
  reached.reach(const_cast<Node*>(&start), 1);
  NodeList found;
  for (size_t i = 0; i < reached.size(); ++i) {
    for (Node* next : reached[i]->*links)
      if (reached.reach(next, 1)) found.push_back(next);
  }
  return found;
}

}  // namespace

void sort_by_rank(std::vector<Node*>& nodes) noexcept {
  std::sort(nodes.begin(), nodes.end(), [](const Node* a, const Node* b) { return a->rank < b->rank; });
}

void move_to_end(Domain& domain, const std::vector<Node*>& nodes) noexcept {
  for (Node* node : nodes) node->rank = ++domain.last_rank;
}

bool would_close_cycle(Node& parent, Node& child) {
  if (&parent == &child) return true;
  if (parent.rank < child.rank) return false;
  Frontier below(&Node::children, kBelow, child);
  Frontier above(&Node::parents, kAbove, parent);
  for (;;) {
    if (below.exhausted()) {
      std::vector<Node*> descendants = below.reached.release();
      sort_by_rank(descendants);
      move_to_end(*child.domain, descendants);
      return false;
    }
    if (above.exhausted()) {
      std::vector<Node*> ancestors = above.reached.release();
      sort_by_rank(ancestors);
      move_to_front(*parent.domain, ancestors);
      return false;
    }
    if (below.step() || above.step()) return true;
  }
}

std::vector<Node*> reachable_nodes(Node& start, DirectedLink absent) {
  MarkedNodes reached;
  reached.reach(&start, 1);
  for (size_t i = 0; i < reached.size(); ++i)
    for (Node* child : reached[i]->children)
      if (!absent.is(reached[i], child)) reached.reach(child, 1);
  return reached.release();
}

bool has_directed_path(const Node& from, const Node& to) {
  if (&from == &to) return true;
  if (from.rank >= to.rank) return false;
  MarkedNodes reached;
  reached.reach(const_cast<Node*>(&from), 1);
  for (size_t i = 0; i < reached.size(); ++i)
    for (Node* child : reached[i]->children) {
      if (child == &to) return true;
      if (child->rank < to.rank) reached.reach(child, 1);
    }
  return false;
}

NodeList find_ancestors(const Node& node) { return collect(node, &Node::parents); }
NodeList find_descendants(const Node& node) { return collect(node, &Node::children); }

}  // namespace tv

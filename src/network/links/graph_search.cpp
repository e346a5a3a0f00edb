// Cycle checks after Bender, Fineman, Gilbert and Tarjan (2016), "A new approach to incremental cycle
// detection": every node has a level, and no link leads to a lower one. A new link to a higher level
// closes no cycle. Otherwise a search from the parent upwards stays within its level and gives up
// after about the square root of the network; then the child, and what lies below it on lower levels,
// rises to the parent's level or, where that search gave up, one above it. A network of m links costs
// O(m^1.5) in whatever order they come, and next to nothing in the usual ones.
#include "network/links/graph_search.h"

#include <algorithm>
#include <cmath>

#include "network/links/chain_graph.h"
#include "network/links/links.h"

namespace tv {
namespace {

constexpr int kBelow = 1, kAbove = 2;  // marks: reached from the child, from the parent

enum class Ascent { complete, given_up, met };

// Marks the nodes of the start's level from which paths within that level lead to it.
Ascent ascend_within_level(MarkedNodes& above, Node& start, const Node& sought, size_t limit) {
  above.reach(&start, kAbove);
  size_t followed = 0;
  for (size_t i = 0; i < above.size(); ++i)
    for (Node* parent : above[i]->parents) {
      if (parent->level != start.level) continue;
      if (parent == &sought) return Ascent::met;
      if (++followed > limit) return Ascent::given_up;
      above.reach(parent, kAbove);
    }
  return Ascent::complete;
}

// Collects `start` and what lies below it on levels lower than `level`; whether that leads to a node
// that the ascent has marked.
bool descends_to_marked(MarkedNodes& below, Node& start, size_t level) {
  below.reach(&start, kBelow);
  for (size_t i = 0; i < below.size(); ++i)
    for (Node* child : below[i]->children) {
      if (child->mark == kAbove) return true;
      if (child->level < level) below.reach(child, kBelow);
    }
  return false;
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

bool would_close_cycle(Node& parent, Node& child) {
  if (&parent == &child) return true;
  // Levels know directed links alone.
  if (!parent.domain->chain_potentials.empty() && chain_path_leads(child, parent)) return true;
  if (parent.level < child.level) return false;
  if (child.children.empty()) {
    child.level = parent.level;
    return false;
  }
  if (parent.parents.empty()) {
    parent.level = child.level;
    return false;
  }
  const auto limit = static_cast<size_t>(std::sqrt(static_cast<double>(parent.domain->node_count)));
  MarkedNodes above;
  const Ascent ascent = ascend_within_level(above, parent, child, limit);
  if (ascent == Ascent::met) return true;
  if (ascent == Ascent::complete && parent.level == child.level) return false;
  const size_t level = ascent == Ascent::complete ? parent.level : parent.level + 1;
  MarkedNodes below;
  if (descends_to_marked(below, child, level)) return true;
  raise_to(below, level);
  return false;
}

std::vector<Node*> reachable_nodes(Node& start, DirectedLink absent) {
  MarkedNodes reached;
  reached.reach(&start, 1);
  for (size_t i = 0; i < reached.size(); ++i) {
    for (Node* child : reached[i]->children)
      if (!absent.is(reached[i], child)) reached.reach(child, 1);
    for (Node* neighbor : reached[i]->neighbors) reached.reach(neighbor, 1);
  }
  return reached.release();
}

NodeList find_ancestors(const Node& node) { return collect(node, &Node::parents); }
NodeList find_descendants(const Node& node) { return collect(node, &Node::children); }

}  // namespace tv

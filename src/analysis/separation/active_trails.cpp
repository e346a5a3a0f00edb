#include "analysis/separation/active_trails.h"

namespace tv {

void ActiveTrails::follow_from(const NodeList& nodes) {
  for (const Node* node : nodes) visit(*node, kFromChild);
  while (!open_.empty()) {
    const Node& node = *open_.back();
    open_.pop_back();
    leave(node);
  }
}

void ActiveTrails::visit(const Node& node, unsigned char from) {
  unsigned char& marks = marks_[node.number - 1];
  if (marks & from) return;
  marks |= from;
  open_.push_back(&node);
}

// Evidence of any kind makes parents explain each other away; only a known state stops a trail.
void ActiveTrails::leave(const Node& node) {
  unsigned char& marks = marks_[node.number - 1];
  const bool known = observations_.known.contains(node);
  const bool goes_up =
      known ? marks & kFromParent : (marks & kFromChild) || observations_.likelihood.contains(node);
  if (goes_up && !(marks & kToParents)) {
    marks |= kToParents;
    observations_.each_parent(node, [&](const Node& parent) { visit(parent, kFromChild); });
  }
  if (!known && !(marks & kToChildren)) {
    marks |= kToChildren;
    observations_.each_child(node, [&](const Node& child) { visit(child, kFromParent); });
  }
}

}  // namespace tv

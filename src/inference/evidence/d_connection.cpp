// A node is visited at most once from its children's side and once from its parents' side. Coming from a
// child, the search goes on to parents and children unless the node's state is known. Coming from a
// parent it goes on to the children unless the state is known, and back to the parents when anything
// is known about the node: then its parents explain each other away.

#include "inference/evidence/d_connection.h"

#include "inference/schedule/subtree.h"

namespace tv {
namespace {

constexpr unsigned char kFromChild = 1, kFromParent = 2, kSource = 4, kBeenFromChild = 8,
                        kBeenFromParent = 16;

class TrailSearch {
 public:
  explicit TrailSearch(TreeEngine& engine) noexcept : engine_(engine) {}

  void run() noexcept {
    for (const Node* node : engine_.pending) engine_[*node].trail_marks |= kSource;
    for (const Node* node : engine_.pending) visit(*node, kFromChild);
    while (!engine_.trail.empty()) {
      const Node& node = *engine_.tree->nodes[engine_.trail.back()];
      engine_.trail.pop_back();
      leave(node);
    }
    for (const uint32_t position : engine_.targets) engine_[*engine_.tree->nodes[position]].trail_marks = 0;
  }

 private:
  void visit(const Node& node, unsigned char from) noexcept {
    NodeState& data = engine_[node];
    if (placement(node).tree != engine_.tree || !is_discrete_or_continuous(node)) return;
    if (data.trail_marks & (from | from << 3)) return;
    add_target(engine_, node);
    data.trail_marks |= from;
    engine_.trail.push_back(placement(node).position);
  }

  // Goes on from every side from which the node was reached since it was last left.
  void leave(const Node& node) noexcept {
    NodeState& data = engine_[node];
    const unsigned char from = data.trail_marks & (kFromChild | kFromParent);
    data.trail_marks = static_cast<unsigned char>((data.trail_marks & ~from) | from << 3);
    const bool source = data.trail_marks & kSource;
    const bool state_known = !source && (data.propagated_state >= 0 || data.value_propagated);
    const bool anything_known = source || data.value_propagated || data.propagated_state != kNoEvidence;
    if (!state_known) {
      if (from)
        for (const Node* child : node.children) visit(*child, kFromParent);
      if (from & kFromChild)
        for (const Node* parent : node.parents) visit(*parent, kFromChild);
    }
    if (from & kFromParent && anything_known)
      for (const Node* parent : node.parents) visit(*parent, kFromChild);
  }

  TreeEngine& engine_;
};

}  // namespace

void target_d_connected_beliefs(TreeEngine& engine) noexcept { TrailSearch(engine).run(); }

}  // namespace tv

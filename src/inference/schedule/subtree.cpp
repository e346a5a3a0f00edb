// Traversals of a junction tree that determine which messages are sent.

#include "inference/schedule/subtree.h"

#include <algorithm>

#include "inference/compress/sparse_tree.h"

namespace tv {
namespace {

void forget_order(TreeEngine& engine) noexcept {
  for (const size_t clique : engine.order) engine.reached_by[clique] = kNone;
  engine.order.clear();
}

// Breadth-first traversal through the links that `admits` accepts, neighbours in the order of their links.
template <class Admits>
void walk(TreeEngine& engine, size_t start, Admits admits) noexcept {
  forget_order(engine);
  engine.order.push_back(start);
  for (size_t i = 0; i < engine.order.size(); ++i) {
    const size_t here = engine.order[i];
    for (size_t l = 0; l < engine.cliques[here].links.size(); ++l) {
      const CliqueLink& link = engine.cliques[here].links[l];
      if (l == engine.reached_by[here] || !admits(link)) continue;
      engine.reached_by[link.neighbor] = link.back;
      engine.order.push_back(link.neighbor);
    }
  }
}

// Every clique has a higher position than its parent: the highest of those that are not yet connected never
// lies on the path between the others.
void connect_marked(TreeEngine& engine) noexcept {
  forget_order(engine);
  ArenaList<size_t>& open = engine.order;
  for (const uint32_t clique : engine.marked) open.push_back(clique);
  std::make_heap(open.begin(), open.end());
  while (open.size() > 1) {
    std::pop_heap(open.begin(), open.end());
    const size_t parent = engine.cliques[open.back()].clique->parent->position;
    open.pop_back();
    if (engine.cliques[parent].marked) continue;
    mark_clique(engine, parent);
    open.push_back(parent);
    std::push_heap(open.begin(), open.end());
  }
  open.clear();
}

bool holds_target(const TreeEngine& engine, const NodeList& members) noexcept {
  return std::any_of(members.begin(), members.end(),
                     [&](const Node* node) { return engine[*node].is_target; });
}

}  // namespace

void mark_clique(TreeEngine& engine, size_t clique) noexcept {
  if (engine.cliques[clique].marked) return;
  engine.cliques[clique].marked = true;
  engine.marked.push_back(static_cast<uint32_t>(clique));
}

void mark_all_cliques(TreeEngine& engine) noexcept {
  for (size_t c = 0; c < engine.cliques.size(); ++c) mark_clique(engine, c);
}

void clear_marks(TreeEngine& engine) noexcept {
  for (const uint32_t clique : engine.marked) engine.cliques[clique].marked = false;
  engine.marked.clear();
}

size_t _tv_identify_subtree(TreeEngine& engine, size_t root) noexcept {
  if (root != kNone) mark_clique(engine, root);
  if (engine.marked.empty()) mark_clique(engine, 0);
  const size_t start = *std::min_element(engine.marked.begin(), engine.marked.end());
  if (engine.marked.size() < engine.cliques.size()) connect_marked(engine);
  if (root != kNone) return root;
  order_from(engine, start);
  size_t best = start;
  for (const size_t clique : engine.order)
    if (stored_size(*engine.cliques[clique].clique) < stored_size(*engine.cliques[best].clique))
      best = clique;
  return best;
}

void extend_to_targets(TreeEngine& engine) noexcept {
  if (engine.targets.size() == engine.tree->nodes.size()) return mark_all_cliques(engine);
  for (size_t i = 0; i < engine.order.size(); ++i)
    for (const CliqueLink& link : engine.cliques[engine.order[i]].links) {
      if (engine.cliques[link.neighbor].marked) continue;
      if (!holds_target(engine, *engine.separators[link.separator].old.members)) continue;
      mark_clique(engine, link.neighbor);
      engine.order.push_back(link.neighbor);
    }
}

void order_from(TreeEngine& engine, size_t root) noexcept {
  walk(engine, root, [&](const CliqueLink& link) { return engine.cliques[link.neighbor].marked; });
}

void order_cliques_with(TreeEngine& engine, const Node& node) noexcept {
  walk(engine, placement(node).home->position, [&](const CliqueLink& link) {
    return engine.separators[link.separator].old.members->contains(&node);
  });
}

void add_target(TreeEngine& engine, const Node& node) noexcept {
  NodeState& data = engine[node];
  if (data.is_target) return;
  data.is_target = true;
  engine.targets.push_back(placement(node).position);
}

void target_all_beliefs(TreeEngine& engine) noexcept {
  for (const Node* node : engine.tree->nodes)
    if (is_discrete(*node)) add_target(engine, *node);
}

void target_no_beliefs(TreeEngine& engine) noexcept {
  for (const uint32_t position : engine.targets) engine[*engine.tree->nodes[position]].is_target = false;
  engine.targets.clear();
}

}  // namespace tv

// Searches over the graph of a decision model.

#include "limid/limid_graph.h"

#include <algorithm>

namespace tv {

LimidGraph::LimidGraph(const Domain& domain)
    : nodes_(domain.node_count),
      parents_(domain.node_count),
      children_(domain.node_count),
      is_utility_(domain.node_count) {
  for (const Node& node : domain.nodes) {
    const Vertex v = node.number - 1;
    is_utility_[v] = node.category == tv_category_utility;
    for (const Node* parent : node.parents) add_link(parent->number - 1, v);
    // An undirected link ties its ends like a common effect that is always observed.
    for (const Node* neighbor : node.neighbors) {
      if (neighbor->number < node.number) continue;
      const Vertex tie = parents_.size();
      parents_.emplace_back();
      children_.emplace_back();
      is_utility_.push_back(false);
      add_link(v, tie);
      add_link(neighbor->number - 1, tie);
    }
  }
}

void LimidGraph::add_link(Vertex parent, Vertex child) {
  parents_[child].push_back(parent);
  children_[parent].push_back(child);
}

void LimidGraph::remove_link(Vertex parent, Vertex child) noexcept {
  std::erase(parents_[child], parent);
  std::erase(children_[parent], child);
}

LimidGraph::Vertices LimidGraph::family(Vertex v) const {
  Vertices family = parents_[v];
  family.push_back(v);
  return family;
}

LimidGraph::Vertices LimidGraph::reachable(Vertex start, const std::vector<Vertices>& links) const {
  std::vector<unsigned char> reached(links.size());
  Vertices found = {start};
  reached[start] = true;
  for (size_t i = 0; i < found.size(); ++i)
    for (Vertex next : links[found[i]])
      if (!reached[next]) {
        reached[next] = true;
        found.push_back(next);
      }
  found.erase(found.begin());
  return found;
}

LimidGraph::Vertices LimidGraph::ancestors(Vertex v) const { return reachable(v, parents_); }

LimidGraph::Vertices LimidGraph::utility_descendants(Vertex v) const {
  Vertices descendants = reachable(v, children_);
  std::erase_if(descendants, [this](Vertex d) { return !is_utility_[d]; });
  return descendants;
}

bool LimidGraph::_tv_limid_nodes_are_separated(const Vertices& from, const Vertices& to,
                                               const Vertices& given) const {
  constexpr unsigned char kGiven = 1, kAboveGiven = 2, kFromChild = 4, kFromParent = 8, kTarget = 16;
  std::vector<unsigned char> marks(parents_.size());
  Vertices above;
  const auto observe = [&](Vertex v) {
    if (!(marks[v] & kAboveGiven)) above.push_back(v);
    marks[v] |= kGiven | kAboveGiven;
  };
  for (Vertex v : given) observe(v);
  for (Vertex tie = nodes_; tie < parents_.size(); ++tie) observe(tie);
  for (size_t i = 0; i < above.size(); ++i)
    for (Vertex parent : parents_[above[i]])
      if (!(marks[parent] & kAboveGiven)) {
        marks[parent] |= kAboveGiven;
        above.push_back(parent);
      }
  for (Vertex v : to) marks[v] |= kTarget;

  struct Stop {
    Vertex vertex;
    unsigned char from;
  };
  std::vector<Stop> stops;
  const auto arrive = [&](Vertex v, unsigned char side) {
    if (marks[v] & side) return;
    marks[v] |= side;
    stops.push_back({v, side});
  };
  for (Vertex v : from) arrive(v, kFromChild);
  for (size_t i = 0; i < stops.size(); ++i) {
    const auto [v, side] = stops[i];
    const bool is_given = marks[v] & kGiven;
    if (!is_given) {
      if (marks[v] & kTarget) return false;
      for (Vertex child : children_[v]) arrive(child, kFromParent);
    }
    if (side == kFromChild ? !is_given : (marks[v] & kAboveGiven) != 0)
      for (Vertex parent : parents_[v]) arrive(parent, kFromChild);
  }
  return true;
}

}  // namespace tv

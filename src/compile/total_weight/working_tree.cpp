// Changing a tree of cliques in places.
#include "compile/total_weight/working_tree.h"

namespace tv {
namespace {

bool includes(const VertexSet& set, const VertexSet& subset) noexcept {
  return std::includes(set.begin(), set.end(), subset.begin(), subset.end());
}

}  // namespace

WorkingTree::WorkingTree(const VertexGraph& graph, const std::vector<VertexSet>& cliques,
                         const std::vector<size_t>& parents)
    : graph_(&graph) {
  for (const VertexSet& clique : cliques) add(clique);
  for (Index i = 0; i < cliques.size(); ++i)
    if (parents[i] != kNone) link(i, static_cast<Index>(parents[i]));
}

std::vector<VertexSet> WorkingTree::cliques() const {
  std::vector<VertexSet> result;
  for (const Clique& clique : cliques_)
    if (!clique.members.empty()) result.push_back(clique.members);
  return result;
}

WorkingTree::Index WorkingTree::add(VertexSet members) {
  if (free_.empty()) {
    free_.reserve(cliques_.size() + 1);
    cliques_.emplace_back();
    free_.push_back(static_cast<Index>(cliques_.size() - 1));
  }
  const Index i = free_.back();
  free_.pop_back();
  cliques_[i].weight = compute_weight(*graph_, members);
  cliques_[i].members = std::move(members);
  cost_ += cliques_[i].weight;
  return i;
}

void WorkingTree::erase(Index clique) {
  cost_ -= cliques_[clique].weight;
  cliques_[clique].members.clear();
  cliques_[clique].neighbors.clear();
  free_.push_back(clique);
}

void WorkingTree::link(Index a, Index b) {
  cliques_[a].neighbors.push_back(b);
  cliques_[b].neighbors.push_back(a);
}

void WorkingTree::unlink(Index a, Index b) noexcept {
  std::erase(cliques_[a].neighbors, b);
  std::erase(cliques_[b].neighbors, a);
}

std::vector<WorkingTree::Outside> WorkingTree::cut_out(const std::vector<Index>& region) {
  std::vector<Outside> outside;
  for (const Index inner : region) {
    for (const Index outer : std::vector<Index>(cliques_[inner].neighbors)) {
      if (std::find(region.begin(), region.end(), outer) != region.end()) continue;
      const VertexSet &a = cliques_[inner].members, &b = cliques_[outer].members;
      outside.push_back({outer, {}});
      std::set_intersection(a.begin(), a.end(), b.begin(), b.end(),
                            std::back_inserter(outside.back().separator));
      unlink(inner, outer);
    }
  }
  for (const Index inner : region) erase(inner);
  return outside;
}

void WorkingTree::merge(Index clique, Index into) {
  unlink(clique, into);
  for (const Index other : std::vector<Index>(cliques_[clique].neighbors)) {
    unlink(clique, other);
    link(into, other);
  }
  erase(clique);
}

void WorkingTree::replace(const std::vector<Index>& region, Patch patch) {
  const std::vector<Outside> outside = cut_out(region);
  std::vector<Index> added;
  for (VertexSet& clique : patch.cliques) added.push_back(add(std::move(clique)));
  for (const auto& [a, b] : patch.links) link(added[a], added[b]);
  for (const Outside& neighbor : outside) {
    const auto holder = std::find_if(added.begin(), added.end(), [&](Index i) {
      return includes(cliques_[i].members, neighbor.separator);
    });
    link(*holder, neighbor.clique);
  }
  for (const Outside& neighbor : outside) {
    for (const Index i : std::vector<Index>(cliques_[neighbor.clique].neighbors)) {
      if (std::find(added.begin(), added.end(), i) == added.end()) continue;
      if (!includes(cliques_[neighbor.clique].members, cliques_[i].members)) continue;
      merge(i, neighbor.clique);
      std::erase(added, i);
    }
  }
}

}  // namespace tv

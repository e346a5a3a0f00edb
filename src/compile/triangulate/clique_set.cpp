// Containment questions over a collection of vertex sets.
#include "compile/triangulate/clique_set.h"

#include <algorithm>
#include <utility>

namespace tv {
namespace {

bool contains(const VertexSet& set, Vertex v) noexcept {
  return std::binary_search(set.begin(), set.end(), v);
}

}  // namespace

size_t CliqueSet::clique_over(const VertexSet& set) const noexcept {
  const Vertex rarest = *std::min_element(
      set.begin(), set.end(), [this](Vertex a, Vertex b) { return lists_[a].length < lists_[b].length; });
  for (size_t i = lists_[rarest].newest; i != kNone; i = holders_[i].older) {
    const VertexSet& clique = cliques_[holders_[i].clique];
    if (clique.size() >= set.size() && std::includes(clique.begin(), clique.end(), set.begin(), set.end()))
      return holders_[i].clique;
  }
  return kNoClique;
}

size_t CliqueSet::only_clique_with(Vertex a, Vertex b) const noexcept {
  if (lists_[a].length > lists_[b].length) std::swap(a, b);
  size_t found = kNoClique;
  for (size_t i = lists_[a].newest; i != kNone; i = holders_[i].older) {  // few of which hold b
    const VertexSet& clique = cliques_[holders_[i].clique];
    if (!contains(clique, b) || !contains(clique, a)) continue;
    if (found != kNoClique) return kNoClique;
    found = holders_[i].clique;
  }
  return found;
}

void CliqueSet::add(VertexSet clique) {
  const size_t i = cliques_.size();
  for (const Vertex v : clique) {
    holders_.push_back({i, lists_[v].newest});
    lists_[v] = {holders_.size() - 1, lists_[v].length + 1};
  }
  cliques_.push_back(std::move(clique));
}

std::vector<VertexSet> CliqueSet::take() {
  std::erase_if(cliques_, [](const VertexSet& clique) { return clique.empty(); });
  return std::move(cliques_);
}

}  // namespace tv

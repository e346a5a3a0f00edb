// Containment questions over a collection of vertex sets.
#include "compile/clique_set.h"

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
      set.begin(), set.end(), [this](Vertex a, Vertex b) { return holders_[a].size() < holders_[b].size(); });
  for (const std::uint32_t i : holders_[rarest]) {
    const VertexSet& clique = cliques_[i];
    if (clique.size() >= set.size() && std::includes(clique.begin(), clique.end(), set.begin(), set.end())) {
      return i;
    }
  }
  return kNoClique;
}

size_t CliqueSet::only_clique_with(Vertex a, Vertex b) const noexcept {
  if (holders_[a].size() > holders_[b].size()) std::swap(a, b);
  size_t found = kNoClique;
  for (const std::uint32_t i : holders_[a]) {  // few of which hold b
    if (!contains(cliques_[i], b) || !contains(cliques_[i], a)) continue;
    if (found != kNoClique) return kNoClique;
    found = i;
  }
  return found;
}

void CliqueSet::add(VertexSet clique) {
  const auto i = static_cast<std::uint32_t>(cliques_.size());
  for (const Vertex v : clique) holders_[v].push_back(i);
  cliques_.push_back(std::move(clique));
}

std::vector<VertexSet> CliqueSet::take() {
  std::erase_if(cliques_, [](const VertexSet& clique) { return clique.empty(); });
  return std::move(cliques_);
}

}  // namespace tv

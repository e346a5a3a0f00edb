// Triangulating regions anew.
#include "compile/total_weight/region_solver.h"

#include "network/node_operations.h"

namespace tv {

void RegionSolver::take(const WorkingTree& tree, const std::vector<Index>& region,
                        const VertexSet& vertices) {
  vertices_ = vertices;
  local_ = BitGraph<1>(vertices.size());
  size_t work = 0;
  for (Vertex i = 0; i < vertices.size(); ++i) number_[vertices[i]] = i;
  for (Vertex i = 0; i < vertices.size(); ++i) {
    const Node& node = *graph_.nodes[vertices[i]];
    local_.set_weight(i, state_count(node), is_continuous(node));
    for (const Vertex u : graph_.neighbors(vertices[i]))
      if (number_[u] != kOutside) local_.add_link(i, number_[u]);
    work += graph_.neighbors(vertices[i]).size();
  }
  for (const Index inner : region) {
    for (const Index outer : tree[inner].neighbors) {
      if (std::find(region.begin(), region.end(), outer) != region.end()) continue;
      Set separator = local_.none();
      for (const Vertex v : tree[outer].members)
        if (number_[v] != kOutside) separator.insert(number_[v]);
      local_.complete(separator);
      work += tree[outer].members.size();
    }
  }
  for (const Vertex v : vertices) number_[v] = kOutside;
  budget_.stop_requested(work);
}

RegionSolver::Outcome RegionSolver::triangulate(double bound, size_t limit, WorkingTree::Patch& patch) {
  separators_.start(local_);
  if (separators_.enumerate(limit, 0) != Enumeration::complete) return Outcome::too_hard;
  separators_.keep_up_to(bound * 0.5 / local_.least_factor());
  if (!fragments_.split(local_, separators_)) return Outcome::too_hard;
  const double cost = fragments_.triangulate(bound);
  if (cost == FragmentCollection<1>::kUnknown) return Outcome::too_hard;
  if (cost == FragmentCollection<1>::kHopeless) return Outcome::none;
  write(fragments_.identify_cliques(), patch);
  return Outcome::found;
}

void RegionSolver::write(const std::vector<Set>& cliques, WorkingTree::Patch& patch) const {
  patch.cliques.clear();
  for (const Set& clique : cliques) {
    VertexSet members;
    clique.for_each([&](Vertex v) { members.push_back(vertices_[v]); });
    std::sort(members.begin(), members.end());
    patch.cliques.push_back(std::move(members));
  }
  link(cliques, patch);
}

// A tree of cliques: each is linked to the one with which it has most in common among those linked before,
// and the one that has most in common with any of them is next.
void RegionSolver::link(const std::vector<Set>& cliques, WorkingTree::Patch& patch) const {
  struct Nearest {
    size_t common = 0;
    Index clique = 0;
    bool is_linked = false;
  };
  std::vector<Nearest> nearest(cliques.size());
  patch.links.clear();
  Index last = 0;
  for (size_t step = 1; step < cliques.size(); ++step) {
    nearest[last].is_linked = true;
    Index next = last;
    for (Index i = 0; i < cliques.size(); ++i) {
      if (nearest[i].is_linked) continue;
      const size_t common = (cliques[i] & cliques[last]).count();
      if (common > nearest[i].common) nearest[i] = {common, last, false};
      if (next == last || nearest[i].common > nearest[next].common) next = i;
    }
    patch.links.emplace_back(nearest[next].clique, next);
    last = next;
  }
}

}  // namespace tv

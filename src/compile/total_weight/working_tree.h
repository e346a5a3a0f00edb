// A triangulation as a tree of its cliques that a search changes in places.
#pragma once

#include "compile/triangulate/vertex_graph.h"

namespace tv {

class WorkingTree {
 public:
  using Index = std::uint32_t;

  struct Clique {
    VertexSet members;  // empty: the place is free
    double weight = 0.0;
    std::vector<Index> neighbors;
  };

  // A tree of cliques, given the parent of each; kNone for a root.
  WorkingTree(const VertexGraph& graph, const std::vector<VertexSet>& cliques,
              const std::vector<size_t>& parents);

  size_t size() const noexcept { return cliques_.size() - free_.size(); }
  size_t places() const noexcept { return cliques_.size(); }
  const Clique& operator[](Index i) const noexcept { return cliques_[i]; }
  double cost() const noexcept { return cost_; }
  std::vector<VertexSet> cliques() const;

  // Cliques that take the place of others, and the links among them by position, a tree.
  struct Patch {
    std::vector<VertexSet> cliques;
    std::vector<std::pair<Index, Index>> links;
  };

  // Puts a patch in the place of a connected region of the tree. A link that led out of the region goes to a
  // clique of the patch that holds its separator; a clique of the patch that lies inside such a neighbour is
  // merged into it.
  void replace(const std::vector<Index>& region, Patch patch);

 private:
  struct Outside {
    Index clique;         // a neighbour of the region
    VertexSet separator;  // between the two
  };
  std::vector<Outside> cut_out(const std::vector<Index>& region);
  Index add(VertexSet members);
  void unlink(Index a, Index b) noexcept;
  void link(Index a, Index b);
  void merge(Index clique, Index into);
  void erase(Index clique);

  const VertexGraph* graph_;
  std::vector<Clique> cliques_;
  std::vector<Index> free_;
  double cost_ = 0.0;
};

}  // namespace tv

// A growing collection of vertex sets with an index from each vertex to the sets that hold it, so that
// questions about containment look at few of them.
#pragma once

#include <algorithm>

#include "compile/triangulate/vertex_graph.h"

namespace tv {

class CliqueSet {
 public:
  static constexpr size_t kNoClique = static_cast<size_t>(-1);

  explicit CliqueSet(size_t vertex_count) : lists_(vertex_count) {}

  size_t size() const noexcept { return cliques_.size(); }
  const VertexSet& operator[](size_t i) const noexcept { return cliques_[i]; }

  // A clique that contains the (not empty) set, or kNoClique.
  size_t clique_over(const VertexSet& set) const noexcept;

  // The clique that holds both vertices when there is exactly one such clique.
  size_t only_clique_with(Vertex a, Vertex b) const noexcept;

  // How many cliques that question looks into.
  size_t looks_for(Vertex a, Vertex b) const noexcept { return std::min(lists_[a].length, lists_[b].length); }

  void add(VertexSet clique);
  void erase(size_t i) noexcept { cliques_[i].clear(); }  // leaves an empty set behind
  void replace(size_t i, VertexSet subset) noexcept { cliques_[i] = std::move(subset); }

  // The cliques in order, without the erased ones; the collection is spent.
  std::vector<VertexSet> take();

 private:
  // By vertex the cliques that hold it, the newest first, all lists in one block. A set that has shrunk or
  // gone
  // may still be listed; looking into it then shows that it does not hold the vertex.
  struct List {
    size_t newest = kNone;
    size_t length = 0;
  };
  struct Holder {
    size_t clique;
    size_t older;
  };

  std::vector<VertexSet> cliques_;
  std::vector<List> lists_;
  std::vector<Holder> holders_;
};

}  // namespace tv

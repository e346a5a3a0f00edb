// A search for cheap triangulations that can end at any time. Regions of a triangulation are triangulated
// anew, each at the least cost that is possible there, until that helps nowhere; then it is disturbed
// somewhere and the search goes on from there, or from the best triangulation so far (large neighbourhood
// search, Shaw 1998; iterated local search, Lourenco, Martin and Stuetzle 2003).
#pragma once

#include "compile/total_weight/region_solver.h"

namespace tv {

class TriangulationSearch {
 public:
  TriangulationSearch(const VertexGraph& graph, SearchBudget& budget)
      : graph_(graph), budget_(budget), solver_(graph, budget) {}

  // Improves a triangulation of the graph with at most so much work, or until the host wants it to end. Never
  // makes it costlier, and ends early where it is proven to be of least cost; returns whether it is. The tree
  // is described by the parent of each clique, kNone for a root.
  bool improve(std::vector<VertexSet>& cliques, const std::vector<size_t>& parents, size_t work);

 private:
  using Index = WorkingTree::Index;

  std::uint64_t random() noexcept;
  size_t random_below(size_t n) noexcept { return static_cast<size_t>((random() >> 32) * n >> 32); }
  Index random_clique(const WorkingTree& tree) noexcept;
  Index heavy_clique(const WorkingTree& tree) noexcept;
  void grow_region(const WorkingTree& tree, Index start);
  bool improve_region(WorkingTree& tree);
  void disturb(WorkingTree& tree);

  const VertexGraph& graph_;
  SearchBudget& budget_;
  RegionSolver solver_;
  WorkingTree::Patch patch_;
  std::vector<Index> region_, frontier_;
  VertexSet vertices_, joined_;  // of the region, of the region with one clique more
  size_t level_ = 0;             // of the size of the regions that are tried
  bool is_optimal_ = false;
  std::uint64_t random_state_ = 1;
};

}  // namespace tv

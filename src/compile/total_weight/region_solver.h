// Regions of a triangulation, triangulated anew at least cost. What hangs on a region stays as it is: the
// separators around it are made complete, and so every triangulation of the region fits.
#pragma once

#include "compile/total_weight/fragments.h"
#include "compile/total_weight/working_tree.h"

namespace tv {

class RegionSolver {
 public:
  using Index = WorkingTree::Index;
  static constexpr size_t kMostVertices = 64;

  RegionSolver(const VertexGraph& graph, SearchBudget& budget)
      : graph_(graph),
        budget_(budget),
        number_(graph.size(), kOutside),
        separators_(local_, budget),
        fragments_(budget) {}

  // The graph of a connected region of the tree: `vertices` are those of its cliques, in any order, at most
  // kMostVertices. Two vertices are adjacent that are so in the graph, or share a separator around the
  // region.
  void take(const WorkingTree& tree, const std::vector<Index>& region, const VertexSet& vertices);

  // Makes the state counts of the vertices larger, each by a factor of its own: factor(v) for the v-th
  // vertex.
  template <class Factor>
  void distort(Factor factor) {
    for (Vertex v = 0; v < local_.size(); ++v)
      local_.set_weight(v, local_.states(v) * factor(v), local_.is_continuous(v));
  }

  // Finds the cheapest triangulation of the graph taken.
  enum class Outcome {
    found,    // costs less than the bound and is written to the patch
    none,     // no triangulation costs less
    too_hard  // there are more than `limit` separators, or the search has to end
  };
  Outcome triangulate(double bound, size_t limit, WorkingTree::Patch& patch);

 private:
  using Set = VertexBits<1>;
  static constexpr Vertex kOutside = static_cast<Vertex>(-1);
  void write(const std::vector<Set>& cliques, WorkingTree::Patch& patch) const;
  void link(const std::vector<Set>& cliques, WorkingTree::Patch& patch) const;

  const VertexGraph& graph_;
  SearchBudget& budget_;
  VertexSet number_;    // by vertex: its number in the region
  VertexSet vertices_;  // by number
  BitGraph<1> local_{0};
  SeparatorCollection<1> separators_;
  FragmentCollection<1> fragments_;
};

}  // namespace tv

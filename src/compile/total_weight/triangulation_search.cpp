// Searching for cheap triangulations, region by region.
#include "compile/total_weight/triangulation_search.h"

#include <limits>

namespace tv {
namespace {

// Regions are small first, and grow each time that nothing has been found for a while.
struct RegionSize {
  size_t vertices;    // at most
  size_t separators;  // at most
};
constexpr RegionSize kRegionSizes[] = {{32, 300}, {40, 600}, {48, 1200}, {56, 2400}, {64, 4800}};
constexpr size_t kFewestVertices = 8;

// A triangulation is left alone after so many tries for each of its cliques.
constexpr size_t kTriesOfAClique = 2;

// The heaviest of up to so many cliques is where a region begins: that is where there is most to gain.
constexpr size_t kMostDraws = 8;

constexpr size_t kMostDisturbedRegions = 3;

// So many vertices in a list are as much work as a look at a set.
constexpr size_t looks_at(size_t vertices) noexcept { return vertices / 8 + 1; }

}  // namespace

// SplitMix64 (Steele, Lea and Flood 2014).
std::uint64_t TriangulationSearch::random() noexcept {
  std::uint64_t z = random_state_ += 0x9e3779b97f4a7c15;
  z = (z ^ z >> 30) * 0xbf58476d1ce4e5b9;
  z = (z ^ z >> 27) * 0x94d049bb133111eb;
  return z ^ z >> 31;
}

TriangulationSearch::Index TriangulationSearch::random_clique(const WorkingTree& tree) noexcept {
  for (;;) {
    const Index i = static_cast<Index>(random_below(tree.places()));
    if (!tree[i].members.empty()) return i;
  }
}

TriangulationSearch::Index TriangulationSearch::heavy_clique(const WorkingTree& tree) noexcept {
  Index heaviest = random_clique(tree);
  for (size_t draws = random_below(kMostDraws); draws > 0; --draws) {
    const Index i = random_clique(tree);
    if (tree[i].weight > tree[heaviest].weight) heaviest = i;
  }
  return heaviest;
}

// Takes in one neighbouring clique after the other, as long as there are few enough vertices.
void TriangulationSearch::grow_region(const WorkingTree& tree, Index start) {
  const size_t most = kFewestVertices + random_below(kRegionSizes[level_].vertices - kFewestVertices + 1);
  region_.assign(1, start);
  vertices_ = tree[start].members;
  frontier_ = tree[start].neighbors;
  while (!frontier_.empty()) {
    std::swap(frontier_[random_below(frontier_.size())], frontier_.back());
    const Index next = frontier_.back();
    frontier_.pop_back();
    joined_.clear();
    std::set_union(vertices_.begin(), vertices_.end(), tree[next].members.begin(), tree[next].members.end(),
                   std::back_inserter(joined_));
    budget_.stop_requested(looks_at(joined_.size()));
    if (joined_.size() > most) continue;
    vertices_.swap(joined_);
    for (const Index other : tree[next].neighbors)
      if (std::find(region_.begin(), region_.end(), other) == region_.end()) frontier_.push_back(other);
    region_.push_back(next);
  }
  // Of equally cheap triangulations the order of the vertices decides.
  for (size_t i = vertices_.size(); i > 1; --i) std::swap(vertices_[i - 1], vertices_[random_below(i)]);
}

// Whether the triangulation has become cheaper. Another one of the same cost is taken, too: it opens other
// ways.
bool TriangulationSearch::improve_region(WorkingTree& tree) {
  if (vertices_.size() > RegionSolver::kMostVertices) return false;
  double cost = 0.0;
  for (const Index i : region_) cost += tree[i].weight;
  solver_.take(tree, region_, vertices_);
  const RegionSolver::Outcome outcome = solver_.triangulate(std::max(cost + 0.5, cost * (1.0 + 1e-12)),
                                                            kRegionSizes[level_].separators, patch_);
  if (outcome != RegionSolver::Outcome::found) return false;
  is_optimal_ = region_.size() == tree.size();
  const double before = tree.cost();
  tree.replace(region_, patch_);
  return tree.cost() < before;
}

// Triangulates a few regions as if their vertices had other weights.
void TriangulationSearch::disturb(WorkingTree& tree) {
  Index start = random_clique(tree);
  for (size_t regions = 1 + random_below(kMostDisturbedRegions); regions > 0; --regions) {
    grow_region(tree, start);
    if (vertices_.size() > RegionSolver::kMostVertices) return;
    solver_.take(tree, region_, vertices_);
    solver_.distort([this](Vertex) { return 1.0 + static_cast<double>(random_below(1024)) / 1024.0; });
    const double any_cost = std::numeric_limits<double>::max();
    if (solver_.triangulate(any_cost, kRegionSizes[level_].separators, patch_) ==
        RegionSolver::Outcome::found)
      tree.replace(region_, patch_);
    start = heavy_clique(tree);
  }
}

bool TriangulationSearch::improve(std::vector<VertexSet>& cliques, const std::vector<size_t>& parents,
                                  size_t work) {
  WorkingTree tree(graph_, cliques, parents), best = tree;
  const size_t end = budget_.work() + work;
  size_t idle = 0;
  while (budget_.work() < end && !is_optimal_ && !budget_.stop_requested(1)) {
    grow_region(tree, heavy_clique(tree));
    if (improve_region(tree)) idle = 0;
    if (++idle < kTriesOfAClique * tree.size()) continue;
    idle = 0;
    if (++level_ < std::size(kRegionSizes)) continue;
    level_ = 0;
    if (tree.cost() <= best.cost()) {
      best = tree;
    } else {
      tree = best;
    }
    budget_.stop_requested(tree.places());
    disturb(tree);
  }
  if (best.cost() < tree.cost()) tree = std::move(best);
  std::vector<VertexSet> found = tree.cliques();
  if (cost_of_cliques(graph_, found) <= cost_of_cliques(graph_, cliques)) cliques = std::move(found);
  return is_optimal_;
}

}  // namespace tv

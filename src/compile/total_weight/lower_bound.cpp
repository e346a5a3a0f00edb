// A lower bound by contraction. In a triangulation of any graph some vertex lies with all its neighbours in
// one clique, so that the heaviest clique weighs at least as much as the lightest vertex together with its
// neighbours; and no minor needs heavier cliques than the graph. Vertices are contracted one after the other,
// always the lightest one with the neighbour that has the fewest neighbours in common with it (Bodlaender and
// Koster 2011).
#include "compile/total_weight/lower_bound.h"

#include <set>

#include "compile/total_weight/fragments.h"
#include "compile/total_weight/widths.h"

namespace tv {
namespace {

constexpr size_t kFewSeparators = 10000;  // are looked at in a tenth of a second

class Contraction {
 public:
  explicit Contraction(const VertexGraph& graph) : vertices_(graph.size()) {
    for (Vertex v = 0; v < graph.size(); ++v) {
      const Node& node = *graph.nodes[v];
      const std::span<const Vertex> neighbors = graph.neighbors(v);
      vertices_[v] = {{neighbors.begin(), neighbors.end()}, state_count(node), is_continuous(node), 0.0};
    }
    for (Vertex v = 0; v < graph.size(); ++v) enter(v);
  }

  double run() {
    double bound = 0.0;
    while (!queue_.empty()) {
      const auto [weight, v] = *queue_.begin();
      bound = std::max(bound, weight);
      leave(v);
      if (!vertices_[v].neighbors.empty()) contract(v);
    }
    return bound;
  }

 private:
  // A clique of a triangulation meets each set of contracted vertices, in what may be its lightest one.
  struct Contracted {
    VertexSet neighbors;
    double states = 1.0;
    bool is_continuous = false;  // all of the set
    double weight = 0.0;         // with its neighbours
  };

  double weigh(Vertex v) const noexcept {
    double weight = vertices_[v].states;
    size_t continuous = vertices_[v].is_continuous;
    for (const Vertex u : vertices_[v].neighbors) {
      weight *= vertices_[u].states;
      continuous += vertices_[u].is_continuous;
    }
    return weight * continuous_factor(continuous);
  }
  void enter(Vertex v) { queue_.emplace(vertices_[v].weight = weigh(v), v); }
  void leave(Vertex v) { queue_.erase({vertices_[v].weight, v}); }

  void contract(Vertex v) {
    const VertexSet neighbors = std::move(vertices_[v].neighbors);
    const Vertex into = with_fewest_in_common(neighbors);
    for (const Vertex u : neighbors) leave(u);
    Contracted& target = vertices_[into];
    target.states = std::min(target.states, vertices_[v].states);
    target.is_continuous = target.is_continuous && vertices_[v].is_continuous;
    VertexSet joined;
    std::set_union(target.neighbors.begin(), target.neighbors.end(), neighbors.begin(), neighbors.end(),
                   std::back_inserter(joined));
    std::erase_if(joined, [&](Vertex u) { return u == v || u == into; });
    target.neighbors = std::move(joined);
    for (const Vertex u : neighbors) {
      if (u == into) continue;
      VertexSet& others = vertices_[u].neighbors;
      others.erase(std::lower_bound(others.begin(), others.end(), v));
      const auto place = std::lower_bound(others.begin(), others.end(), into);
      if (place == others.end() || *place != into) others.insert(place, into);
    }
    // The neighbours of the merged vertex see another weight.
    for (const Vertex u : target.neighbors) {
      if (!std::binary_search(neighbors.begin(), neighbors.end(), u)) leave(u);
      enter(u);
    }
    enter(into);
  }

  Vertex with_fewest_in_common(const VertexSet& neighbors) const noexcept {
    Vertex best = neighbors.front();
    size_t fewest = static_cast<size_t>(-1);
    for (const Vertex u : neighbors) {
      const VertexSet& others = vertices_[u].neighbors;
      const size_t common = static_cast<size_t>(std::count_if(others.begin(), others.end(), [&](Vertex w) {
        return std::binary_search(neighbors.begin(), neighbors.end(), w);
      }));
      if (common >= fewest) continue;
      fewest = common;
      best = u;
    }
    return best;
  }

  std::vector<Contracted> vertices_;
  std::set<std::pair<double, Vertex>> queue_;  // by weight
};

// The cost of the cheapest triangulation; 0 where there are too many separators. Nothing is cheaper than
// `cost` where no triangulation is found below it.
template <size_t W>
double least_cost(const VertexGraph& graph, double cost, Progress& progress) {
  const BitGraph<W> bits = bit_graph_of<W>(graph);
  SearchBudget budget(progress, graph.nodes.front()->domain->memory_limit);
  SeparatorCollection<W> separators(bits, budget);
  if (separators.enumerate(kFewSeparators, 0) != Enumeration::complete) return 0.0;
  separators.keep_up_to(cost * 0.5 / bits.least_factor());
  FragmentCollection<W> fragments(budget);
  if (!fragments.split(bits, separators)) return 0.0;
  const double found = fragments.triangulate(cost);
  if (found == FragmentCollection<W>::kUnknown) return 0.0;
  return found == FragmentCollection<W>::kHopeless ? cost : found;
}

}  // namespace

double least_heaviest_clique(const VertexGraph& graph) { return Contraction(graph).run(); }

double least_possible_cost(const VertexGraph& graph, double cost, Progress& progress) {
  const double exact = with_width(
      graph.size(), [&](auto width) { return least_cost<decltype(width)::value>(graph, cost, progress); });
  return exact > 0.0 ? exact : std::min(cost, least_heaviest_clique(graph));
}

}  // namespace tv

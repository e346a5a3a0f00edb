// Minimal separators and fragments against their definitions, for every width of a set of vertices.
#include <gtest/gtest.h>

#include "compile/total_weight/fragments.h"
#include "compile/total_weight/working_tree.h"
#include "graph_world.h"

namespace {

using namespace world;
using tv::BitGraph;
using tv::Enumeration;
using tv::FragmentCollection;
using tv::SearchBudget;
using tv::SeparatorCollection;
using tv::Vertex;

struct Host {
  DomainOwner domain{tv_new_domain()};
  tv::Progress progress{*domain};
  SearchBudget budget{progress, 0};
};

template <size_t W>
BitGraph<W> bit_graph(const Matrix& matrix, const std::vector<size_t>& states) {
  BitGraph<W> graph(matrix.size());
  for (Vertex a = 0; a < matrix.size(); ++a) {
    graph.set_weight(a, static_cast<double>(states[a]), false);
    for (Vertex b = 0; b < matrix.size(); ++b)
      if (matrix[a][b]) graph.add_link(a, b);
  }
  return graph;
}

// Of vertices before `from` on; connected by a path through all of them.
Matrix random_graph(std::mt19937& random, size_t count, double links) {
  Matrix graph = no_links(count);
  for (size_t v = 1; v < count; ++v) join(graph, v, random() % v);
  for (size_t a = 0; a < count; ++a)
    for (size_t b = 0; b < a; ++b)
      if (std::uniform_real_distribution<>(0, 1)(random) < links) join(graph, a, b);
  return graph;
}

Set reached(const Matrix& graph, size_t start, const Set& without) {
  Set found{start};
  for (size_t i = 0; i < found.size(); ++i)
    for (size_t v = 0; v < graph.size(); ++v)
      if (graph[found[i]][v] && !std::count(without.begin(), without.end(), v) &&
          !std::count(found.begin(), found.end(), v))
        found.push_back(v);
  return found;
}

// Sets of vertices to all of which two components are next that they leave.
std::set<Set> minimal_separators(const Matrix& graph) {
  std::set<Set> found;
  for (size_t bits = 1; bits < size_t{1} << graph.size(); ++bits) {
    Set set;
    for (size_t v = 0; v < graph.size(); ++v)
      if (bits >> v & 1) set.push_back(v);
    std::set<Set> full;
    for (size_t v = 0; v < graph.size(); ++v) {
      if (bits >> v & 1) continue;
      Set component = reached(graph, v, set);
      std::sort(component.begin(), component.end());
      const bool is_full = std::all_of(set.begin(), set.end(), [&](size_t s) {
        return std::any_of(component.begin(), component.end(), [&](size_t c) { return graph[s][c]; });
      });
      if (is_full) full.insert(component);
    }
    if (full.size() >= 2) found.insert(set);
  }
  return found;
}

template <size_t W>
std::set<Set> enumerated(const BitGraph<W>& graph, SeparatorCollection<W>& separators) {
  EXPECT_EQ(separators.enumerate(0, 0), Enumeration::complete);
  EXPECT_TRUE(separators.is_exhaustive());
  std::set<Set> found;
  for (size_t i = 0; i < separators.size(); ++i) {
    Set set;
    separators[i].set.for_each([&](Vertex v) { set.push_back(v); });
    EXPECT_EQ(separators[i].size, set.size());
    EXPECT_EQ(separators[i].weight, graph.weight(separators[i].set));
    EXPECT_TRUE(found.insert(set).second) << "found twice";
  }
  return found;
}

TEST(Separators, AreThoseOfTheDefinition) {
  std::mt19937 random(1);
  Host host;
  for (int round = 0; round < 60 && !HasFailure(); ++round) {
    const Matrix matrix = random_graph(random, 2 + random() % 8, 0.1 * static_cast<double>(random() % 6));
    const BitGraph<1> graph = bit_graph<1>(matrix, std::vector<size_t>(matrix.size(), 2));
    SeparatorCollection<1> separators(graph, host.budget);
    EXPECT_EQ(enumerated(graph, separators), minimal_separators(matrix));
  }
}

// The least cost, and how many separators and fragments there are.
struct Result {
  double cost;
  size_t separators, fragments;
  bool operator==(const Result&) const = default;
};

template <size_t W>
Result solve(const Matrix& matrix, const std::vector<size_t>& states) {
  Host host;
  const BitGraph<W> graph = bit_graph<W>(matrix, states);
  SeparatorCollection<W> separators(graph, host.budget);
  separators.enumerate(0, 0);
  separators.keep_up_to(1e300);
  FragmentCollection<W> fragments(host.budget);
  EXPECT_TRUE(fragments.split(graph, separators));
  const double cost = fragments.triangulate(1e300);
  double sum = 0.0;
  for (const auto& clique : fragments.identify_cliques()) sum += graph.weight(clique);
  EXPECT_EQ(cost, sum);
  // Nothing is cheaper than the least cost, and with that as the bound nothing is found.
  EXPECT_EQ(fragments.triangulate(cost), FragmentCollection<W>::kHopeless);
  EXPECT_EQ(fragments.triangulate(cost + 1.0), cost);
  return {cost, separators.size(), fragments.size()};
}

TEST(Separators, AllWidthsOfASetAgree) {
  std::mt19937 random(2);
  for (int round = 0; round < 20 && !HasFailure(); ++round) {
    const Matrix matrix = random_graph(random, 6 + random() % 8, 0.1 * static_cast<double>(1 + random() % 3));
    std::vector<size_t> states(matrix.size());
    for (size_t& count : states) count = 1 + random() % 4;
    if (is_complete(matrix, reached(matrix, 0, {}))) continue;
    const Result result = solve<1>(matrix, states);
    EXPECT_EQ(solve<2>(matrix, states), result);
    EXPECT_EQ(solve<4>(matrix, states), result);
    EXPECT_EQ(solve<8>(matrix, states), result);
    EXPECT_EQ(solve<16>(matrix, states), result);
    EXPECT_EQ(solve<tv::kAnyWidth>(matrix, states), result);
  }
}

// A ring of n vertices has n(n-3)/2 minimal separators, each with two fragments, and n-2 triangles
// triangulate it; vertices beyond the first word of a set take part.
TEST(Separators, RingsWiderThanAWord) {
  for (const size_t n : {64, 66}) {
    Matrix ring = no_links(n);
    for (size_t v = 0; v < n; ++v) join(ring, v, (v + 1) % n);
    const Result expected{static_cast<double>((n - 2) * 8), n * (n - 3) / 2, n * (n - 3)};
    EXPECT_EQ(solve<2>(ring, std::vector<size_t>(n, 2)), expected);
    if (n > 64) {
      EXPECT_EQ(solve<tv::kAnyWidth>(ring, std::vector<size_t>(n, 2)), expected);
    }
  }
}

// A path of cliques, of which those in the middle are replaced.
TEST(WorkingTree, LinksAPatchAndMergesWhatItsNeighborsHold) {
  const DomainOwner domain(tv_new_domain());
  tv::VertexGraph graph;
  for (size_t v = 0; v < 6; ++v) {
    graph.nodes.push_back(add_node(domain.get(), "N" + std::to_string(v), 2));
    graph.end_neighbors();
  }
  using Cliques = std::vector<tv::VertexSet>;
  const Cliques path{{0, 1, 2}, {1, 2, 3}, {2, 3, 4}, {3, 4, 5}};
  tv::WorkingTree tree(graph, path, {tv::kNone, 0, 1, 2});
  EXPECT_EQ(tree.cost(), 32.0);
  const auto sorted = [&] {
    Cliques cliques = tree.cliques();
    std::sort(cliques.begin(), cliques.end());
    return cliques;
  };
  tree.replace({1, 2}, {{{1, 2, 3, 4}}, {}});
  EXPECT_EQ(sorted(), Cliques({{0, 1, 2}, {1, 2, 3, 4}, {3, 4, 5}}));
  EXPECT_EQ(tree.cost(), 32.0);
  const auto middle = static_cast<tv::WorkingTree::Index>(tree[0].neighbors.front());
  EXPECT_EQ(tree[middle].members, tv::VertexSet({1, 2, 3, 4}));
  EXPECT_EQ(tree[middle].neighbors.size(), 2u);
  // The first neighbour holds {1, 2} and takes its links over.
  tree.replace({middle}, {{{1, 2}, {2, 3, 4}}, {{0, 1}}});
  EXPECT_EQ(sorted(), Cliques({{0, 1, 2}, {2, 3, 4}, {3, 4, 5}}));
  EXPECT_EQ(tree.cost(), 24.0);
  ASSERT_EQ(tree[0].neighbors.size(), 1u);
  EXPECT_EQ(tree[tree[0].neighbors.front()].members, tv::VertexSet({2, 3, 4}));
}

TEST(Separators, LimitsEndTheEnumeration) {
  Matrix ring = no_links(30);
  for (size_t v = 0; v < 30; ++v) join(ring, v, (v + 1) % 30);
  const BitGraph<1> graph = bit_graph<1>(ring, std::vector<size_t>(30, 2));
  Host host;
  SeparatorCollection<1> few(graph, host.budget);
  EXPECT_EQ(few.enumerate(10, 0), Enumeration::limited);
  EXPECT_GT(few.size(), 10u);
  EXPECT_LT(few.size(), 30u);
  SeparatorCollection<1> small(graph, host.budget);
  EXPECT_EQ(small.enumerate(0, 1), Enumeration::complete);
  EXPECT_FALSE(small.is_exhaustive());
  EXPECT_EQ(small.size(), 30u);  // the neighbours of each vertex
  SearchBudget poor(host.progress, 500);
  SeparatorCollection<1> little(graph, poor);
  EXPECT_EQ(little.enumerate(0, 0), Enumeration::limited);
  EXPECT_LT(little.size(), 30u);
}

}  // namespace

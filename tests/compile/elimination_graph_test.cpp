// The scores that an elimination adjusts, against counting them anew after every vertex.
#include "compile/triangulate/elimination_graph.h"

#include <gtest/gtest.h>

#include <numeric>

#include "graph_world.h"
#include "inference/domain_hooks.h"

namespace {

using world::Matrix;
using world::Set;

Matrix random_matrix(std::mt19937& random, size_t count, double links) {
  Matrix matrix = world::no_links(count);
  for (size_t a = 0; a < count; ++a)
    for (size_t b = 0; b < a; ++b)
      if (std::uniform_real_distribution<>(0, 1)(random) < links) world::join(matrix, a, b);
  return matrix;
}

// A graph over nodes with 1 to 5 states, some of them continuous.
struct WeightedGraph {
  WeightedGraph(std::mt19937& random, Matrix links) : matrix(std::move(links)), nodes(matrix.size()) {
    for (tv::Vertex v = 0; v < matrix.size(); ++v) {
      if (random() % 5 == 0) nodes[v].kind = tv_kind_continuous;
      nodes[v].number_of_states = 1 + random() % 5;
      graph.nodes.push_back(&nodes[v]);
      for (tv::Vertex u = 0; u < matrix.size(); ++u)
        if (matrix[v][u]) graph.add_neighbor(u);
      graph.end_neighbors();
    }
  }

  double weight(size_t v) const { return tv::state_count(nodes[v]); }

  Matrix matrix;  // as it is after some eliminations
  std::vector<tv_node_s> nodes;
  tv::VertexGraph graph;
};

Set neighbors_of(const Matrix& matrix, size_t v) { return world::common_neighbors(matrix, v, v); }

std::vector<std::pair<size_t, size_t>> missing_links(const Matrix& matrix, const Set& set) {
  std::vector<std::pair<size_t, size_t>> missing;
  for (size_t a : set)
    for (size_t b : set)
      if (a < b && !matrix[a][b]) missing.emplace_back(a, b);
  return missing;
}

// Products of very many states are rounded, in whatever order they are formed.
void expect_scores(const tv::EliminationGraph& graph, const WeightedGraph& world, tv::Vertex v,
                   bool weighted) {
  const Set neighbors = neighbors_of(world.matrix, v);
  size_t missing = 0;
  double fill_in = 0;
  for (const auto& [a, b] : missing_links(world.matrix, neighbors)) {
    ++missing;
    fill_in += weighted ? world.weight(a) * world.weight(b) : 1;
  }
  tv::VertexSet clique(neighbors.begin(), neighbors.end());
  clique.push_back(v);
  const double size = weighted ? tv::compute_weight(world.graph, clique) : static_cast<double>(clique.size());
  EXPECT_EQ(graph.missing_links(v), missing);
  EXPECT_EQ(graph.fill_in_score(v), fill_in);
  EXPECT_NEAR(graph.clique_score(v), size, size * 1e-13);
}

void eliminate_and_compare(std::mt19937& random, WeightedGraph& expected, bool weighted) {
  tv_domain_s domain(tv::kDomainHooks);
  tv::Progress progress(domain);
  tv::EliminationGraph graph(tv::EliminationGraph(expected.graph), weighted);
  tv::Elimination elimination(expected.matrix.size());
  tv::VertexSet rest(expected.matrix.size());
  std::iota(rest.begin(), rest.end(), tv::Vertex{0});
  std::shuffle(rest.begin(), rest.end(), random);
  while (!rest.empty() && !testing::Test::HasFailure()) {
    for (tv::Vertex u : rest) expect_scores(graph, expected, u, weighted);
    const tv::Vertex v = rest.back();
    rest.pop_back();
    const Set neighbors = neighbors_of(expected.matrix, v);
    const std::span<const tv::Vertex> found = graph.neighbors(v);
    ASSERT_EQ(Set(found.begin(), found.end()), neighbors);

    // The links come in order; whom they touch is told in the same order.
    const auto missing = missing_links(expected.matrix, neighbors);
    std::vector<tv::Vertex> touched;
    for (const auto& [a, b] : missing) {
      for (size_t u : world::common_neighbors(expected.matrix, a, b)) {
        const bool is_known =
            u == v || expected.matrix[v][u] || std::find(touched.begin(), touched.end(), u) != touched.end();
        if (!is_known) touched.push_back(static_cast<tv::Vertex>(u));
      }
    }
    elimination.fill_ins.clear();
    graph.find_fill_ins(v, progress, elimination);
    std::vector<std::pair<size_t, size_t>> links;
    for (const tv::FillIn& link : elimination.fill_ins) links.emplace_back(link.a, link.b);
    EXPECT_EQ(links, missing);
    tv::VertexSet changed;
    graph.link_neighbors(progress, changed);
    EXPECT_EQ(changed, touched);
    graph.take_out(v);

    for (const auto& [a, b] : missing) world::join(expected.matrix, a, b);
    for (size_t u : neighbors) expected.matrix[u][v] = expected.matrix[v][u] = false;
  }
}

TEST(EliminationGraph, KeepsTheScoresThatCountingWouldFind) {
  std::mt19937 random(11);
  for (int round = 0; round < 60 && !HasFailure(); ++round) {
    const double links = 0.03 * static_cast<double>(1 + random() % 12);
    WeightedGraph graph(random, random_matrix(random, 1 + random() % 40, links));
    eliminate_and_compare(random, graph, round % 2);
  }
}

TEST(EliminationGraph, KeepsThemWithMoreNeighborsThanAWordHasBits) {
  std::mt19937 random(12);
  for (const size_t count : {65, 66, 130, 170}) {
    for (const bool weighted : {false, true}) {
      Matrix matrix = random_matrix(random, count, 0.04);
      for (size_t v = 0; v < count; ++v) {
        world::join(matrix, v, 0);
        if (v <= 64) world::join(matrix, v, count - 1);
      }
      WeightedGraph graph(random, std::move(matrix));
      eliminate_and_compare(random, graph, weighted);
    }
  }
}

}  // namespace

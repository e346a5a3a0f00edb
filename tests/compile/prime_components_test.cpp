// Prime components against their definition: maximal connected sets that no complete set separates.
#include "compile/triangulate/prime_components.h"

#include <gtest/gtest.h>

#include "graph_world.h"
#include "inference/domain_hooks.h"

namespace {

using world::Matrix;
using world::Set;

Set members_of(size_t bits, size_t count) {
  Set set;
  for (size_t v = 0; v < count; ++v)
    if (bits >> v & 1) set.push_back(v);
  return set;
}

bool is_connected(const Matrix& graph, size_t bits) {
  if (bits == 0) return true;
  size_t reached = bits & -bits;
  for (bool grown = true; grown;) {
    grown = false;
    for (size_t v : members_of(reached, graph.size()))
      for (size_t u : members_of(bits & ~reached, graph.size()))
        if (graph[v][u]) reached |= size_t{1} << u, grown = true;
  }
  return reached == bits;
}

bool is_prime(const Matrix& graph, size_t bits) {
  for (size_t separator = bits;; separator = (separator - 1) & bits) {
    if (world::is_complete(graph, members_of(separator, graph.size())) &&
        !is_connected(graph, bits & ~separator)) {
      return false;
    }
    if (separator == 0) return true;
  }
}

std::set<Set> prime_components_by_definition(const Matrix& graph) {
  const size_t all = (size_t{1} << graph.size()) - 1;
  std::vector<bool> prime(all + 1);
  std::set<Set> components;
  for (size_t bits = all; bits > 0; --bits) prime[bits] = is_prime(graph, bits);
  for (size_t bits = all; bits > 0; --bits) {
    bool maximal = prime[bits];
    for (size_t more = bits + 1; more <= all && maximal; ++more)
      maximal = (more & bits) != bits || !prime[more];
    if (maximal) components.insert(members_of(bits, graph.size()));
  }
  return components;
}

TEST(PrimeComponents, AgreeWithTheirDefinition) {
  std::mt19937 random(3);
  tv_domain_s domain(tv::kDomainHooks);
  tv_node_s binary;
  binary.number_of_states = 2;
  for (int round = 0; round < 300 && !HasFailure(); ++round) {
    const size_t count = 1 + random() % 8;
    Matrix matrix = world::no_links(count);
    tv::VertexGraph graph;
    graph.nodes.assign(count, &binary);
    const size_t density = 1 + random() % 5;
    for (size_t a = 0; a < count; ++a)
      for (size_t b = 0; b < a; ++b)
        if (random() % 6 < density) world::join(matrix, a, b);
    for (tv::Vertex a = 0; a < count; ++a) {
      for (tv::Vertex b = 0; b < count; ++b)
        if (matrix[a][b]) graph.add_neighbor(b);
      graph.end_neighbors();
    }

    std::vector<tv::PrimeComponent> found;
    tv::Progress progress(domain);
    ASSERT_EQ(tv::find_prime_components(graph, progress, found), tv_status_none);
    std::set<Set> components;
    for (const tv::PrimeComponent& component : found)
      components.emplace(component.vertices.begin(), component.vertices.end());
    EXPECT_EQ(components, prime_components_by_definition(matrix));
    EXPECT_EQ(components.size(), found.size());
    EXPECT_TRUE(std::is_sorted(found.begin(), found.end(),
                               [](const auto& a, const auto& b) { return a.vertices < b.vertices; }));
  }
}

}  // namespace

// Distances between structures, against counts link by link and path by path.
#include "learn/structure/graph/compare.h"

#include <gtest/gtest.h>

#include "learn/graph_world.h"

namespace test {
namespace {

tv::Structure structure_of(const PartialGraph& graph, const std::vector<std::string>& names) {
  tv::Structure structure;
  for (const std::string& name : names) structure.nodes.push_back({name, 0});
  structure.graph = graph;
  return structure;
}

std::vector<std::string> letters(size_t size) {
  std::vector<std::string> names;
  for (size_t i = 0; i < size; ++i) names.push_back(std::string(1, static_cast<char>('a' + i)));
  return names;
}

size_t wrong_effects(const PartialGraph& truth, const PartialGraph& guess) {
  size_t wrong = 0;
  for (size_t i = 0; i < truth.size(); ++i)
    for (size_t j = 0; j < truth.size(); ++j) {
      if (i == j) continue;
      if (guess.is_directed(j, i)) {
        wrong += descendants(truth, i)[j];
        continue;
      }
      std::vector<bool> adjusted(truth.size());
      for (const size_t parent : guess.parents(i)) adjusted[parent] = true;
      bool is_wrong = false;
      for_each_path(truth, i, j, [&](const std::vector<size_t>& path) {
        if (!is_directed_path(truth, path)) {
          is_wrong |= !is_blocked(truth, path, adjusted);
          return;
        }
        for (size_t k = 1; k < path.size(); ++k) {
          const std::vector<bool> below = descendants(truth, path[k]);
          for (size_t v = 0; v < truth.size(); ++v) is_wrong |= below[v] && adjusted[v];
        }
      });
      wrong += is_wrong;
    }
  return wrong;
}

TEST(InterventionDistance, IsWhatPathsSayOneByOne) {
  const std::vector<PartialGraph> dags = all_dags(4);
  for (size_t i = 0; i < dags.size(); ++i)
    for (size_t j = i % 7; j < dags.size(); j += 7)
      ASSERT_EQ(tv::intervention_distance(dags[i], dags[j]), wrong_effects(dags[i], dags[j]))
          << shown(dags[i]) << " and " << shown(dags[j]);
  Generator random(11);
  for (int round = 0; round < 300; ++round) {
    const size_t size = 5 + random.below(3);
    const double density = 0.2 + 0.4 * random.uniform();
    const PartialGraph truth = random_dag(random, size, density), guess = random_dag(random, size, density);
    ASSERT_EQ(tv::intervention_distance(truth, guess), wrong_effects(truth, guess))
        << shown(truth) << " and " << shown(guess);
  }
}

// Peters and Bühlmann's first example: one more link does no harm, a reversed one does.
TEST(InterventionDistance, CountsEffectsAndNotLinks) {
  PartialGraph truth(5);
  truth.direct(0, 1);
  for (size_t effect = 2; effect < 5; ++effect) {
    truth.direct(0, effect);
    truth.direct(1, effect);
  }
  PartialGraph larger = truth, reversed = truth;
  larger.direct(2, 3);
  reversed.direct(1, 0);
  EXPECT_EQ(tv::intervention_distance(truth, larger), 0u);
  EXPECT_EQ(tv::intervention_distance(truth, reversed), 8u);
}

TEST(InterventionDistance, IsQuickForLargeGraphs) {
  Generator random(13);
  const PartialGraph dag = random_dag(random, 700, 0.04), other = random_dag(random, 700, 0.04);
  EXPECT_EQ(tv::intervention_distance(dag, dag), 0u);
  EXPECT_GT(tv::intervention_distance(dag, other), 0u);
}

TEST(HammingDistance, KnowsNodesByTheirNames) {
  Generator random(15);
  const std::vector<std::string> all = letters(7);
  for (int round = 0; round < 300; ++round) {
    tv::Structure structures[2];
    for (tv::Structure& structure : structures) {
      std::vector<std::string> names;
      for (const std::string& name : all)
        if (random.chance(0.8)) names.push_back(name);
      PartialGraph graph = random_dag(random, names.size(), 0.5);
      for (size_t a = 0; a < names.size(); ++a)
        for (size_t b = a + 1; b < names.size(); ++b)
          if (graph.are_adjacent(a, b) && random.chance(0.3)) graph.join(a, b);
      structure = structure_of(graph, names);
    }
    const auto link = [&](const tv::Structure& s, const std::string& from, const std::string& to) {
      const size_t a = tv_structure_get_node_by_name(&s, from.c_str());
      const size_t b = tv_structure_get_node_by_name(&s, to.c_str());
      return a == SIZE_MAX || b == SIZE_MAX ? tv_structure_link_none : s.graph.link(a, b);
    };
    size_t expected = 0;
    for (size_t a = 0; a < all.size(); ++a)
      for (size_t b = a + 1; b < all.size(); ++b)
        expected += link(structures[0], all[a], all[b]) != link(structures[1], all[a], all[b]);
    ASSERT_EQ(tv_structure_get_hamming_distance(&structures[0], &structures[1]), expected);
    ASSERT_EQ(tv_structure_get_hamming_distance(&structures[1], &structures[0]), expected);
  }
}

TEST(Distances, RefuseWhatTheyDoNotTellOf) {
  PartialGraph undirected(2), cycle(3);
  undirected.join(0, 1);
  for (size_t v = 0; v < 3; ++v) cycle.direct(v, (v + 1) % 3);
  const tv::Structure open = structure_of(undirected, letters(2)), closed = structure_of(cycle, letters(3));
  const tv::Structure pair = structure_of(PartialGraph(2), letters(2)),
                      other = structure_of(PartialGraph(2), {"a", "c"}),
                      triple = structure_of(PartialGraph(3), letters(3));
  const auto refused = [](const tv::Structure& truth, const tv::Structure& guess) -> std::string {
    EXPECT_EQ(tv_structure_get_intervention_distance(&truth, &guess), SIZE_MAX);
    EXPECT_EQ(tv_error_code(), tv_status_usage);
    return tv_error_message();
  };
  EXPECT_EQ(refused(pair, open), "the link between \"a\" and \"b\" is undirected");
  EXPECT_EQ(refused(closed, triple), "the links of the structure close a cycle");
  EXPECT_EQ(refused(pair, other), "the structures have other nodes: one has \"b\" where the other has \"c\"");
  EXPECT_EQ(refused(triple, pair), "only one of the structures has a node \"c\"");
  EXPECT_EQ(tv_structure_new_class(&open), nullptr);
  EXPECT_EQ(tv_structure_new_class(&closed), nullptr);
  EXPECT_EQ(tv_structure_get_intervention_distance(&pair, &pair), 0u);
}

}  // namespace
}  // namespace test

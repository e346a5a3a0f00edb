// Directions that follow from others, directions for all links, and equivalence classes: whatever graphs of
// four and five nodes there are, against all directed graphs that agree with them.
#include <gtest/gtest.h>

#include <set>

#include "learn/graph_world.h"
#include "learn/structure/graph/direct_links.h"
#include "learn/structure/graph/equivalence_class.h"
#include "learn/structure/graph/orientation_rules.h"

namespace test {
namespace {

const std::vector<tv_structure_link_t> kAllKinds = {tv_structure_link_none, tv_structure_link_directed,
                                                    tv_structure_link_reversed, tv_structure_link_undirected};

// Links have the direction that they have in all of the graphs.
PartialGraph common_directions(const std::vector<PartialGraph>& graphs) {
  PartialGraph common = graphs.front();
  for (const PartialGraph& graph : graphs)
    for (size_t a = 0; a < graph.size(); ++a)
      for (size_t b = 0; b < graph.size(); ++b)
        if (graph.is_directed(a, b) && !common.is_directed(a, b)) common.join(a, b);
  return common;
}

TEST(EquivalenceClass, HasTheDirectionsThatAllItsMembersHave) {
  for (const size_t size : {1u, 2u, 3u, 4u, 5u}) {
    std::map<std::string, std::vector<PartialGraph>> classes;
    for (const PartialGraph& dag : all_dags(size)) classes[links_and_colliders(dag)].push_back(dag);
    EXPECT_EQ(classes.size(), (std::vector<size_t>{1, 2, 11, 185, 8782})[size - 1]);
    for (const auto& [key, members] : classes) {
      const PartialGraph expected = common_directions(members);
      for (const PartialGraph& dag : members) ASSERT_EQ(tv::class_of(dag), expected) << shown(dag);
      PartialGraph directed = expected;
      ASSERT_TRUE(tv::direct_all(directed, {})) << shown(expected);
      ASSERT_TRUE(std::find(members.begin(), members.end(), directed) != members.end())
          << shown(expected) << ": " << shown(directed);
    }
  }
}

TEST(EquivalenceClass, WithKnowledgeHasTheDirectionsOfTheMembersThatAgree) {
  Generator random(5);
  size_t seen = 0;
  for (int round = 0; round < 60; ++round) {
    const size_t size = round < 50 ? 4 : 5;
    const Knowledge knowledge = random_knowledge(random, size, 0.05 + 0.3 * random.uniform());
    std::map<std::string, std::vector<PartialGraph>> classes;
    for (const PartialGraph& dag : all_dags(size))
      if (agrees(dag, knowledge)) classes[links_and_colliders(dag)].push_back(dag);
    for (const auto& [key, members] : classes) {
      const PartialGraph expected = common_directions(members), open = tv::class_of(members.front());
      seen += expected != open;
      for (const PartialGraph& dag : members) ASSERT_EQ(tv::class_of(dag, knowledge), expected) << shown(dag);
      for (PartialGraph directed : {expected, open}) {
        ASSERT_TRUE(tv::direct_all(directed, knowledge)) << shown(expected);
        ASSERT_TRUE(std::find(members.begin(), members.end(), directed) != members.end())
            << shown(expected) << ": " << shown(directed);
      }
    }
  }
  EXPECT_GT(seen, 500u);
}

// What tests that contradict each other leave: every graph of directed and undirected links.
TEST(OrientationRules, ContradictionsCloseNoCycleAndNothingElseChanges) {
  Generator random(7);
  for_each_graph(4, kAllKinds, [&](const PartialGraph& graph) {
    const Knowledge knowledge =
        random.chance(0.5) ? Knowledge() : random_knowledge(random, 4, 0.3 * random.uniform());
    for (const bool by_rules : {false, true}) {
      const auto apply = [&](PartialGraph& changed) {
        by_rules ? tv::apply_orientation_rules(changed, knowledge) : tv::apply_knowledge(changed, knowledge);
      };
      PartialGraph result = graph;
      apply(result);
      ASSERT_TRUE(keeps_directions(graph, result)) << shown(graph) << ": " << shown(result);
      ASSERT_TRUE(has_cycle(graph) || !has_cycle(result)) << shown(graph) << ": " << shown(result);
      for (size_t a = 0; a < 4; ++a)
        for (size_t b = 0; b < 4; ++b)
          ASSERT_TRUE(knowledge.size() == 0 || knowledge.allows(a, b) || graph.is_directed(a, b) ||
                      !result.is_directed(a, b))
              << shown(graph) << ": " << shown(result);
      PartialGraph again = result;
      apply(again);
      ASSERT_EQ(again, result) << shown(graph);
    }
  });
}

TEST(DirectAll, GivesALinkADirectionWhereverThereIsAWay) {
  Generator random(9);
  size_t consistent = 0, with_new_colliders = 0, impossible = 0;
  const std::vector<PartialGraph> dags = all_dags(4);
  for_each_graph(4, kAllKinds, [&](const PartialGraph& graph) {
    for (const Knowledge& knowledge : {Knowledge(), random_knowledge(random, 4, 0.2)}) {
      // Links that may have one direction alone make colliders that count as given.
      PartialGraph given = graph;
      for (size_t a = 0; a < 4 && knowledge.size() > 0; ++a)
        for (size_t b = 0; b < 4; ++b)
          if (graph.is_undirected(a, b) && !knowledge.allows(b, a)) given.direct(a, b);
      std::set<std::string> extensions, without_colliders;
      for (const PartialGraph& dag : dags) {
        if (!keeps_directions(given, dag)) continue;
        bool is_allowed = true;
        for (size_t a = 0; a < 4 && knowledge.size() > 0; ++a)
          for (size_t b = 0; b < 4; ++b)
            is_allowed &= !graph.is_undirected(a, b) || !dag.is_directed(a, b) || knowledge.allows(a, b);
        if (!is_allowed) continue;
        extensions.insert(shown(dag));
        if (links_and_colliders(dag) == links_and_colliders(given)) without_colliders.insert(shown(dag));
      }
      PartialGraph result = graph;
      const bool is_directed = tv::direct_all(result, knowledge);
      ASSERT_EQ(is_directed, !extensions.empty()) << shown(graph);
      if (!is_directed) {
        ASSERT_EQ(result, graph);
      } else {
        const auto& right = without_colliders.empty() ? extensions : without_colliders;
        ASSERT_TRUE(right.count(shown(result))) << shown(graph) << ": " << shown(result);
      }
      impossible += extensions.empty();
      consistent += !without_colliders.empty();
      with_new_colliders += is_directed && without_colliders.empty();
    }
  });
  EXPECT_GT(consistent, 1000u);
  EXPECT_GT(with_new_colliders, 100u);
  EXPECT_GT(impossible, 100u);
}

TEST(DirectAll, TakesTheFirstNodeThatCanBeAChild) {
  PartialGraph chain(3);
  chain.join(0, 1);
  chain.join(1, 2);
  ASSERT_TRUE(tv::direct_all(chain, {}));
  EXPECT_EQ(shown(chain), "1->0 2->1 ");
  // A ring of four has no way without a new collider, and needs but one.
  PartialGraph ring(4);
  for (size_t v = 0; v < 4; ++v) ring.join(v, (v + 1) % 4);
  ASSERT_TRUE(tv::direct_all(ring, {}));
  EXPECT_EQ(shown(ring), "1->0 2->1 3->0 3->2 ");
}

// As large as structures come to be, across many words of bits.
TEST(EquivalenceClass, OfALargeGraphIsThatOfEachOfItsMembers) {
  Generator random(3);
  for (const double density : {0.003, 0.06}) {
    const PartialGraph dag = random_dag(random, 1000, density), graph = tv::class_of(dag);
    PartialGraph member = graph;
    ASSERT_TRUE(tv::direct_all(member, {}));
    EXPECT_FALSE(member.has_undirected_links());
    EXPECT_EQ(member.number_of_links(), dag.number_of_links());
    EXPECT_EQ(tv::class_of(member), graph);
    EXPECT_TRUE(keeps_directions(graph, dag));
  }
}

}  // namespace
}  // namespace test

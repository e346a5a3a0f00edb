// What a structure is asked for.
#include <gtest/gtest.h>

#include "learn/graph_world.h"

namespace test {
namespace {

// Links 0 -> 1, 2 -> 1 and 2 - 3 over a, b, c, d; tests separated 0 and 2, and 0 and 3 given 2.
tv::Structure tested_structure() {
  tv::Structure structure;
  structure.nodes = {{"a", 0}, {"b", 0}, {"c", 3}, {"d", 0}};
  structure.graph = PartialGraph(4);
  structure.graph.direct(0, 1);
  structure.graph.direct(2, 1);
  structure.graph.join(3, 2);
  structure.findings.p_values = {0.01, 0.5, 0.02, 0.75, -2.0, 0.03};
  structure.findings.is_separated = {false, true, false, true, false, false};
  structure.findings.separators = {{}, {}, {}, {2}, {}, {}};
  structure.findings.tests = 9;
  structure.findings.refused_tests = 2;
  return structure;
}

TEST(Structure, ListsLinksInTheOrderOfTheirNodes) {
  Generator random(1);
  for (const size_t size : {1u, 4u, 63u, 64u, 65u, 130u}) {
    tv::Structure structure;
    structure.graph = random_dag(random, size, 0.4);
    for (size_t a = 0; a < size; ++a)
      for (size_t b = 0; b < a; ++b)
        if (structure.graph.are_adjacent(a, b) && random.chance(0.3)) structure.graph.join(a, b);
    size_t index = 0, from = 0, to = 0;
    for (size_t a = 0; a < size; ++a)
      for (size_t b = 0; b < size; ++b) {
        const tv_structure_link_t link = structure.graph.link(a, b);
        if (link == tv_structure_link_none || link == tv_structure_link_reversed) continue;
        if (link == tv_structure_link_undirected && b < a) continue;
        ASSERT_EQ(tv_structure_get_link(&structure, index++, &from, &to), link);
        ASSERT_EQ(std::pair(from, to), std::pair(a, b));
      }
    EXPECT_EQ(tv_structure_get_number_of_links(&structure), index);
    EXPECT_EQ(tv_structure_get_link(&structure, index, &from, &to), tv_structure_link_error);
    EXPECT_EQ(tv_error_code(), tv_status_usage);
  }
}

TEST(Structure, TellsWhatTestsFound) {
  const tv::Structure structure = tested_structure();
  size_t count = 7;
  EXPECT_EQ(tv_structure_get_p_value(&structure, 2, 0), 0.5);
  EXPECT_EQ(tv_structure_get_p_value(&structure, 1, 3), -1.0);
  EXPECT_EQ(tv_error_code(), tv_status_none);
  EXPECT_NE(tv_structure_get_separating_set(&structure, 0, 2, &count), nullptr);  // though it is empty
  EXPECT_EQ(count, 0u);
  const size_t* separator = tv_structure_get_separating_set(&structure, 3, 0, &count);
  ASSERT_EQ(count, 1u);
  EXPECT_EQ(*separator, 2u);
  EXPECT_EQ(tv_structure_get_separating_set(&structure, 0, 1, &count), nullptr);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(tv_error_code(), tv_status_none);
  EXPECT_EQ(tv_structure_get_p_value(&structure, 4, 0), -1.0);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_STREQ(tv_error_message(), "there is no node 4 among 4");
  EXPECT_EQ(tv_structure_get_separating_set(&structure, 1, 1, &count), nullptr);
  EXPECT_STREQ(tv_error_message(), "the two nodes are the same");
  EXPECT_EQ(tv_structure_get_number_of_tests(&structure), 9u);
  EXPECT_EQ(tv_structure_get_number_of_refused_tests(&structure), 2u);
}

TEST(Structure, WithoutTestsOrScoreSaysSo) {
  tv::Structure structure;
  structure.nodes = {{"a", 0}, {"b", 0}};
  structure.graph = PartialGraph(2);
  size_t count = 7;
  EXPECT_EQ(tv_structure_get_p_value(&structure, 0, 1), -1.0);
  EXPECT_EQ(tv_structure_get_separating_set(&structure, 0, 1, &count), nullptr);
  EXPECT_EQ(tv_structure_get_score(&structure), 1.0);
  EXPECT_EQ(tv_error_code(), tv_status_none);
  structure.score = -12.5;
  structure.is_finished = false;
  EXPECT_EQ(tv_structure_get_score(&structure), -12.5);
  EXPECT_EQ(tv_structure_is_finished(&structure), 0);
}

TEST(Structure, CopiesAndClassesStandAlone) {
  tv_structure_t* copy;
  {
    const tv::Structure structure = tested_structure();
    copy = tv_structure_clone(&structure);
  }
  ASSERT_TRUE(copy);
  EXPECT_EQ(tv_structure_get_node_by_name(copy, "c"), 2u);
  EXPECT_EQ(tv_structure_get_node_by_name(copy, "bb"), SIZE_MAX);
  EXPECT_EQ(tv_structure_get_hidden_states(copy, 2), 3u);
  EXPECT_EQ(tv_structure_new_class(copy), nullptr);  // 2 - 3 has no direction yet
  ASSERT_EQ(tv_structure_direct(copy), tv_status_none);
  EXPECT_EQ(tv_structure_get_link_between(copy, 2, 3), tv_structure_link_reversed);
  tv_structure_t* const same = tv_structure_new_class(copy);
  ASSERT_TRUE(same);
  EXPECT_EQ(tv_structure_get_link_between(same, 2, 3), tv_structure_link_undirected);
  EXPECT_EQ(tv_structure_get_link_between(same, 0, 1), tv_structure_link_directed);
  EXPECT_EQ(tv_structure_get_hidden_states(same, 2), 3u);
  tv_structure_delete(same);
  tv_structure_delete(copy);
}

}  // namespace
}  // namespace test

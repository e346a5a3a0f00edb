// Links: the rules, the lists and tables that follow, switching, and the searches over the graph.
#include "network/links/links.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <random>
#include <set>

#include "network_world.h"

namespace {

TEST(Links, RulesAreAnsweredWithTheirCodes) {
  World world, elsewhere;
  tv_node_t* a = world.chance();
  tv_node_t* b = world.chance();
  tv_node_t* utility = world.utility();
  tv_node_t* function = world.discrete_function();
  EXPECT_CODE(tv_status_usage, tv_node_add_parent(nullptr, a));
  EXPECT_CODE(tv_status_usage, tv_node_add_parent(a, nullptr));
  EXPECT_CODE(tv_status_usage, tv_node_add_parent(a, elsewhere.chance()));
  EXPECT_CODE(tv_status_usage, tv_node_add_parent(a, utility));
  EXPECT_CODE(tv_status_cyclic_network, tv_node_add_parent(a, a));
  EXPECT_CODE(tv_status_none, tv_node_add_parent(b, a));
  EXPECT_CODE(tv_status_usage, tv_node_add_parent(b, a));
  EXPECT_CODE(tv_status_cyclic_network, tv_node_add_parent(a, b));
  EXPECT_CODE(tv_status_none, tv_node_add_parent(function, utility));
  EXPECT_CODE(tv_status_usage, tv_node_remove_parent(a, b));
  EXPECT_CODE(tv_status_none, tv_node_remove_discrete_parent(b, a));
  EXPECT_CODE(tv_status_none, tv_node_add_parent(a, b));

  World mixed;
  tv_node_t* discrete = mixed.chance();
  tv_node_t* continuous = mixed.continuous();
  tv_node_t* result = mixed.discrete_function();
  EXPECT_CODE(tv_status_usage, tv_node_add_parent(discrete, continuous));
  EXPECT_CODE(tv_status_none, tv_node_add_parent(result, continuous));
  tv_node_t* other = mixed.continuous();
  EXPECT_CODE(tv_status_none, tv_node_add_parent(other, continuous));
  EXPECT_CODE(tv_status_usage, tv_node_remove_discrete_parent(other, continuous));
}

TEST(Links, ParentsAndTablesKeepTheirOrder) {
  World world;
  tv_node_t* p1 = world.chance(2);
  tv_node_t* p2 = world.chance(3);
  tv_node_t* c1 = world.continuous();
  tv_node_t* c2 = world.continuous();
  tv_node_t* child = world.continuous();
  tv_table_t* table = tv_node_get_table(child);
  ASSERT_NE(tv_table_get_data(table), nullptr);
  for (tv_node_t* parent : {p1, c1, p2, c2}) EXPECT_EQ(tv_node_add_parent(child, parent), tv_status_none);
  EXPECT_EQ(listed(tv_node_get_parents(child)), (Nodes{p2, p1, c1, c2}));
  EXPECT_EQ(listed(tv_node_get_children(c1)), (Nodes{child}));
  EXPECT_EQ(listed(tv_table_get_nodes(table)), (Nodes{p2, p1, child, c1, c2}));
  EXPECT_EQ(table->tail_marks, (std::vector<unsigned char>{0, 1, 1}));
  EXPECT_EQ(tv_table_get_cg_size(table), 6u * 9u);
  for (size_t i = 0; i < 6; ++i) {  // standard normal in every configuration
    double* block = table->cg_data.data() + i * 9;
    EXPECT_EQ(block[tv::cg_mean_index(0)], 0.0);
    EXPECT_EQ(block[tv::cg_covariance_index(0, 0)], 1.0);
    EXPECT_EQ(table->data[i], 1.0f);
    block[tv::cg_mean_index(0)] = static_cast<double>(i);
    block[tv::cg_covariance_index(0, 1)] = 10.0;
    block[tv::cg_covariance_index(0, 2)] = 20.0 + static_cast<double>(i);
  }
  EXPECT_EQ(tv_node_remove_parent(child, c1), tv_status_none);  // its coefficient is dropped
  EXPECT_EQ(tv_node_remove_parent(child, p2), tv_status_none);  // the regressions are averaged
  EXPECT_EQ(listed(tv_table_get_nodes(table)), (Nodes{p1, child, c2}));
  EXPECT_EQ(table->tail_marks, (std::vector<unsigned char>{0, 1}));
  EXPECT_EQ(table->cg_data[tv::cg_mean_index(0)], 2.0);
  EXPECT_EQ(table->cg_data[tv::cg_covariance_index(0, 1)], 22.0);
  EXPECT_EQ(table->cg_data[5 + tv::cg_mean_index(0)], 3.0);

  tv_node_t* later = world.continuous();  // a table made on demand has the same form
  for (tv_node_t* parent : {p1, c1, p2, c2}) tv_node_add_parent(later, parent);
  table = tv_node_get_table(later);
  ASSERT_NE(tv_table_get_data(table), nullptr);
  EXPECT_EQ(listed(tv_table_get_nodes(table)), (Nodes{p2, p1, later, c1, c2}));
  EXPECT_EQ(table->tail_marks, (std::vector<unsigned char>{0, 1, 1}));
  EXPECT_EQ(table->cg_data[9 + tv::cg_covariance_index(0, 0)], 1.0);
}

TEST(Links, DiscreteTablesRepeatAndAverage) {
  World world;
  tv_node_t* p = world.chance(2);
  tv_node_t* q = world.decision(2);
  tv_node_t* child = world.chance(2);
  tv_node_t* function = world.discrete_function();
  EXPECT_EQ(table_of(child), (std::vector<float>{0.5f, 0.5f}));
  EXPECT_EQ(tv_node_get_table(world.function()), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_CODE(tv_status_usage, tv_node_get_fading_table(q));
  set_table(child, {0.25f, 0.75f});
  tv_table_t* experience = tv_node_get_experience_table(child);
  tv_table_t* fading = tv_node_get_fading_table(child);
  tv_table_get_data(experience)[0] = 8;
  tv_node_add_parent(child, p);
  tv_node_add_parent(child, q);
  EXPECT_EQ(listed(tv_table_get_nodes(tv_node_get_table(child))), (Nodes{q, p, child}));
  EXPECT_EQ(listed(tv_table_get_nodes(experience)), (Nodes{q, p}));
  EXPECT_EQ(table_of(child), (std::vector<float>{0.25f, 0.75f, 0.25f, 0.75f, 0.25f, 0.75f, 0.25f, 0.75f}));
  EXPECT_EQ(numbers(experience), (std::vector<float>{8, 8, 8, 8}));
  tv_table_get_data(fading)[3] = 0;
  tv_table_get_data(experience)[3] = 0;
  EXPECT_EQ(tv_node_remove_parent(child, p), tv_status_none);
  EXPECT_EQ(numbers(experience), (std::vector<float>{8, 4}));
  EXPECT_EQ(numbers(fading), (std::vector<float>{1, 0.5f}));
  tv_node_get_table(function);
  tv_node_add_parent(function, p);
  EXPECT_EQ(listed(tv_table_get_nodes(tv_node_get_table(function))), (Nodes{function}));
}

TEST(Links, SwitchingNeedsACompatibleNode) {
  World world;
  const auto labelled = [&](const std::vector<const char*>& labels) {
    tv_node_t* node = world.chance(labels.size());
    for (size_t i = 0; i < labels.size(); ++i) tv_node_set_state_label(node, i, labels[i]);
    return node;
  };
  tv_node_t* old_parent = labelled({"no", "yes"});
  tv_node_t* same = labelled({"no", "yes"});
  tv_node_t* swapped = labelled({"yes", "no"});
  tv_node_t* other = world.chance(2);
  tv_node_t* child = world.chance(2);
  tv_node_add_parent(child, old_parent);
  tv_node_add_parent(child, other);
  const std::vector<float> data{0.1f, 0.9f, 0.2f, 0.8f, 0.3f, 0.7f, 0.4f, 0.6f};
  set_table(child, data);
  tv_node_t* below = labelled({"no", "yes"});
  tv_node_add_parent(below, child);
  EXPECT_CODE(tv_status_usage, tv_node_switch_parent(child, old_parent, swapped));
  EXPECT_CODE(tv_status_usage, tv_node_switch_parent(child, old_parent, labelled({"no", "yes", "maybe"})));
  EXPECT_CODE(tv_status_usage, tv_node_switch_parent(child, old_parent, world.decision(2)));
  EXPECT_CODE(tv_status_usage, tv_node_switch_parent(child, old_parent, other));
  EXPECT_CODE(tv_status_usage, tv_node_switch_parent(child, same, old_parent));
  EXPECT_CODE(tv_status_cyclic_network, tv_node_switch_parent(child, old_parent, below));
  EXPECT_CODE(tv_status_none, tv_node_switch_parent(child, old_parent, same));
  EXPECT_EQ(listed(tv_node_get_parents(child)), (Nodes{other, same}));
  EXPECT_EQ(listed(tv_table_get_nodes(tv_node_get_table(child))), (Nodes{other, same, child}));
  EXPECT_EQ(table_of(child), data);
  EXPECT_TRUE(listed(tv_node_get_children(old_parent)).empty());
  EXPECT_EQ(listed(tv_node_get_children(same)), (Nodes{child}));

  tv_node_t* interval1 = world.chance(2);
  tv_node_t* interval2 = world.chance(2);
  for (tv_node_t* node : {interval1, interval2}) tv_node_set_subtype(node, tv_subtype_interval);
  tv_node_add_parent(child, interval1);
  tv_node_set_state_value(interval2, 2, 5.0);
  EXPECT_CODE(tv_status_usage, tv_node_switch_parent(child, interval1, interval2));
  tv_node_set_state_value(interval1, 2, 5.0);
  EXPECT_CODE(tv_status_none, tv_node_switch_parent(child, interval1, interval2));
}

TEST(Links, StructureChangesDropTheStoredTriangulation) {
  World world;
  tv_node_t* a = world.chance();
  tv_node_t* b = world.chance();
  const auto stored_order_goes = [&](auto change) {
    world.domain->initial_triangulation = tv::NodeList{a, b};
    EXPECT_EQ(change(), tv_status_none);
    return world.domain->initial_triangulation.empty();
  };
  EXPECT_TRUE(stored_order_goes([&] { return tv_node_add_parent(b, a); }));
  EXPECT_TRUE(stored_order_goes([&] { return tv_node_reverse_edge(a, b); }));
  EXPECT_TRUE(stored_order_goes([&] { return tv_node_remove_parent(a, b); }));
  EXPECT_TRUE(stored_order_goes([&] { return tv_node_set_number_of_states(a, 3); }));
  EXPECT_TRUE(stored_order_goes([&] { return tv_node_set_category(a, tv_category_decision); }));
  EXPECT_FALSE(stored_order_goes([&] { return tv_node_set_name(a, "x"); }));
}

// Random links, some refused, and removals, against a reachability matrix.
TEST(Graph, CycleChecksAndSearchesAgreeWithClosure) {
  std::mt19937 random(7);
  for (int round = 0; round < 60; ++round) {
    World world;
    constexpr size_t kCount = 9;
    Nodes nodes;
    for (size_t i = 0; i < kCount; ++i) nodes.push_back(world.decision(1));
    bool link[kCount][kCount] = {};
    for (int step = 0; step < 80; ++step) {
      bool path[kCount][kCount];
      std::copy(&link[0][0], &link[0][0] + kCount * kCount, &path[0][0]);
      for (size_t k = 0; k < kCount; ++k)
        for (size_t i = 0; i < kCount; ++i)
          for (size_t j = 0; j < kCount; ++j) path[i][j] |= path[i][k] && path[k][j];
      const size_t parent = random() % kCount, child = random() % kCount;
      if (link[parent][child]) {
        if (random() % 3 == 0) {
          EXPECT_EQ(tv_node_remove_parent(nodes[child], nodes[parent]), tv_status_none);
          link[parent][child] = false;
        }
        continue;
      }
      const bool cyclic = parent == child || path[child][parent];
      EXPECT_EQ(tv_node_add_parent(nodes[child], nodes[parent]),
                cyclic ? tv_status_cyclic_network : tv_status_none);
      link[parent][child] |= !cyclic;
      std::set<tv_node_t*> below;
      for (size_t i = 0; i < kCount; ++i)
        if (path[parent][i]) below.insert(nodes[i]);
      if (!cyclic) continue;
      tv_node_t** descendants = tv_node_get_descendants(nodes[parent]);
      const Nodes found = listed(descendants);
      EXPECT_EQ(std::set<tv_node_t*>(found.begin(), found.end()), below);
      EXPECT_EQ(found.size(), below.size());
      free(descendants);
    }
    for (tv_node_t* node : nodes) {
      EXPECT_EQ(node->mark, 0);
      for (tv_node_t* child : node->children) EXPECT_LE(node->level, child->level);
    }
  }
}

TEST(Graph, AncestorsOfADiamond) {
  World world;
  Nodes n;
  for (int i = 0; i < 4; ++i) n.push_back(world.chance());
  tv_node_add_parent(n[1], n[0]);
  tv_node_add_parent(n[2], n[0]);
  tv_node_add_parent(n[3], n[1]);
  tv_node_add_parent(n[3], n[2]);
  tv_node_t** ancestors = tv_node_get_ancestors(n[3]);
  EXPECT_EQ(listed(ancestors), (Nodes{n[2], n[1], n[0]}));
  free(ancestors);
  tv_node_t** none = tv_node_get_descendants(n[3]);
  EXPECT_TRUE(none && !*none);
  free(none);
  EXPECT_CODE(tv_status_usage, tv_node_get_ancestors(nullptr));
}

// Long chains must neither overflow the stack nor take quadratic time, whatever the order of the links.
TEST(Graph, LongChainsInAnyOrder) {
  constexpr size_t kCount = 20000;
  for (const int order : {0, 1, 2}) {
    World world;
    Nodes nodes;
    for (size_t i = 0; i < kCount; ++i) nodes.push_back(world.chance());
    if (order == 1) std::reverse(nodes.begin(), nodes.end());
    std::vector<size_t> links(kCount - 1);
    std::iota(links.begin(), links.end(), size_t{0});
    if (order == 2) {
      std::shuffle(nodes.begin(), nodes.end(), std::mt19937(1));
      std::shuffle(links.begin(), links.end(), std::mt19937(2));
    }
    for (size_t i : links) ASSERT_EQ(tv_node_add_parent(nodes[i + 1], nodes[i]), tv_status_none);
    EXPECT_EQ(tv_node_add_parent(nodes.front(), nodes.back()), tv_status_cyclic_network);
    tv_node_t** descendants = tv_node_get_descendants(nodes.front());
    EXPECT_EQ(listed(descendants).size(), kCount - 1);
    free(descendants);
    EXPECT_STREQ(tv_node_get_name(tv_domain_get_first_node(world)), "C20000");
  }
}

}  // namespace

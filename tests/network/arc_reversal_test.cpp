// Arc reversal: the graph changes as it should and the joint distribution stays.
#include <cmath>
#include <random>

#include "network_world.h"

namespace {

// The probability of one configuration (by node) under all tables.
double joint_probability(const Nodes& nodes, const std::vector<size_t>& states) {
  double product = 1.0;
  for (tv_node_t* node : nodes) {
    tv_table_t* table = tv_node_get_table(node);
    std::vector<size_t> configuration;
    for (tv_node_t* member : listed(tv_table_get_nodes(table)))
      for (size_t i = 0; i < nodes.size(); ++i)
        if (nodes[i] == member) configuration.push_back(states[i]);
    const size_t index = tv_table_get_index_from_configuration(table, configuration.data());
    product *= static_cast<double>(tv_table_get_data(table)[index]);
  }
  return product;
}

std::vector<double> joint(const Nodes& nodes) {
  std::vector<double> result;
  std::vector<size_t> states(nodes.size(), 0);
  for (size_t i = nodes.size();;) {
    result.push_back(joint_probability(nodes, states));
    for (i = nodes.size(); i > 0; --i) {
      if (++states[i - 1] < tv_node_get_number_of_states(nodes[i - 1])) break;
      states[i - 1] = 0;
    }
    if (i == 0) return result;
  }
}

void fill_at_random(tv_node_t* node, std::mt19937& random, bool with_zeros) {
  tv_table_t* table = tv_node_get_table(node);
  float* data = tv_table_get_data(table);
  const size_t states = tv_node_get_number_of_states(node);
  for (size_t start = 0; start < tv_table_get_size(table); start += states) {
    float sum = 0;
    for (size_t i = 0; i < states; ++i)
      sum += data[start + i] =
          with_zeros && random() % 6 == 0 ? 0.0f : 0.05f + static_cast<float>(random() % 1000) / 1000;
    if (sum == 0) sum = data[start] = 1;
    for (size_t i = 0; i < states; ++i) data[start + i] /= sum;
  }
}

TEST(ArcReversal, KeepsTheJointDistribution) {
  std::mt19937 random(3);
  int reversed = 0, refused = 0, cyclic = 0;
  for (int round = 0; round < 150; ++round) {
    World world;
    Nodes nodes;
    for (int i = 0; i < 5; ++i) nodes.push_back(world.chance(1 + random() % 3));
    for (size_t child = 1; child < 5; ++child)
      for (size_t parent = 0; parent < child; ++parent)
        if (random() % 2) tv_node_add_parent(nodes[child], nodes[parent]);
    for (tv_node_t* node : nodes)
      if (random() % 5) fill_at_random(node, random, round % 3 == 0);
    for (int step = 0; step < 4; ++step) {
      tv_node_t* child = nodes[random() % 5];
      const Nodes parents = listed(tv_node_get_parents(child));
      if (parents.empty()) continue;
      tv_node_t* parent = parents[random() % parents.size()];
      const std::vector<double> before = joint(nodes);
      const tv_status_t status =
          step % 2 ? tv_node_reverse_edge(parent, child) : tv_node_reverse_edge(child, parent);
      reversed += status == tv_status_none;
      refused += status == tv_status_invalid_probability_potential;
      cyclic += status == tv_status_cyclic_network;
      const std::vector<double> after = joint(nodes);
      for (size_t i = 0; i < before.size(); ++i) ASSERT_NEAR(before[i], after[i], 1e-6);
      const Nodes now = listed(tv_node_get_parents(parent));
      EXPECT_EQ(std::find(now.begin(), now.end(), child) != now.end(), status == tv_status_none);
      for (tv_node_t* node : nodes) {
        Nodes expected = listed(tv_node_get_parents(node));
        expected.push_back(node);
        EXPECT_EQ(listed(tv_table_get_nodes(tv_node_get_table(node))), expected);
        for (tv_node_t* below : node->children) EXPECT_LE(node->level, below->level);
      }
    }
  }
  EXPECT_GT(reversed, 100);
  EXPECT_GT(refused, 10);
  EXPECT_GT(cyclic, 10);
}

TEST(ArcReversal, SharesParentsAndKeepsTheLearningTablesInStep) {
  World world;
  tv_node_t* p = world.chance();
  tv_node_t* q = world.chance(3);
  tv_node_t* x = world.chance();
  tv_node_t* y = world.chance();
  tv_node_add_parent(x, p);
  tv_node_add_parent(y, x);
  tv_node_add_parent(y, q);
  tv_table_get_data(tv_node_get_experience_table(y))[0] = 6;
  tv_table_t* of_x = tv_node_get_experience_table(x);
  EXPECT_EQ(tv_node_reverse_edge(y, x), tv_status_none);  // in whichever direction the link runs
  EXPECT_EQ(listed(tv_node_get_parents(x)), (Nodes{y, q, p}));
  EXPECT_EQ(listed(tv_node_get_parents(y)), (Nodes{p, q}));
  EXPECT_EQ(listed(tv_node_get_children(p)), (Nodes{x, y}));
  EXPECT_EQ(listed(tv_node_get_children(q)), (Nodes{y, x}));
  EXPECT_TRUE(listed(tv_node_get_children(x)).empty());
  EXPECT_EQ(numbers(tv_node_get_experience_table(y)), (std::vector<float>{3, 0, 0, 3, 0, 0}));
  EXPECT_EQ(listed(tv_table_get_nodes(of_x)), (Nodes{y, q, p}));
}

TEST(ArcReversal, RefusalsLeaveEverythingAsItWas) {
  World world;
  tv_node_t* a = world.chance();
  tv_node_t* b = world.chance();
  tv_node_t* c = world.chance();
  tv_node_add_parent(b, a);
  tv_node_add_parent(c, b);
  EXPECT_CODE(tv_status_usage, tv_node_reverse_edge(a, c));
  tv_node_add_parent(c, a);
  EXPECT_CODE(tv_status_cyclic_network, tv_node_reverse_edge(a, c));
  EXPECT_CODE(tv_status_usage, tv_node_reverse_edge(a, world.decision()));
  EXPECT_CODE(tv_status_usage, tv_node_reverse_edge(nullptr, a));
  EXPECT_CODE(tv_status_usage, tv_node_reverse_edge(a, a));
  for (const std::vector<float>& bad : {std::vector<float>{0, 0}, {-0.5f, 1.5f}, {NAN, 1}, {INFINITY, 1}}) {
    set_table(a, bad);
    EXPECT_CODE(tv_status_invalid_probability_potential, tv_node_reverse_edge(a, b));
    EXPECT_EQ(std::isnan(table_of(a)[0]), std::isnan(bad[0]));
    EXPECT_EQ(table_of(a)[1], bad[1]);
    EXPECT_EQ(listed(tv_node_get_parents(b)), (Nodes{a}));
  }
  World mixed;
  tv_node_t* x = mixed.continuous();
  tv_node_t* y = mixed.continuous();
  tv_node_t* d = mixed.chance();
  tv_node_add_parent(y, x);
  tv_node_add_parent(y, d);
  EXPECT_CODE(tv_status_usage, tv_node_reverse_edge(y, d));
  EXPECT_EQ(listed(tv_node_get_parents(y)), (Nodes{d, x}));
}

}  // namespace

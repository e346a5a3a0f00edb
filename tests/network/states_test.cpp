// States of discrete nodes: counts, labels, values and order, and the tables that follow them.
#include <cfloat>
#include <cmath>

#include "network_world.h"

namespace {

TEST(States, CountsAreCheckedAndBooleanNodesKeepTheirs) {
  World world;
  tv_node_t* node = world.chance(2);
  tv_node_t* continuous = world.continuous();
  EXPECT_CODE(tv_status_usage, tv_node_set_number_of_states(node, 0));
  EXPECT_CODE(tv_status_usage, tv_node_set_number_of_states(continuous, 2));
  EXPECT_CODE(tv_status_usage, tv_node_set_subtype(continuous, tv_subtype_number));
  EXPECT_CODE(tv_status_usage, tv_node_set_subtype(node, tv_subtype_error));
  EXPECT_EQ(tv_node_get_subtype(node), tv_subtype_label);
  EXPECT_CODE(tv_status_none, tv_node_set_subtype(node, tv_subtype_boolean));
  EXPECT_CODE(tv_status_usage, tv_node_set_number_of_states(node, 3));
  EXPECT_CODE(tv_status_none, tv_node_set_number_of_states(node, 2));
  EXPECT_CODE(tv_status_none, tv_node_set_subtype(node, tv_subtype_interval));
  EXPECT_CODE(tv_status_none, tv_node_set_number_of_states(node, 3));
  EXPECT_CODE(tv_status_usage, tv_node_set_subtype(node, tv_subtype_boolean));
  EXPECT_EQ(tv_node_get_number_of_states(node), 3u);
  EXPECT_EQ(tv_node_get_number_of_states(tv_domain_new_node(world, tv_category_chance, tv_kind_discrete)),
            1u);
}

TEST(States, LabelsDefaultByTheSubtypeAndFindTheirState) {
  World world;
  tv_node_t* node = world.chance(3);
  EXPECT_STREQ(tv_node_get_state_label(node, 1), "");
  EXPECT_EQ(tv_node_get_state_label(node, 3), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  tv_node_set_state_label(node, 0, "yes");
  EXPECT_EQ(tv_node_get_state_index_from_label(node, "yes"), 0);
  tv_node_set_state_label(node, 2, "yes");
  EXPECT_EQ(tv_node_get_state_index_from_label(node, "yes"), -1);  // ambiguous
  EXPECT_EQ(tv_error_code(), tv_status_none);
  EXPECT_CODE(tv_status_usage, tv_node_set_state_label(node, 3, "x"));
  EXPECT_CODE(tv_status_usage, tv_node_set_state_label(node, 0, nullptr));
  tv_node_set_number_of_states(node, 2);
  EXPECT_EQ(tv_node_get_state_index_from_label(node, "yes"), 0);
  tv_node_set_number_of_states(node, 3);
  EXPECT_STREQ(tv_node_get_state_label(node, 2), "");

  tv_node_t* boolean = world.chance(2);
  tv_node_set_subtype(boolean, tv_subtype_boolean);
  EXPECT_STREQ(tv_node_get_state_label(boolean, 0), "false");
  EXPECT_EQ(tv_node_get_state_index_from_label(boolean, "true"), 1);
}

TEST(States, ValuesHaveTheirDefaultsAndKeepTheUpperBoundLast) {
  World world;
  tv_node_t* node = world.chance(2);
  EXPECT_CODE(tv_status_usage, tv_node_set_state_value(node, 0, 1.0));  // labels have no values
  tv_node_set_subtype(node, tv_subtype_number);
  EXPECT_EQ(tv_node_get_state_value(node, 1), -1.0);
  EXPECT_CODE(tv_status_usage, tv_node_set_state_value(node, 2, 1.0));
  EXPECT_CODE(tv_status_usage, tv_node_set_state_value(node, 0, INFINITY));

  tv_node_t* interval = world.chance(3);
  tv_node_set_subtype(interval, tv_subtype_interval);
  for (const bool stored : {false, true}) {
    if (stored) tv_node_set_state_value(interval, 1, 0.5);
    EXPECT_EQ(tv_node_get_state_value(interval, 0), -DBL_MAX);
    EXPECT_EQ(tv_node_get_state_value(interval, 3), DBL_MAX);
    EXPECT_EQ(tv_node_get_state_value(interval, 2), -1.0);
  }
  EXPECT_CODE(tv_status_none, tv_node_set_state_value(interval, 3, 9.0));
  EXPECT_CODE(tv_status_none, tv_node_set_state_value(interval, 0, -INFINITY));
  EXPECT_CODE(tv_status_usage, tv_node_set_state_value(interval, 1, INFINITY));
  EXPECT_CODE(tv_status_usage, tv_node_set_state_value(interval, 0, NAN));
  EXPECT_CODE(tv_status_usage, tv_node_set_state_value(interval, 4, 1.0));
  tv_node_set_number_of_states(interval, 2);
  EXPECT_EQ(tv_node_get_state_value(interval, 2), 9.0);
  tv_node_set_number_of_states(interval, 4);
  EXPECT_EQ(tv_node_get_state_value(interval, 1), 0.5);
  EXPECT_EQ(tv_node_get_state_value(interval, 3), -1.0);
  EXPECT_EQ(tv_node_get_state_value(interval, 4), 9.0);
}

TEST(States, TablesFollowANewCountAndFindingsGo) {
  World world;
  tv_node_t* parent = world.chance(2);
  tv_node_t* child = world.chance(2);
  tv_node_t* utility = world.utility();
  tv_node_add_parent(child, parent);
  tv_node_add_parent(utility, parent);
  set_table(parent, {0.25f, 0.75f});
  set_table(child, {0.1f, 0.9f, 0.2f, 0.8f});
  set_table(utility, {5, 6});
  tv_table_t* fading = tv_node_get_fading_table(child);
  tv_table_t* experience = tv_node_get_experience_table(child);
  tv_table_get_data(experience)[1] = 4;
  parent->entered.state = 1;

  EXPECT_EQ(tv_node_set_number_of_states(parent, 3), tv_status_none);
  EXPECT_EQ(table_of(parent), (std::vector<float>{0.25f, 0.75f, 0}));
  EXPECT_EQ(table_of(child), (std::vector<float>{0.1f, 0.9f, 0.2f, 0.8f, 0.5f, 0.5f}));
  EXPECT_EQ(table_of(utility), (std::vector<float>{5, 6, 0}));
  EXPECT_EQ(numbers(experience), (std::vector<float>{0, 4, 0}));
  EXPECT_EQ(numbers(fading), (std::vector<float>{1, 1, 1}));
  EXPECT_EQ(parent->entered.state, tv::kNoEvidence);

  EXPECT_EQ(tv_node_set_number_of_states(child, 1), tv_status_none);
  EXPECT_EQ(table_of(child), (std::vector<float>{0.1f, 0.2f, 0.5f}));
  EXPECT_EQ(tv_node_set_number_of_states(parent, 1), tv_status_none);
  EXPECT_EQ(table_of(utility), (std::vector<float>{5}));
}

TEST(States, SizesThatDoNotFitAreRefusedOrReported) {
  World world;
  const size_t many = size_t{1} << 62;
  tv_node_t* parent = world.chance(many);
  tv_node_t* child = world.chance(2);
  set_table(child, {0.5f, 0.5f});
  EXPECT_EQ(tv_node_add_parent(child, parent), tv_status_no_memory);  // the numbers must be kept
  EXPECT_TRUE(listed(tv_node_get_parents(child)).empty());
  EXPECT_TRUE(listed(tv_node_get_children(parent)).empty());
  EXPECT_EQ(table_of(child).size(), 2u);
  EXPECT_EQ(tv_node_set_number_of_states(child, many), tv_status_no_memory);
  EXPECT_EQ(tv_node_get_number_of_states(child), 2u);

  tv_node_t* wide = world.chance(many);
  EXPECT_EQ(tv_node_add_parent(wide, parent), tv_status_none);  // uniform: nothing to keep
  tv_table_t* table = tv_node_get_table(wide);
  EXPECT_EQ(tv_table_get_size(table), static_cast<size_t>(-1));
  EXPECT_EQ(tv_error_code(), tv_status_size_too_large);
  EXPECT_EQ(tv_table_get_data(table), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_no_memory);
  EXPECT_EQ(tv_node_get_state_index_from_label(wide, "x"), -1);  // at once: there is nothing to search
  tv_node_t* twin = world.chance(many);
  EXPECT_EQ(tv_node_switch_parent(wide, parent, twin), tv_status_none);
  EXPECT_EQ(tv_node_set_number_of_states(twin, 2), tv_status_none);
  EXPECT_EQ(tv_table_get_size(table), 2 * many);
  EXPECT_EQ(tv_table_get_data(table), nullptr);  // still too many numbers
  EXPECT_EQ(tv_node_set_number_of_states(wide, 2), tv_status_none);
  EXPECT_EQ(table_of(wide), (std::vector<float>{0.5f, 0.5f, 0.5f, 0.5f}));
  tv_node_delete(parent);
  tv_node_delete(twin);
  EXPECT_CODE(tv_status_none, tv_node_get_name(wide));
}

TEST(States, ReorderingPermutesAllThatBelongsToAState) {
  World world;
  tv_node_t* node = world.chance(3);
  tv_node_t* child = world.chance(2);
  tv_node_add_parent(child, node);
  set_table(node, {0.1f, 0.2f, 0.7f});
  set_table(child, {0.1f, 0.9f, 0.2f, 0.8f, 0.3f, 0.7f});
  tv_node_set_subtype(node, tv_subtype_number);
  const char* labels[] = {"a", "b", "c"};
  for (size_t i = 0; i < 3; ++i) {
    tv_node_set_state_label(node, i, labels[i]);
    tv_node_set_state_value(node, i, static_cast<double>(i));
  }
  node->entered.state = 2;
  node->entered.finding = {1, 0.5f, 0.25f};
  for (const std::vector<size_t>& order : {std::vector<size_t>{0, 1, 1}, {0, 1, 3}})
    EXPECT_CODE(tv_status_usage, tv_node_reorder_states(node, order.data()));
  EXPECT_CODE(tv_status_usage, tv_node_reorder_states(node, nullptr));
  EXPECT_CODE(tv_status_usage, tv_node_reorder_states(world.continuous(), std::vector<size_t>{0}.data()));

  EXPECT_EQ(tv_node_reorder_states(node, std::vector<size_t>{2, 0, 1}.data()), tv_status_none);
  EXPECT_STREQ(tv_node_get_state_label(node, 0), "c");
  EXPECT_EQ(tv_node_get_state_value(node, 2), 1.0);
  EXPECT_EQ(table_of(node), (std::vector<float>{0.7f, 0.1f, 0.2f}));
  EXPECT_EQ(table_of(child), (std::vector<float>{0.3f, 0.7f, 0.1f, 0.9f, 0.2f, 0.8f}));
  EXPECT_EQ(node->entered.state, 0);
  EXPECT_EQ(node->entered.finding, (std::vector<float>{0.25f, 1, 0.5f}));
}

}  // namespace

// Creating, changing and deleting nodes: what may be combined, what is counted, what is refused.
#include <climits>
#include <cstdlib>

#include "network_world.h"

namespace {

struct Combination {
  int category, kind;
  tv_status_t status;
};

TEST(NodeCreation, AcceptsTheCombinationsOfCategoryAndKind) {
  const Combination combinations[] = {
      {tv_category_chance, tv_kind_discrete, 0},
      {tv_category_chance, tv_kind_continuous, 0},
      {tv_category_chance, tv_kind_other, 1},
      {tv_category_decision, tv_kind_discrete, 0},
      {tv_category_decision, tv_kind_continuous, 4},
      {tv_category_decision, tv_kind_other, 1},
      {tv_category_function, tv_kind_discrete, 0},
      {tv_category_function, tv_kind_other, 0},
      {tv_category_function, tv_kind_continuous, 1},
      {tv_category_utility, tv_kind_discrete, 0},
      {tv_category_utility, tv_kind_continuous, 0},
      {tv_category_utility, tv_kind_other, 0},
      {tv_category_instance, tv_kind_other, 1},
      {tv_category_error, tv_kind_discrete, 1},
      {10, tv_kind_discrete, 1},
  };
  for (const Combination& c : combinations) {
    World world;
    tv_node_t* node =
        world.node(static_cast<tv_node_category_t>(c.category), static_cast<tv_node_kind_t>(c.kind));
    EXPECT_EQ(tv_error_code(), c.status) << c.category << " " << c.kind;
    EXPECT_EQ(node != nullptr, c.status == 0);
    EXPECT_EQ(tv_domain_get_number_of_nodes(world), node ? 1u : 0u);
  }
  EXPECT_EQ(tv_domain_new_node(nullptr, tv_category_chance, tv_kind_discrete), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
}

TEST(NodeCreation, ContinuousNodesAndDecisionModelsDoNotMix) {
  for (const bool with_decision : {true, false}) {
    World world;
    with_decision ? world.decision() : world.utility();
    EXPECT_CODE(tv_status_cg_limids_not_supported, world.continuous());
    EXPECT_CODE(tv_status_none, world.chance());
    EXPECT_CODE(tv_status_none, world.function());
  }
  World world;
  tv_node_t* continuous = world.continuous();
  tv_node_t* chance = world.chance();
  EXPECT_CODE(tv_status_cg_limids_not_supported, world.node(tv_category_decision, tv_kind_discrete));
  EXPECT_CODE(tv_status_cg_limids_not_supported, world.utility());
  EXPECT_CODE(tv_status_cg_limids_not_supported, tv_node_set_category(chance, tv_category_decision));
  EXPECT_CODE(tv_status_none, world.discrete_function());
  tv_node_delete(continuous);
  EXPECT_CODE(tv_status_none, tv_node_set_category(chance, tv_category_decision));
  EXPECT_CODE(tv_status_none, world.utility());
}

TEST(NodeCreation, NumbersStayDenseAndTheNewestNodeLeads) {
  World world;
  tv_node_t* a = world.chance();
  tv_node_t* b = world.continuous();
  tv_node_t* c = world.chance();
  tv_node_t* d = world.function();
  EXPECT_EQ(all_nodes(world), (Nodes{d, c, b, a}));
  EXPECT_EQ(a->number, 1u);
  EXPECT_EQ(tv_node_delete(b), tv_status_none);
  EXPECT_EQ(all_nodes(world), (Nodes{d, c, a}));
  EXPECT_EQ(c->number, 2u);
  EXPECT_EQ(d->number, 3u);
  const tv::NodeCounters& counters = world.domain->counters;
  EXPECT_EQ(counters.chance, 2u);
  EXPECT_EQ(counters.function, 1u);
  EXPECT_EQ(counters.continuous, 0u);
  EXPECT_EQ(counters.discrete, 2u);
  tv_node_set_category(a, tv_category_decision);
  EXPECT_EQ(counters.chance, 1u);
  EXPECT_EQ(counters.decision, 1u);
  EXPECT_EQ(tv_node_get_category(a), tv_category_decision);
}

TEST(NodeCreation, DeletedNodesLeaveAveragedTables) {
  World world;
  tv_node_t* p = world.chance(2);
  tv_node_t* q = world.chance(2);
  tv_node_t* child = world.chance(2);
  tv_node_add_parent(child, q);
  tv_node_add_parent(child, p);
  set_table(child, {0.1f, 0.9f, 0.2f, 0.8f, 0.5f, 0.5f, 0.6f, 0.4f});  // p slowest
  tv_table_t* table = tv_node_get_table(child);
  tv_domain_set_ijt_nodes(world, Nodes{p, q, nullptr}.data());
  EXPECT_EQ(tv_node_delete(p), tv_status_none);
  EXPECT_EQ(listed(tv_node_get_parents(child)), (Nodes{q}));
  EXPECT_EQ(tv_node_get_table(child), table);  // handles stay valid
  const std::vector<float> averaged = table_of(child);
  ASSERT_EQ(averaged.size(), 4u);
  EXPECT_FLOAT_EQ(averaged[0], 0.3f);
  EXPECT_FLOAT_EQ(averaged[3], 0.6f);
  EXPECT_EQ(world.domain->required_instantiations.size(), 1u);
  tv_node_delete(child);
  EXPECT_TRUE(listed(tv_node_get_children(q)).empty());
}

TEST(NodeQueries, AnswerNullAndUnsuitableNodesWithTheirFailureValues) {
  World world;
  tv_node_t* continuous = world.continuous();
  EXPECT_CODE(tv_status_usage, tv_node_get_category(nullptr));
  EXPECT_EQ(tv_node_get_category(nullptr), tv_category_error);
  EXPECT_EQ(tv_node_get_kind(nullptr), tv_kind_error);
  EXPECT_EQ(tv_node_get_subtype(continuous), tv_subtype_error);
  EXPECT_EQ(tv_node_get_number_of_states(continuous), static_cast<size_t>(-1));
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(tv_node_get_domain(continuous), world);
  EXPECT_EQ(tv_error_code(), tv_status_none);  // a success clears what a failure left
  EXPECT_EQ(tv_node_get_next(nullptr), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_CODE(tv_status_usage, tv_node_delete(nullptr));
  EXPECT_CODE(tv_status_usage, tv_domain_delete(nullptr));
  EXPECT_CODE(tv_status_usage, tv_domain_clone(nullptr));
}

TEST(NodeCategory, ChangesOnlyBetweenChanceAndDecision) {
  World world;
  tv_node_t* chance = world.chance();
  tv_node_t* utility = world.utility();
  tv_node_t* function = world.discrete_function();
  EXPECT_CODE(tv_status_usage, tv_node_set_category(utility, tv_category_chance));
  EXPECT_CODE(tv_status_usage, tv_node_set_category(function, tv_category_chance));
  EXPECT_CODE(tv_status_usage, tv_node_set_category(chance, tv_category_utility));
  EXPECT_CODE(tv_status_none, tv_node_set_category(chance, tv_category_chance));
  tv_node_get_experience_table(chance);
  EXPECT_EQ(tv_node_has_experience_table(chance), 1);
  EXPECT_CODE(tv_status_none, tv_node_set_category(chance, tv_category_decision));
  EXPECT_EQ(tv_node_has_experience_table(chance), 0);
}

TEST(Attributes, KeepTheirPlaceAndShowTheNewestKeyFirst) {
  World world;
  tv_node_t* node = world.chance();
  EXPECT_EQ(tv_node_set_attribute(node, "a", "1"), tv_status_none);
  EXPECT_EQ(tv_node_set_attribute(node, "b", "2"), tv_status_none);
  EXPECT_EQ(tv_node_set_attribute(node, "a", "3"), tv_status_none);
  tv_attribute_t* first = tv_node_get_first_attribute(node);
  EXPECT_STREQ(tv_attribute_get_key(first), "b");
  tv_attribute_t* second = tv_attribute_get_next(first);
  EXPECT_STREQ(tv_attribute_get_key(second), "a");
  EXPECT_STREQ(tv_attribute_get_value(second), "3");
  EXPECT_EQ(tv_attribute_get_next(second), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_none);
  EXPECT_EQ(tv_node_set_attribute(node, "b", nullptr), tv_status_none);
  EXPECT_EQ(tv_node_set_attribute(node, "absent", nullptr), tv_status_none);
  EXPECT_EQ(tv_node_get_attribute(node, "b"), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_none);
  EXPECT_CODE(tv_status_invalid_name, tv_domain_set_attribute(world, "a.b", "dots are for nodes"));
  EXPECT_CODE(tv_status_usage, tv_domain_set_attribute(world, nullptr, "x"));
  EXPECT_CODE(tv_status_none, tv_domain_set_attribute(world, "a", "of the domain"));
  EXPECT_STREQ(tv_domain_get_attribute(world, "a"), "of the domain");
  EXPECT_STREQ(tv_node_get_attribute(node, "a"), "3");
}

TEST(Settings, KeepTheirValuesAndRefuseZeroWhereItMeansNothing) {
  World world;
  EXPECT_EQ(tv_domain_get_grain_size(world), 10000u);
  EXPECT_EQ(tv_domain_get_concurrency_level(world), 1u);
  EXPECT_EQ(tv_domain_get_em_concurrency_level(world), 1u);
  EXPECT_EQ(tv_domain_get_max_number_of_separators(world), 0u);
  using Setter = tv_status_t (*)(tv_domain_t*, size_t);
  using Getter = size_t (*)(const tv_domain_t*);
  const struct {
    Setter set;
    Getter get;
    tv_status_t for_zero;
  } settings[] = {
      {tv_domain_set_grain_size, tv_domain_get_grain_size, 1},
      {tv_domain_set_concurrency_level, tv_domain_get_concurrency_level, 1},
      {tv_domain_set_em_concurrency_level, tv_domain_get_em_concurrency_level, 1},
      {tv_domain_set_max_number_of_separators, tv_domain_get_max_number_of_separators, 0},
      {tv_domain_set_max_separator_size, tv_domain_get_max_separator_size, 0},
      {tv_domain_set_memory_limit, tv_domain_get_memory_limit, 0},
  };
  for (const auto& setting : settings) {
    EXPECT_EQ(setting.set(world, 7), tv_status_none);
    EXPECT_EQ(setting.get(world), 7u);
    EXPECT_EQ(setting.set(world, 0), setting.for_zero);
    EXPECT_EQ(setting.get(world), setting.for_zero ? 7u : 0u);
    EXPECT_CODE(tv_status_usage, setting.set(nullptr, 1));
    EXPECT_EQ(setting.get(nullptr), static_cast<size_t>(-1));
    EXPECT_EQ(tv_error_code(), tv_status_usage);
  }
}

TEST(Settings, DisplayUserDataAndRequiredInstantiations) {
  World world, other;
  tv_node_t* node = world.chance();
  tv_node_t* continuous = world.continuous();
  size_t width = 0, height = 0;
  long x = 0, y = 0;
  EXPECT_EQ(tv_domain_set_node_size(world, 100, 60), tv_status_none);
  EXPECT_EQ(tv_domain_get_node_size(world, &width, &height), tv_status_none);
  EXPECT_EQ(width * height, 6000u);
  EXPECT_EQ(tv_node_set_position(node, -5, LONG_MAX), tv_status_none);
  EXPECT_EQ(tv_node_get_position(node, &x, &y), tv_status_none);
  EXPECT_TRUE(x == -5 && y == LONG_MAX);
  EXPECT_CODE(tv_status_usage, tv_node_get_position(node, nullptr, &y));
  EXPECT_STREQ(tv_node_get_label(node), "");
  EXPECT_EQ(tv_node_set_label(node, "any \"text\""), tv_status_none);
  EXPECT_STREQ(tv_node_get_label(node), "any \"text\"");
  EXPECT_EQ(tv_node_set_user_data(node, &x), tv_status_none);
  EXPECT_EQ(tv_node_get_user_data(node), &x);
  EXPECT_EQ(tv_domain_set_user_data(world, &y), tv_status_none);
  EXPECT_EQ(tv_domain_get_user_data(world), &y);
  EXPECT_EQ(tv_domain_get_file_name(world), nullptr);

  EXPECT_CODE(tv_status_usage, tv_domain_set_ijt_nodes(world, Nodes{node, node, nullptr}.data()));
  EXPECT_CODE(tv_status_usage, tv_domain_set_ijt_nodes(world, Nodes{continuous, nullptr}.data()));
  EXPECT_CODE(tv_status_usage, tv_domain_set_ijt_nodes(world, Nodes{other.chance(), nullptr}.data()));
  EXPECT_CODE(tv_status_none, tv_domain_set_ijt_nodes(world, Nodes{node, nullptr}.data()));
  EXPECT_EQ(world.domain->required_instantiations.size(), 1u);
  EXPECT_CODE(tv_status_none, tv_domain_set_ijt_nodes(world, nullptr));
  EXPECT_TRUE(world.domain->required_instantiations.empty());
}

}  // namespace

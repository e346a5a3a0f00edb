// The record of a table as a host sees it: sizes, index order, CG queries, reordering, deletion.
#include <gtest/gtest.h>

#include <limits>

#include "tables/kernels/number_bounds.h"
#include "tables/table_world.h"

namespace {

using test::TableWorld;
using tv::Node;
using tv::Table;
using tv::TableKind;

constexpr size_t kNone = static_cast<size_t>(-1);

TEST(Table, IndexOrderIsMixedRadixWithTheLastNodeFastest) {
  TableWorld world;
  auto table = world.table({world.discrete(2), world.discrete(3)});
  const size_t states[] = {1, 0};
  EXPECT_EQ(tv_table_get_index_from_configuration(table.get(), states), 3u);
  size_t found[2] = {};
  EXPECT_EQ(tv_table_get_configuration_from_index(table.get(), found, 5), tv_status_none);
  EXPECT_EQ(found[0], 1u);
  EXPECT_EQ(found[1], 2u);
}

TEST(Table, IndexAndConfigurationAreInverse) {
  for (unsigned seed = 0; seed < 50; ++seed) {
    TableWorld world(seed);
    auto table = world.random_table(5, 2);
    std::vector<size_t> states(table->discrete_count);
    for (size_t i = 0; i < table->size; ++i) {
      ASSERT_EQ(tv_table_get_configuration_from_index(table.get(), states.data(), i), tv_status_none);
      ASSERT_EQ(tv_table_get_index_from_configuration(table.get(), states.data()), i);
    }
    EXPECT_EQ(tv_table_get_configuration_from_index(table.get(), states.data(), table->size),
              tv_status_usage);
    for (size_t i = 0; i < states.size(); ++i) {  // no state may be one too large
      std::vector<size_t> wrong = states;
      wrong[i] = table->nodes[i]->number_of_states;
      EXPECT_EQ(tv_table_get_index_from_configuration(table.get(), wrong.data()), kNone);
      EXPECT_EQ(tv_error_code(), tv_status_usage);
    }
  }
}

TEST(Table, WithoutDiscreteNodesItHasOneEntryAndOneBlock) {
  TableWorld world;
  auto table = world.table({world.continuous(), world.continuous(), world.continuous()});
  EXPECT_EQ(tv_table_get_size(table.get()), 1u);
  EXPECT_EQ(tv_table_get_cg_size(table.get()), 9u);
  EXPECT_EQ(tv_table_get_index_from_configuration(table.get(), nullptr), 0u);
  EXPECT_EQ(tv_error_code(), tv_status_none);
  ASSERT_NE(tv_table_get_data(table.get()), nullptr);
  EXPECT_EQ(table->cg_data.size(), 9u);
}

TEST(Table, MeansAndCovariancesStandInTheirPlaces) {
  TableWorld world;
  Node *a = world.discrete(2), *x = world.continuous(), *y = world.continuous(), *z = world.continuous();
  auto table = world.table({a, x, y, z});
  ASSERT_NE(tv_table_get_data(table.get()), nullptr);
  for (size_t i = 0; i < table->cg_data.size(); ++i) table->cg_data[i] = static_cast<double>(i);
  EXPECT_EQ(tv_table_get_mean(table.get(), 0, x), 0.0);
  EXPECT_EQ(tv_table_get_variance(table.get(), 0, x), 1.0);
  EXPECT_EQ(tv_table_get_mean(table.get(), 0, z), 5.0);
  EXPECT_EQ(tv_table_get_covariance(table.get(), 0, z, x), 6.0);
  EXPECT_EQ(tv_table_get_covariance(table.get(), 0, x, z), 6.0);
  EXPECT_EQ(tv_table_get_variance(table.get(), 1, z), 17.0);

  const auto expect_usage = [](double result) {
    EXPECT_EQ(result, -1.0);
    EXPECT_EQ(tv_error_code(), tv_status_usage);
  };
  expect_usage(tv_table_get_mean(table.get(), 2, x));
  expect_usage(tv_table_get_mean(table.get(), 0, a));
  expect_usage(tv_table_get_mean(table.get(), 0, nullptr));
  expect_usage(tv_table_get_mean(nullptr, 0, x));
  expect_usage(tv_table_get_covariance(table.get(), 0, x, world.continuous()));
  expect_usage(tv_table_get_covariance(table.get(), 0, nullptr, x));
  table->tail_marks[2] = 1;
  expect_usage(tv_table_get_mean(table.get(), 0, x));
  expect_usage(tv_table_get_variance(table.get(), 0, x));
}

TEST(Table, SizesThatDoNotFitAreReportedAndNeverWrap) {
  TableWorld world;
  Node* huge = world.discrete(size_t{1} << 33);
  Node* other = world.discrete(size_t{1} << 33);
  auto table = world.table({huge, other});
  EXPECT_EQ(tv_table_get_size(table.get()), kNone);
  EXPECT_EQ(tv_error_code(), tv_status_size_too_large);
  EXPECT_EQ(tv_table_get_cg_size(table.get()), 0u);
  EXPECT_EQ(tv_error_code(), tv_status_none);
  EXPECT_EQ(tv_table_get_data(table.get()), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_no_memory);
  const size_t states[] = {1, 1};
  EXPECT_EQ(tv_table_get_index_from_configuration(table.get(), states), kNone);
  EXPECT_EQ(tv_error_code(), tv_status_size_too_large);

  // The configurations can be counted, but not the bytes or the CG entries.
  auto mixed = world.table({huge, world.discrete(size_t{1} << 29), world.continuous(), world.continuous()});
  EXPECT_EQ(tv_table_get_size(mixed.get()), size_t{1} << 62);
  EXPECT_EQ(tv_error_code(), tv_status_none);
  EXPECT_EQ(tv_table_get_cg_size(mixed.get()), kNone);
  EXPECT_EQ(tv_error_code(), tv_status_size_too_large);
  EXPECT_EQ(tv_table_get_data(mixed.get()), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_no_memory);
  EXPECT_FALSE(tv::has_data(*mixed));
  auto large = world.table({huge, world.discrete(size_t{1} << 30)});
  EXPECT_EQ(tv_table_get_data(large.get()), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_no_memory);
}

TEST(Table, DataComeIntoBeingOnceAndAreZero) {
  TableWorld world;
  auto table = world.table({world.discrete(2), world.discrete(5)});
  EXPECT_FALSE(tv::has_data(*table));
  tv_number_t* data = tv_table_get_data(table.get());
  ASSERT_NE(data, nullptr);
  for (size_t i = 0; i < 10; ++i) EXPECT_EQ(data[i], 0.0f);
  data[9] = 4;
  EXPECT_EQ(tv_table_get_data(table.get()), data);
  EXPECT_EQ(data[9], 4.0f);
}

TEST(Table, DataAreBroughtUpToDateBeforeTheHostReadsThem) {
  TableWorld world;
  auto table = world.table({world.discrete(2)}, TableKind::clique);
  table->materialize = [](Table& stale) {
    tv::allocate_table_data(stale);
    stale.data[0] += 1;
    return tv_status_t{tv_status_none};
  };
  tv_table_get_data(table.get());
  EXPECT_EQ(tv_table_get_data(table.get())[0], 2.0f);
  table->materialize = [](Table&) { return tv_status_t{tv_status_no_equilibrium}; };
  EXPECT_EQ(tv_table_get_data(table.get()), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_no_equilibrium);
}

TEST(Table, AppendedNodesGoBehindTheirKind) {
  TableWorld world;
  Node *a = world.discrete(2), *b = world.discrete(3), *x = world.continuous(), *y = world.continuous();
  auto table = tv::new_table(world.domain);
  tv::append_table_node(*table, x);
  tv::append_table_node(*table, a);
  tv::append_table_node(*table, y, true);
  tv::append_table_node(*table, b);
  EXPECT_TRUE((table->nodes == tv::NodeList{a, b, x, y}));
  EXPECT_EQ(table->tail_marks, (std::vector<unsigned char>{0, 1}));
  EXPECT_EQ(table->size, 6u);
  EXPECT_EQ(table->cg_size, 5u);
  tv_node_t** nodes = tv_table_get_nodes(table.get());
  EXPECT_EQ(nodes[0], a);
  EXPECT_EQ(nodes[4], nullptr);
}

TEST(Table, ReorderingPermutesTheData) {
  TableWorld world;
  Node *a = world.discrete(2), *b = world.discrete(3), *x = world.continuous();
  auto table = world.table({a, b, x});
  for (size_t i = 0; i < 6; ++i) tv_table_get_data(table.get())[i] = static_cast<tv_number_t>(i);
  const size_t layout = table->layout;
  Node* same[] = {a, b, x, nullptr};
  EXPECT_EQ(tv_table_reorder_nodes(table.get(), same), tv_status_none);
  EXPECT_EQ(table->layout, layout);  // nothing happened: plans over the table stay good
  Node* order[] = {b, a, x, nullptr};
  EXPECT_EQ(tv_table_reorder_nodes(table.get(), order), tv_status_none);
  EXPECT_GT(table->layout, layout);
  const tv_number_t expected[] = {0, 3, 1, 4, 2, 5};
  for (size_t i = 0; i < 6; ++i) EXPECT_EQ(table->data[i], expected[i]);
}

TEST(Table, ReorderingRefusesWhatIsNotAnOrderOfItsNodes) {
  TableWorld world;
  Node *a = world.discrete(2), *b = world.discrete(3), *x = world.continuous(), *other = world.discrete(2);
  auto table = world.table({a, b, x});
  const std::vector<std::vector<Node*>> wrong = {
      {a, b}, {b, x}, {a, a, x}, {b, a, x, other}, {b, a, x, x}, {b, other, x}, {b, x, a}, {x, a, b}, {}};
  for (std::vector<Node*> order : wrong) {
    order.push_back(nullptr);
    EXPECT_EQ(tv_table_reorder_nodes(table.get(), order.data()), tv_status_usage);
  }
  Node* good[] = {b, a, x, nullptr};
  EXPECT_EQ(tv_table_reorder_nodes(nullptr, good), tv_status_usage);
  EXPECT_EQ(tv_table_reorder_nodes(table.get(), nullptr), tv_status_usage);
  EXPECT_TRUE((table->nodes == tv::NodeList{a, b, x}));

  auto clique = world.table({a, b, x}, TableKind::clique);
  EXPECT_EQ(tv_table_reorder_nodes(clique.get(), good), tv_status_usage);
}

TEST(Table, ADiscreteNodeStaysLastInItsOwnTable) {
  TableWorld world;
  Node *a = world.discrete(2), *b = world.discrete(3), *child = world.discrete(2), *x = world.continuous();
  auto own = world.table({a, b, child}, TableKind::node, child);
  Node* moved[] = {a, child, b, nullptr};
  EXPECT_EQ(tv_table_reorder_nodes(own.get(), moved), tv_status_usage);
  Node* parents_switched[] = {b, a, child, nullptr};
  EXPECT_EQ(tv_table_reorder_nodes(own.get(), parents_switched), tv_status_none);

  // A continuous node's discrete parents may stand in any order, and so may those of an experience table.
  auto of_continuous = world.table({a, b, x}, TableKind::node, x);
  Node* switched[] = {b, a, x, nullptr};
  EXPECT_EQ(tv_table_reorder_nodes(of_continuous.get(), switched), tv_status_none);
  auto experience = world.table({a, b}, TableKind::experience, child);
  Node* parents[] = {b, a, nullptr};
  EXPECT_EQ(tv_table_reorder_nodes(experience.get(), parents), tv_status_none);
}

TEST(Table, DeletingDetachesLearningTablesAndLeavesOwnedOnes) {
  TableWorld world;
  Node* node = world.discrete(2);
  node->table = world.table({node}, TableKind::node, node);
  node->experience_table = world.table({}, TableKind::experience, node);
  node->fading_table = world.table({}, TableKind::fading, node);
  EXPECT_EQ(node->fading_table->number, 3u);  // serial numbers of the domain
  EXPECT_EQ(tv_table_delete(node->table.get()), tv_status_none);
  EXPECT_NE(node->table, nullptr);
  EXPECT_EQ(tv_table_delete(node->experience_table.get()), tv_status_none);
  EXPECT_EQ(node->experience_table, nullptr);
  EXPECT_NE(node->fading_table, nullptr);
  EXPECT_EQ(tv_table_delete(node->fading_table.get()), tv_status_none);
  EXPECT_EQ(node->fading_table, nullptr);
  auto clique = world.table({node}, TableKind::clique);
  EXPECT_EQ(tv_table_delete(clique.get()), tv_status_none);
  EXPECT_EQ(tv_table_delete(world.table({node}).release()), tv_status_none);  // freed: the host's own
  EXPECT_EQ(tv_table_delete(nullptr), tv_status_usage);
}

TEST(Table, ACopyIsFreeAndIndependent) {
  TableWorld world;
  auto table = world.random_table();
  table->user_data = &world;
  auto copy = tv::clone_table(*table);
  EXPECT_EQ(copy->number, 0u);
  EXPECT_EQ(copy->user_data, nullptr);
  EXPECT_TRUE(copy->nodes == table->nodes);
  const tv_number_t kept = copy->data[0];
  table->data[0] = kept + 1;
  EXPECT_EQ(copy->data[0], kept);
}

TEST(Table, UserDataAndNullTables) {
  TableWorld world;
  auto table = world.table({});
  EXPECT_EQ(tv_table_get_user_data(table.get()), nullptr);
  EXPECT_EQ(tv_table_set_user_data(table.get(), &world), tv_status_none);
  EXPECT_EQ(tv_table_get_user_data(table.get()), &world);
  size_t states[1] = {};
  EXPECT_EQ(tv_table_set_user_data(nullptr, &world), tv_status_usage);
  for (const bool failed : {tv_table_get_user_data(nullptr) == nullptr,
                            tv_table_get_nodes(nullptr) == nullptr, tv_table_get_data(nullptr) == nullptr,
                            tv_table_get_size(nullptr) == kNone, tv_table_get_cg_size(nullptr) == kNone,
                            tv_table_get_index_from_configuration(nullptr, states) == kNone,
                            tv_table_get_configuration_from_index(nullptr, states, 0) == tv_status_usage})
    EXPECT_TRUE(failed);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
}

// A distribution of three states for each of two states of a parent.
class Validation : public ::testing::Test {
 protected:
  void set(std::initializer_list<tv_number_t> values) {
    std::copy(values.begin(), values.end(), tv_table_get_data(table.get()));
  }
  void expect(std::initializer_list<tv_number_t> values) const {
    for (size_t i = 0; i < 6; ++i) EXPECT_FLOAT_EQ(table->data[i], values.begin()[i]);
  }

  TableWorld world;
  std::unique_ptr<Table> table = world.table({world.discrete(2), world.discrete(3)});
};

TEST_F(Validation, EachDistributionIsDividedByItsSum) {
  set({1, 1, 2, 0, 1e-40f, 0});
  EXPECT_EQ(tv::validate_conditional_probability_potential(*table, true), tv_status_none);
  expect({0.25f, 0.25f, 0.5f, 0, 1, 0});
}

TEST_F(Validation, InvalidEntriesAreRefusedWithNothingChanged) {
  const tv_number_t largest = std::numeric_limits<tv_number_t>::max();
  for (const tv_number_t bad : {-0.5f, largest, std::numeric_limits<tv_number_t>::infinity(),
                                std::numeric_limits<tv_number_t>::quiet_NaN()}) {
    set({1, 1, 2, 0, 1, 1});
    table->data[4] = bad;
    for (const bool strict : {true, false}) {
      EXPECT_EQ(tv::validate_conditional_probability_potential(*table, strict),
                tv_status_invalid_probability_potential);
      EXPECT_EQ(table->data[0], 1.0f);
    }
  }
  set({1, 1, 2, 3e38f, 3e38f, 0});  // each entry is fine, the sum is not
  EXPECT_EQ(tv::validate_conditional_probability_potential(*table, false),
            tv_status_invalid_probability_potential);
  expect({1, 1, 2, 3e38f, 3e38f, 0});
}

TEST_F(Validation, AZeroSumIsRefusedOrMadeUniform) {
  set({1, 1, 2, 0, 0, 0});
  EXPECT_EQ(tv::validate_conditional_probability_potential(*table, true),
            tv_status_invalid_probability_potential);
  expect({1, 1, 2, 0, 0, 0});
  EXPECT_EQ(tv::validate_conditional_probability_potential(*table, false), tv_status_none);
  expect({0.25f, 0.25f, 0.5f, 1 / 3.0f, 1 / 3.0f, 1 / 3.0f});
}

TEST_F(Validation, TablesWithDensitiesWeighOne) {
  auto mixed = world.table({world.discrete(2), world.continuous()});
  tv_table_get_data(mixed.get())[0] = -3;
  EXPECT_EQ(tv::validate_conditional_probability_potential(*mixed, true), tv_status_none);
  EXPECT_EQ(mixed->data[0], 1.0f);
  EXPECT_EQ(mixed->data[1], 1.0f);
}

TEST_F(Validation, NormalizingDividesByTheSumOrTheLargestEntry) {
  set({1, 1, 2, 0, 4, 0});
  EXPECT_EQ(tv::_tv_normalize_table(*table, tv::Normalizer::max), tv_status_none);
  expect({0.25f, 0.25f, 0.5f, 0, 1, 0});
  EXPECT_EQ(tv::_tv_normalize_table(*table, tv::Normalizer::sum), tv_status_none);
  expect({0.125f, 0.125f, 0.25f, 0, 0.5f, 0});
  set({0, 0, 1e-39f, 0, 0, 0});
  for (const auto by : {tv::Normalizer::sum, tv::Normalizer::max})
    EXPECT_EQ(tv::_tv_normalize_table(*table, by), tv_status_normalization);
  expect({0, 0, 1e-39f, 0, 0, 0});
  set({-1, -1, -2, -1, -1, -1});
  for (const auto by : {tv::Normalizer::sum, tv::Normalizer::max})
    EXPECT_EQ(tv::_tv_normalize_table(*table, by), tv_status_none);
  expect({-1, -1, -2, -1, -1, -1});
}

TEST_F(Validation, LongSumsAreExactInDouble) {
  auto large = world.table({world.discrete(1000), world.discrete(1003)});
  tv_number_t* data = tv_table_get_data(large.get());
  std::fill(data, data + large->size, 1.0f);
  EXPECT_EQ(tv::_tv_normalize_table(*large, tv::Normalizer::sum), tv_status_none);
  EXPECT_EQ(data[0], static_cast<tv_number_t>(1.0 / 1003000.0));
  EXPECT_EQ(data[large->size - 1], data[0]);
}

}  // namespace

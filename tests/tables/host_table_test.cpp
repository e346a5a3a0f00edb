// Tables that the host keeps while what they are about changes or goes.
#include <gtest/gtest.h>

#include "support/builders.h"
#include "support/describe.h"

namespace test {
namespace {

constexpr size_t kAllOnes = static_cast<size_t>(-1);

// The marginal of A (2 states) and B (3 states): P(A, B) = (1 2 3 4 5 6) / 21.
class HostTable : public testing::Test {
 protected:
  HostTable() {
    EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    tv_node_t* nodes[] = {a, b, nullptr};
    marginal.reset(tv_domain_get_marginal(domain.get(), nodes));
    EXPECT_NE(marginal, nullptr);
  }

  void expect_old_configurations() {
    EXPECT_EQ(tv_table_get_size(marginal.get()), 6u);
    size_t states[2];
    EXPECT_EQ(tv_table_get_configuration_from_index(marginal.get(), states, 5), tv_status_none);
    EXPECT_EQ(states[0], 1u);
    EXPECT_EQ(states[1], 2u);
    EXPECT_EQ(tv_table_get_index_from_configuration(marginal.get(), states), 5u);
    states[0] = 2;
    EXPECT_EQ(tv_table_get_index_from_configuration(marginal.get(), states), kAllOnes);
    for (size_t i = 0; i < 6; ++i) EXPECT_NEAR(tv_table_get_data(marginal.get())[i], (i + 1) / 21.0, 1e-6);
  }

  void expect_nodes_are_gone() {
    expect_old_configurations();
    EXPECT_EQ(tv_table_get_nodes(marginal.get()), nullptr);
    EXPECT_EQ(tv_error_code(), tv_status_usage);
    EXPECT_EQ(tv_table_get_mean(marginal.get(), 0, nullptr), -1.0);
    EXPECT_EQ(tv_error_code(), tv_status_usage);
  }

  DomainOwner domain = new_domain();
  tv_node_t* a = add_node(domain.get(), "A", 2, {}, {6, 15});
  tv_node_t* b = add_node(domain.get(), "B", 3, {a}, {1, 2, 3, 4, 5, 6});
  TableOwner marginal;
};

TEST_F(HostTable, KeepsItsSizesWhenANodeGetsMoreStatesOrFewer) {
  ASSERT_EQ(tv_node_set_number_of_states(a, 500), tv_status_none);
  ASSERT_EQ(tv_node_set_number_of_states(b, 1), tv_status_none);
  expect_old_configurations();
  tv_node_t* order[] = {b, a, nullptr};
  ASSERT_EQ(tv_table_reorder_nodes(marginal.get(), order), tv_status_none);
  EXPECT_EQ(tv_table_get_size(marginal.get()), 6u);
  const double expected[] = {1, 4, 2, 5, 3, 6};
  for (size_t i = 0; i < 6; ++i)
    EXPECT_NEAR(tv_table_get_data(marginal.get())[i], expected[i] / 21, 1e-6) << i;
  size_t states[2];
  EXPECT_EQ(tv_table_get_configuration_from_index(marginal.get(), states, 5), tv_status_none);
  EXPECT_EQ(states[0], 2u);
  EXPECT_EQ(states[1], 1u);
}

TEST_F(HostTable, OutlivesItsNodesAndItsDomain) {
  ASSERT_EQ(tv_node_delete(a), tv_status_none);
  expect_nodes_are_gone();
  tv_node_t* c = add_node(domain.get(), "C", 2);  // perhaps where A was
  for (tv_node_t* first : {b, c}) {
    tv_node_t* order[] = {first, first == b ? c : b, nullptr};
    EXPECT_EQ(tv_table_reorder_nodes(marginal.get(), order), tv_status_usage);
  }
  domain.reset();
  expect_nodes_are_gone();
  tv_node_t* none[] = {nullptr};
  EXPECT_EQ(tv_table_reorder_nodes(marginal.get(), none), tv_status_usage);
}

TEST_F(HostTable, IsForgottenOnceItIsDeleted) {
  tv_node_t* nodes[] = {b, nullptr};
  TableOwner second(tv_domain_get_marginal(domain.get(), nodes));
  TableOwner third(tv_domain_get_marginal(domain.get(), nodes));
  marginal.reset();
  second.reset();
  ASSERT_EQ(tv_node_delete(b), tv_status_none);
  EXPECT_EQ(tv_table_get_nodes(third.get()), nullptr);
}

TEST(HostTableWithValues, AnswersForTheNodesThatAreLeft) {
  DomainOwner domain = new_domain();
  tv_node_t* a = add_node(domain.get(), "A", 2, {}, {1, 3});
  tv_node_t *x = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous), *y = nullptr;
  tv_node_add_parent(x, a);
  y = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
  tv_node_add_parent(y, x);
  tv_node_set_intercept(x, 1, 5);
  tv_node_set_coefficient(y, x, 0, 2);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  tv_node_t* nodes[] = {a, x, y, nullptr};
  const TableOwner marginal(tv_domain_get_marginal(domain.get(), nodes));
  const TableOwner distribution(tv_node_get_distribution(y));
  const std::string before = describe(distribution.get());
  ASSERT_EQ(tv_node_delete(x), tv_status_none);
  EXPECT_EQ(describe(distribution.get()), before) << "it names A and Y alone";
  EXPECT_EQ(tv_table_get_mean(marginal.get(), 1, y), 10.0);
  EXPECT_EQ(tv_table_get_variance(marginal.get(), 1, y), 5.0);
  ASSERT_EQ(tv_node_delete(a), tv_status_none);
  EXPECT_EQ(tv_table_get_mean(marginal.get(), 1, y), 10.0);
  EXPECT_EQ(tv_table_compute_probability_of_interval(distribution.get(), y, -1e9, 1e9), 1.0);
  tv_node_t* order[] = {y, nullptr};
  EXPECT_EQ(tv_table_reorder_nodes(distribution.get(), order), tv_status_usage);
}

}  // namespace
}  // namespace test

// The distribution of a continuous node: setting and reading it, how it follows the graph, and arc reversal.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>

#include "support/cg_builders.h"
#include "support/cg_oracle.h"
#include "support/describe.h"

namespace test {
namespace {

using Numbers = std::vector<double>;

// Intercept, variance and coefficients of one configuration.
Numbers regression(tv_node_t* node, size_t configuration) {
  Numbers result{tv_node_get_intercept(node, configuration),
                 tv_node_get_conditional_variance(node, configuration)};
  for (tv_node_t** parent = tv_node_get_parents(node); *parent; ++parent)
    if (tv_node_get_kind(*parent) == tv_kind_continuous)
      result.push_back(tv_node_get_coefficient(node, *parent, configuration));
  return result;
}

TEST(Regressions, FollowTheParents) {
  DomainOwner domain = new_domain();
  tv_node_t* a = add_node(domain.get(), "A", 2);
  tv_node_t* b = add_node(domain.get(), "B", 3);
  tv_node_t* x = add_continuous(domain.get(), "X", 0, 1);
  tv_node_t* y = add_continuous(domain.get(), "Y", 0, 1);
  tv_node_t* fresh = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
  ASSERT_EQ(tv_node_add_parent(fresh, x), tv_status_none);
  EXPECT_EQ(regression(fresh, 0), (Numbers{0, 1, 0}));

  ASSERT_EQ(tv_node_add_parent(y, a), tv_status_none);
  set_regression(y, 0, 1, 2);
  set_regression(y, 1, 3, 4);
  ASSERT_EQ(tv_node_add_parent(y, x), tv_status_none);
  EXPECT_EQ(regression(y, 1), (Numbers{3, 4, 0}));
  ASSERT_EQ(tv_node_set_coefficient(y, x, 1, 5), tv_status_none);
  ASSERT_EQ(tv_node_add_parent(y, b), tv_status_none);  // the slowest from now on: everything thrice
  for (size_t state = 0; state < 3; ++state) {
    EXPECT_EQ(regression(y, 2 * state), (Numbers{1, 2, 0}));
    EXPECT_EQ(regression(y, 2 * state + 1), (Numbers{3, 4, 5}));
  }
  set_regression(y, 5, 9, 10, {11});
  tv_node_t* clone = tv_node_clone(y);
  DomainOwner copy(tv_domain_clone(domain.get()));
  tv_node_t* twin = tv_domain_get_node_by_name(copy.get(), "Y");
  EXPECT_EQ(regression(clone, 5), (Numbers{9, 10, 11}));
  EXPECT_EQ(regression(twin, 5), (Numbers{9, 10, 11}));

  ASSERT_EQ(tv_node_add_parent(y, fresh), tv_status_none);
  ASSERT_EQ(tv_node_set_coefficient(y, fresh, 5, 12), tv_status_none);
  ASSERT_EQ(tv_node_remove_parent(y, x), tv_status_none);
  EXPECT_EQ(regression(y, 5), (Numbers{9, 10, 12}));
  ASSERT_EQ(tv_node_remove_parent(y, b), tv_status_none);  // the mean over its states
  EXPECT_EQ(regression(y, 1), (Numbers{5, 6, 4}));
  ASSERT_EQ(tv_node_set_number_of_states(a, 3), tv_status_none);
  EXPECT_EQ(regression(y, 1), (Numbers{5, 6, 4}));
  EXPECT_EQ(regression(y, 2), (Numbers{0, 1, 0}));
  const size_t order[] = {2, 1, 0};
  ASSERT_EQ(tv_node_reorder_states(a, order), tv_status_none);
  EXPECT_EQ(regression(y, 0), (Numbers{0, 1, 0}));
  ASSERT_EQ(tv_node_delete(fresh), tv_status_none);
  EXPECT_EQ(regression(y, 1), (Numbers{5, 6}));
  EXPECT_EQ(regression(twin, 5), (Numbers{9, 10, 11}));
}

TEST(Regressions, StayReadableInAnotherTableOrder) {
  DomainOwner domain = new_domain();
  tv_node_t* x = add_continuous(domain.get(), "X", 0, 1);
  tv_node_t* y = add_continuous(domain.get(), "Y", 2, 3, {{x, 4}});
  tv_node_t* order[] = {x, y, nullptr};
  ASSERT_EQ(tv_table_reorder_nodes(tv_node_get_table(y), order), tv_status_none);
  EXPECT_EQ(regression(y, 0), (Numbers{2, 3, 4}));
  set_regression(y, 0, 5, 6, {7});
  EXPECT_EQ(CgOracle(domain.get()).answer().variance(1), 6 + 49);
  char* text = tv_domain_to_net_string(domain.get());
  const DomainOwner copy(tv_net_parse_domain(text, nullptr, nullptr));
  ASSERT_TRUE(copy) << text;
  EXPECT_EQ(regression(tv_domain_get_node_by_name(copy.get(), "Y"), 0), (Numbers{5, 6, 7})) << text;
  std::free(text);
  ASSERT_EQ(tv_node_reverse_edge(x, y), tv_status_none);
  EXPECT_EQ(regression(y, 0), (Numbers{5, 55}));
}

TEST(Regressions, RefuseWhatIsNoDistribution) {
  DomainOwner domain = new_domain();
  tv_node_t* a = add_node(domain.get(), "A", 2);
  tv_node_t* x = add_continuous(domain.get(), "X", 0, 1);
  tv_node_t* z = add_continuous(domain.get(), "Z", 0, 1);
  tv_node_t* y = add_continuous(domain.get(), "Y", 1, 2, {{x, 3}}, {a});
  const std::string before = describe(tv_node_get_table(y));
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (const double bad : {kInfinity, -kInfinity, std::nan("")}) {
    EXPECT_EQ(tv_node_set_intercept(y, 0, bad), tv_status_usage);
    EXPECT_EQ(tv_node_set_coefficient(y, x, 0, bad), tv_status_usage);
    EXPECT_EQ(tv_node_set_conditional_variance(y, 0, bad), tv_status_usage);
  }
  EXPECT_EQ(tv_node_set_conditional_variance(y, 0, -1e-300), tv_status_usage);
  for (tv_node_t* not_a_parent : {static_cast<tv_node_t*>(nullptr), a, z, y}) {
    EXPECT_EQ(tv_node_set_coefficient(y, not_a_parent, 0, 1), tv_status_usage);
    EXPECT_EQ(tv_node_get_coefficient(y, not_a_parent, 0), -1.0);
    EXPECT_EQ(tv_error_code(), tv_status_usage);
  }
  for (tv_node_t* not_continuous : {static_cast<tv_node_t*>(nullptr), a}) {
    EXPECT_EQ(tv_node_set_intercept(not_continuous, 0, 1), tv_status_usage);
    EXPECT_EQ(tv_node_get_conditional_variance(not_continuous, 0), -1.0);
    EXPECT_EQ(tv_error_code(), tv_status_usage);
  }
  EXPECT_EQ(tv_node_set_intercept(y, 2, 1), tv_status_usage);
  EXPECT_EQ(tv_node_get_intercept(y, 2), -1.0);
  EXPECT_EQ(tv_node_get_intercept(y, static_cast<size_t>(-1)), -1.0);
  EXPECT_EQ(describe(tv_node_get_table(y)), before);
  EXPECT_EQ(tv_table_get_mean(tv_node_get_table(y), 0, y), -1.0);  // conditional on X
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(tv_node_get_intercept(y, 1), 1.0);
  EXPECT_EQ(tv_error_code(), tv_status_none);
}

// What is written reads back as the same numbers to the eight digits that are written, and as the same text.
TEST(Regressions, SurviveWritingAndReading) {
  Generator random(21);
  for (int round = 0; round < 60 && !HasFailure(); ++round) {
    DomainOwner domain = random_cg_network(random, {8, 4, 3, 0.5, 0.2, 0.1, round % 3 * 8});
    char* text = tv_domain_to_net_string(domain.get());
    ASSERT_TRUE(text);
    const DomainOwner copy(tv_net_parse_domain(text, nullptr, nullptr));
    ASSERT_TRUE(copy) << text;
    char* again = tv_domain_to_net_string(copy.get());
    EXPECT_STREQ(text, again);
    for (tv_node_t* node : nodes_of(domain.get())) {
      if (tv_node_get_kind(node) != tv_kind_continuous) continue;
      tv_node_t* twin = tv_domain_get_node_by_name(copy.get(), tv_node_get_name(node));
      for (size_t i = 0; i < tv_table_get_size(tv_node_get_table(node)); ++i) {
        const Numbers expected = regression(node, i), found = regression(twin, i);
        ASSERT_EQ(found.size(), expected.size());
        for (size_t k = 0; k < found.size(); ++k)
          EXPECT_NEAR(found[k], expected[k], 1e-7 * std::fabs(expected[k])) << text;
      }
    }
    std::free(text);
    std::free(again);
  }
}

// ---- Arc reversal ----

// The first difference between two descriptions of the same joint distribution, in words.
std::string difference(const CgOracle::Answer& found, const CgOracle::Answer& expected) {
  if (found.components.size() != expected.components.size()) return "other configurations";
  for (size_t c = 0; c < found.components.size(); ++c) {
    const CgOracle::Component &a = found.components[c], &b = expected.components[c];
    for (size_t i = 0; i < a.mean.size(); ++i) {
      const auto scale = [&](size_t node) {
        return std::sqrt(static_cast<double>(b.covariance[node][node]));
      };
      if (std::fabs(static_cast<double>(a.mean[i] - b.mean[i])) >
          1e-12 * (scale(i) + std::fabs(static_cast<double>(b.mean[i])) + 1))
        return "mean of node " + std::to_string(i);
      for (size_t j = 0; j <= i; ++j)
        if (std::fabs(static_cast<double>(a.covariance[i][j] - b.covariance[i][j])) >
            1e-12 * scale(i) * scale(j))
          return "covariance of nodes " + std::to_string(i) + " and " + std::to_string(j);
    }
  }
  return "";
}

TEST(Reversal, KeepsTheJointDistributionOfContinuousNodes) {
  Generator random(11);
  int reversed = 0, cyclic = 0;
  for (int round = 0; round < 150; ++round) {
    CgShape shape{6, 3, 3, 0.5, 0.25, 0.0, round % 3 ? 0 : 12};
    DomainOwner domain = random_cg_network(random, shape);
    for (int step = 0; step < 6; ++step) {
      const CgOracle before(domain.get());
      tv_node_t* child = random.pick(before.nodes());
      std::vector<tv_node_t*> parents;
      for (tv_node_t** parent = tv_node_get_parents(child); *parent; ++parent)
        if (tv_node_get_kind(*parent) == tv_kind_continuous) parents.push_back(*parent);
      if (parents.empty()) continue;
      const auto expected = before.answer();
      const tv_status_t status = tv_node_reverse_edge(random.pick(parents), child);
      reversed += status == tv_status_none;
      cyclic += status == tv_status_cyclic_network;
      EXPECT_TRUE(status == tv_status_none || status == tv_status_cyclic_network);
      ASSERT_EQ(difference(CgOracle(domain.get()).answer(), expected), "") << round;
    }
  }
  EXPECT_GT(reversed, 150);
  EXPECT_GT(cyclic, 30);
}

TEST(Reversal, OfDeterministicAndExtremeRegressions) {
  DomainOwner domain = new_domain();
  tv_node_t* constant = add_continuous(domain.get(), "C", 2, 0);
  tv_node_t* twice = add_continuous(domain.get(), "T", 1, 0, {{constant, 2}});
  ASSERT_EQ(tv_node_reverse_edge(constant, twice), tv_status_none);
  EXPECT_EQ(regression(twice, 0), (Numbers{5, 0}));
  EXPECT_EQ(regression(constant, 0), (Numbers{2, 0, 0}));

  tv_node_t* x = add_continuous(domain.get(), "X", 3, 1e12);
  tv_node_t* y = add_continuous(domain.get(), "Y", 1, 0, {{x, 0.5}});  // X is known once Y is
  ASSERT_EQ(tv_node_reverse_edge(x, y), tv_status_none);
  EXPECT_EQ(regression(y, 0), (Numbers{2.5, 0.25e12}));
  EXPECT_EQ(regression(x, 0), (Numbers{-2, 0, 2}));
  ASSERT_EQ(tv_node_reverse_edge(x, y), tv_status_none);
  EXPECT_EQ(regression(y, 0), (Numbers{1, 0, 0.5}));
  EXPECT_EQ(regression(x, 0), (Numbers{3, 1e12}));

  tv_node_t* large = add_continuous(domain.get(), "L", 0, 1e200);
  tv_node_t* larger = add_continuous(domain.get(), "M", 0, 1, {{large, 1e100}});
  const std::string before = describe(domain.get());
  EXPECT_EQ(tv_node_reverse_edge(large, larger), tv_status_overflow);
  EXPECT_EQ(describe(domain.get()), before);
}

}  // namespace
}  // namespace test

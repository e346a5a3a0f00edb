// The most probable configurations, compared with enumeration.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "support/builders.h"
#include "support/cg_builders.h"
#include "support/oracle.h"

namespace {

using namespace test;

struct DeleteConfigurations {
  void operator()(tv_configurations_t* configurations) const { tv_configurations_delete(configurations); }
};
using ConfigurationsOwner = std::unique_ptr<tv_configurations_t, DeleteConfigurations>;

ConfigurationsOwner find(tv_domain_t* domain, size_t count) {
  return ConfigurationsOwner(tv_domain_find_configurations(domain, count));
}

ConfigurationsOwner find_of(tv_domain_t* domain, std::vector<tv_node_t*> nodes, size_t count,
                            double least = 0.0, size_t max_steps = 0) {
  nodes.push_back(nullptr);
  return ConfigurationsOwner(tv_domain_find_configurations_of(domain, nodes.data(), count, least, max_steps));
}

// A network with evidence that may be impossible.
DomainOwner random_case(Generator& random, Values values) {
  NetworkShape shape;
  shape.max_joint = 400;
  DomainOwner domain = random_network(random, values, shape);
  EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  for (tv_node_t* node : nodes_of(domain.get()))
    if (random.chance(0.3)) change_evidence(random, node, Findings::any);
  return domain;
}

// What is expected: by configuration of the nodes, how probable it is given the evidence.
struct Expected {
  Expected(tv_domain_t* domain, const std::vector<tv_node_t*>& nodes) {
    const Oracle oracle(domain);
    std::vector<size_t> positions;
    for (tv_node_t* node : nodes)
      positions.push_back(static_cast<size_t>(std::find(oracle.nodes().begin(), oracle.nodes().end(), node) -
                                              oracle.nodes().begin()));
    constant = oracle.constant(oracle.entered(), tv_equilibrium_sum);
    by_index = oracle.marginal(positions, oracle.entered(), tv_equilibrium_sum);
    if (constant > 0)
      for (Real& weight : by_index) weight /= constant;
    for (const Real weight : by_index)
      if (weight > 0) sorted.push_back(weight);
    std::sort(sorted.rbegin(), sorted.rend());
  }
  Real constant;
  Vector by_index;  // the last node varies fastest
  Vector sorted;    // the possible ones, the most probable one first
};

// Each configuration is possible, different, as probable as it says, and as probable as the one at its place.
void expect_best(tv_configurations_t* found, const std::vector<tv_node_t*>& nodes, const Expected& expected,
                 size_t count) {
  ASSERT_EQ(tv_configurations_get_number(found), count);
  std::map<size_t, int> seen;
  Real sum = 0;
  for (size_t i = 0; i < count; ++i) {
    size_t index = 0;
    for (tv_node_t* node : nodes)
      index = index * tv_node_get_number_of_states(node) +
              static_cast<size_t>(tv_configurations_get_state(found, i, node));
    EXPECT_EQ(++seen[index], 1);
    const double probability = tv_configurations_get_probability(found, i);
    EXPECT_NEAR(probability, static_cast<double>(expected.by_index[index]), 1e-6 * probability);
    EXPECT_NEAR(probability, static_cast<double>(expected.sorted[i]), 1e-6 * probability);
    EXPECT_LE(probability, i == 0 ? 1.0 : tv_configurations_get_probability(found, i - 1));
    sum += expected.sorted[i];
  }
  EXPECT_NEAR(tv_configurations_get_remaining_probability(found), static_cast<double>(1 - sum), 2e-6);
}

TEST(Configurations, BestOfAllNodes) {
  Generator random(17);
  size_t possible = 0;
  for (int round = 0; round < 400; ++round) {
    const DomainOwner domain = random_case(random, random.chance(0.5) ? Values::zeros : Values::positive);
    const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
    const Expected expected(domain.get(), nodes);
    const size_t count = 1 + random.below(random.chance(0.2) ? 500 : 20);
    const ConfigurationsOwner found = find(domain.get(), count);
    if (expected.constant == 0) {
      EXPECT_EQ(found, nullptr);
      EXPECT_EQ(tv_error_code(), tv_status_inconsistency_or_underflow);
      continue;
    }
    ++possible;
    ASSERT_NE(found, nullptr) << tv_error_message();
    expect_best(found.get(), nodes, expected, std::min(count, expected.sorted.size()));
    EXPECT_EQ(tv_configurations_is_complete(found.get()), 1);
  }
  EXPECT_GT(possible, 250u);
}

std::vector<tv_node_t*> some_of(Generator& random, const std::vector<tv_node_t*>& nodes) {
  std::vector<tv_node_t*> some;
  for (tv_node_t* node : nodes)
    if (random.chance(0.5)) some.push_back(node);
  if (some.empty()) some.push_back(nodes.front());
  std::reverse(some.begin(), some.end());
  return some;
}

TEST(Configurations, BestOfSomeNodes) {
  Generator random(18);
  for (int round = 0; round < 400; ++round) {
    const DomainOwner domain = random_case(random, random.chance(0.5) ? Values::zeros : Values::positive);
    const std::vector<tv_node_t*> nodes = some_of(random, nodes_of(domain.get()));
    const Expected expected(domain.get(), nodes);
    if (expected.constant == 0) {
      EXPECT_EQ(find_of(domain.get(), nodes, 5), nullptr);
      EXPECT_EQ(tv_error_code(), tv_status_inconsistency_or_underflow);
      continue;
    }
    const size_t count = 1 + random.below(12);
    const double least = random.chance(0.5) ? 0.0 : 0.3 * random.uniform();
    const ConfigurationsOwner found = find_of(domain.get(), nodes, count, least);
    ASSERT_NE(found, nullptr) << tv_error_message();
    const auto probable =
        static_cast<size_t>(std::count_if(expected.sorted.begin(), expected.sorted.end(),
                                          [&](Real weight) { return static_cast<double>(weight) >= least; }));
    expect_best(found.get(), nodes, expected, std::min(count, probable));
    EXPECT_EQ(tv_configurations_is_complete(found.get()), 1);
    const Real next = count < probable ? expected.sorted[count] : 0;
    EXPECT_GE(tv_configurations_get_bound(found.get()) * 1.000001, static_cast<double>(next));
  }
}

// What a limit on the work leaves out is no more probable than the bound.
TEST(Configurations, BoundWhereTheWorkIsLimited) {
  Generator random(19);
  size_t incomplete = 0;
  for (int round = 0; round < 200; ++round) {
    const DomainOwner domain = random_case(random, Values::positive);
    const std::vector<tv_node_t*> nodes = some_of(random, nodes_of(domain.get()));
    const Expected expected(domain.get(), nodes);
    if (expected.constant == 0) continue;
    const ConfigurationsOwner found = find_of(domain.get(), nodes, 3, 0.0, 1 + random.below(6));
    ASSERT_NE(found, nullptr);
    if (tv_configurations_is_complete(found.get())) continue;
    ++incomplete;
    Vector missing = expected.sorted;
    for (size_t i = 0; i < tv_configurations_get_number(found.get()); ++i) {
      const double probability = tv_configurations_get_probability(found.get(), i);
      const auto same = std::find_if(missing.begin(), missing.end(), [&](Real weight) {
        return std::abs(static_cast<double>(weight) - probability) < 1e-6 * probability;
      });
      ASSERT_NE(same, missing.end());
      missing.erase(same);
    }
    const Real next = missing.empty() ? 0 : missing.front();
    EXPECT_GE(tv_configurations_get_bound(found.get()) * 1.000001, static_cast<double>(next));
  }
  EXPECT_GT(incomplete, 50u);
}

// Two classes that are told apart by a measured value.
TEST(Configurations, ContinuousNodesAreIntegratedOut) {
  const DomainOwner domain = new_domain();
  tv_node_t* fault = add_node(domain.get(), "fault", 3, {}, {0.7f, 0.2f, 0.1f});
  tv_node_t* alarm = add_node(domain.get(), "alarm", 2, {fault}, {0.9f, 0.1f, 0.4f, 0.6f, 0.2f, 0.8f});
  tv_node_t* heat = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
  ASSERT_EQ(tv_node_add_parent(heat, fault), tv_status_none);
  const double means[] = {20, 25, 40};
  for (size_t s = 0; s < 3; ++s) {
    tv_node_set_intercept(heat, s, means[s]);
    tv_node_set_conditional_variance(heat, s, 4);
  }
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  ASSERT_EQ(tv_node_enter_value(heat, 24), tv_status_none);
  EXPECT_EQ(find(domain.get(), 2), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  tv_node_enter_finding(alarm, 0, 0.25f);
  const ConfigurationsOwner found = find_of(domain.get(), {alarm, fault}, 10);
  ASSERT_NE(found, nullptr) << tv_error_message();
  ASSERT_EQ(tv_configurations_get_number(found.get()), 6u);
  const double prior[] = {0.7, 0.2, 0.1}, of_alarm[][2] = {{0.9, 0.1}, {0.4, 0.6}, {0.2, 0.8}};
  double weights[3][2], sum = 0;
  for (size_t f = 0; f < 3; ++f)
    for (size_t a = 0; a < 2; ++a)
      sum += weights[f][a] =
          (a == 0 ? 0.25 : 1) * prior[f] * of_alarm[f][a] * std::exp(-(24 - means[f]) * (24 - means[f]) / 8);
  for (size_t i = 0; i < 6; ++i) {
    const auto f = static_cast<size_t>(tv_configurations_get_state(found.get(), i, fault));
    const auto a = static_cast<size_t>(tv_configurations_get_state(found.get(), i, alarm));
    const double expected = weights[f][a] / sum;
    EXPECT_NEAR(tv_configurations_get_probability(found.get(), i), expected, 1e-5 * expected);
  }
  EXPECT_EQ(tv_configurations_get_state(found.get(), 0, fault), 1);
  EXPECT_EQ(tv_configurations_get_state(found.get(), 0, heat), -1);
}

// In a long chain of nodes the trees are deep, and the probabilities too small for a double.
TEST(Configurations, LongChains) {
  const DomainOwner domain = new_domain();
  tv_node_t* before = add_node(domain.get(), nullptr, 2, {}, {0.6f, 0.4f});
  constexpr size_t kLength = 20000;
  for (size_t i = 1; i < kLength; ++i)
    before = add_node(domain.get(), nullptr, 2, {before}, {0.9f, 0.1f, 0.1f, 0.9f});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const ConfigurationsOwner found = find(domain.get(), 4);
  ASSERT_NE(found, nullptr) << tv_error_message();
  const double changes = static_cast<double>(kLength - 1);
  EXPECT_NEAR(tv_configurations_get_log_probability(found.get(), 0), std::log(0.6) + changes * std::log(0.9),
              1e-2);
  EXPECT_EQ(tv_configurations_get_state(found.get(), 0, before), 0);
  EXPECT_NEAR(tv_configurations_get_log_probability(found.get(), 1) -
                  tv_configurations_get_log_probability(found.get(), 0),
              std::log(0.4 / 0.6), 1e-5);
  EXPECT_EQ(tv_configurations_get_state(found.get(), 1, before), 1);
  EXPECT_NEAR(tv_configurations_get_log_probability(found.get(), 2) -
                  tv_configurations_get_log_probability(found.get(), 0),
              std::log(0.1 / 0.9), 1e-5);
}

TEST(Configurations, Refusals) {
  const DomainOwner domain = new_domain(), other = new_domain();
  tv_node_t* a = add_node(domain.get(), "a", 2, {}, {0.5f, 0.5f});
  tv_node_t* stranger = add_node(other.get(), "b", 2);
  EXPECT_EQ(find(domain.get(), 2), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_not_compiled);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const auto code = [&](std::vector<tv_node_t*> nodes, size_t count, double least) {
    EXPECT_EQ(find_of(domain.get(), std::move(nodes), count, least), nullptr);
    return tv_error_code();
  };
  EXPECT_EQ(find(domain.get(), 0), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(code({a}, 0, 0), tv_status_usage);
  EXPECT_EQ(code({a}, 1, 1.5), tv_status_usage);
  EXPECT_EQ(code({a}, 1, std::nan("")), tv_status_usage);
  EXPECT_EQ(code({}, 1, 0), tv_status_usage);
  EXPECT_EQ(code({stranger}, 1, 0), tv_status_usage);
  EXPECT_EQ(code({a, a}, 1, 0), tv_status_twice);
  EXPECT_EQ(tv_node_touch_table(a), tv_status_none);
  EXPECT_EQ(code({a}, 1, 0), tv_status_no_equilibrium);
}

// Asking leaves what is entered and propagated as it was, and can be stopped.
TEST(Configurations, LeaveTheDomainAlone) {
  Generator random(20);
  const DomainOwner domain = random_network(random, Values::positive, {.max_nodes = 8, .max_joint = 2000});
  const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  tv_node_select_state(nodes.front(), 0);
  ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  const float belief = tv_node_get_belief(nodes.back(), 0);
  ASSERT_NE(find_of(domain.get(), nodes, 5), nullptr);
  EXPECT_EQ(tv_domain_equilibrium_is(domain.get(), tv_equilibrium_sum), 1);
  EXPECT_EQ(tv_domain_evidence_to_propagate(domain.get()), 0);
  EXPECT_EQ(tv_node_get_belief(nodes.back(), 0), belief);
  tv_domain_set_progress_handler(
      domain.get(), [](const char*, double, void*) { return 1; }, nullptr);
  EXPECT_EQ(find(domain.get(), 5), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_error);
  EXPECT_EQ(find_of(domain.get(), nodes, 5), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_error);
}

}  // namespace

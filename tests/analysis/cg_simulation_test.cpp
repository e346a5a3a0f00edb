// Draws from networks with continuous nodes against their distribution by definition.

#include <tarvo.h>

#include "analysis/fit.h"
#include "support/cg_builders.h"
#include "support/cg_oracle.h"
#include "support/sparse.h"

namespace test {
namespace {

struct Draws {
  std::vector<std::vector<size_t>> states;  // by case
  std::vector<std::vector<double>> values;
};

Draws draw(tv_domain_t* domain, size_t count) {
  tv_domain_set_number_of_cases(domain, 0);
  EXPECT_EQ(tv_domain_simulate_cases(domain, count, 0), tv_status_none) << tv_error_message();
  Draws draws;
  for (size_t i = 0; i < count; ++i) {
    draws.states.emplace_back();
    draws.values.emplace_back();
    for (const tv_node_t* node : nodes_of(domain)) {
      const bool is_continuous = tv_node_get_kind(node) == tv_kind_continuous;
      draws.states.back().push_back(is_continuous ? 0 : tv_node_get_case_state(node, i));
      draws.values.back().push_back(is_continuous ? tv_node_get_case_value(node, i) : 0.0);
    }
  }
  return draws;
}

// Configurations come as often as they should, and in each of them a random combination of the values is a
// normal deviate, as large as it should be.
void expect_fit(Generator& random, tv_domain_t* domain, const CgOracle& oracle, size_t count) {
  const CgOracle::Answer answer = oracle.answer();
  ASSERT_EQ(answer.status, tv_status_none);
  const Draws draws = draw(domain, count);
  const size_t nodes = oracle.nodes().size();
  std::vector<double> counts(answer.components.size(), 0.0), weights, deviates;
  for (const CgOracle::Component& component : answer.components)
    weights.push_back(static_cast<double>(component.weight));
  for (size_t i = 0; i < count; ++i) {
    size_t c = 0;
    const auto agrees = [&](const CgOracle::Component& component) {
      for (size_t v = 0; v < nodes; ++v)
        if (tv_node_get_kind(oracle.nodes()[v]) == tv_kind_discrete &&
            component.states[v] != draws.states[i][v])
          return false;
      return true;
    };
    while (c < answer.components.size() && !agrees(answer.components[c])) ++c;
    ASSERT_LT(c, answer.components.size()) << "an impossible configuration";
    ++counts[c];
    Quad difference = 0, variance = 0, scale = 0;
    std::vector<Quad> combination(nodes, 0);
    for (size_t v = 0; v < nodes; ++v) {
      if (tv_node_get_kind(oracle.nodes()[v]) != tv_kind_continuous) continue;
      combination[v] = 2 * random.uniform() - 1;
      difference += combination[v] * (Quad(draws.values[i][v]) - answer.components[c].mean[v]);
      const Quad mean = answer.components[c].mean[v];
      scale += mean > 0 ? mean : -mean;
    }
    for (size_t v = 0; v < nodes; ++v)
      for (size_t w = 0; w < nodes; ++w)
        if (combination[v] != 0 && combination[w] != 0)
          variance += combination[v] * combination[w] * answer.components[c].covariance[v][w];
    const double deviation = std::sqrt(std::max(0.0, static_cast<double>(variance)));
    if (deviation > 1e-6 * (1 + static_cast<double>(scale)))
      deviates.push_back(static_cast<double>(difference) / deviation);
    else
      ASSERT_NEAR(static_cast<double>(difference), 0.0, 1e-5 * (1 + static_cast<double>(scale)));
  }
  EXPECT_LT(chi_square_excess(counts, weights), 5.0);
  EXPECT_LT(kolmogorov(deviates), 2.1);
}

TEST(CgSimulation, FollowsTheJointDistributionGivenTheEvidence) {
  Generator random(21);
  int possible = 0, with_values = 0;
  for (int round = 0; round < 120; ++round) {
    SCOPED_TRACE(round);
    CgShape shape;
    shape.max_discrete = 4;
    shape.max_continuous = 5;
    const DomainOwner domain = random_cg_network(random, shape);
    const CgOracle oracle(domain.get());
    if (round % 4 == 0) expect_fit(random, domain.get(), oracle, 1500);  // not compiled
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none) << tv_error_message();
    const std::vector<double> known = draw_case(random, domain.get());
    bool any_value = false;
    for (size_t v = 0; v < known.size(); ++v) {
      if (!random.chance(0.35)) continue;
      tv_node_t* node = oracle.nodes()[v];
      if (tv_node_get_kind(node) == tv_kind_continuous) {
        tv_node_enter_value(node, known[v]);
        any_value = true;
      } else if (random.chance(0.7)) {
        tv_node_select_state(node, static_cast<size_t>(known[v]));
      } else {
        change_evidence(random, node, Findings::positive);
      }
    }
    if (propagate(domain.get()) || oracle.answer().status) continue;
    ++possible;
    with_values += any_value;
    expect_fit(random, domain.get(), oracle, 1500);
  }
  EXPECT_GT(possible, 80);
  EXPECT_GT(with_values, 50);
}

// Two modes far apart, which weak marginals would join into one; and again after other evidence.
TEST(CgSimulation, KeepsTheModesApart) {
  const DomainOwner domain = new_domain();
  tv_node_t* side = add_node(domain.get(), "side", 2, {}, {0.5f, 0.5f});
  tv_node_t* x = add_continuous(domain.get(), "x", 0, 1, {}, {side});
  set_regression(x, 0, -100, 1);
  set_regression(x, 1, 100, 1);
  tv_node_t* y = add_continuous(domain.get(), "y", 0, 1e4, {{x, 1.0}});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  for (const double value : {0.0, 30.0}) {
    tv_node_enter_value(y, value);
    ASSERT_EQ(propagate(domain.get()), tv_status_none);
    size_t right = 0;
    for (int i = 0; i < 4000; ++i) {
      ASSERT_EQ(tv_domain_simulate(domain.get()), tv_status_none);
      const double drawn = tv_node_get_sampled_value(x);
      ASSERT_GT(std::abs(drawn), 90);
      ASSERT_EQ(drawn > 0, tv_node_get_sampled_state(side) == 1);
      ASSERT_EQ(tv_node_get_sampled_value(y), value);
      right += drawn > 0;
    }
    EXPECT_NEAR(static_cast<double>(right) / 4000, tv_node_get_belief(side, 1), 0.03);
  }
}

}  // namespace
}  // namespace test

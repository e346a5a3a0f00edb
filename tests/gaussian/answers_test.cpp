// Propagation in networks with continuous nodes against the oracle, on random networks with evidence of every
// kind entered and taken back piece by piece.
#include <gtest/gtest.h>

#include <cmath>

#include "support/cg_builders.h"
#include "support/cg_oracle.h"

namespace test {
namespace {

bool is_continuous(const tv_node_t* node) { return tv_node_get_kind(node) == tv_kind_continuous; }

tv_status_t propagate(tv_domain_t* domain) {
  return tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal);
}

// The same by one of the other ways: tree by tree, or one tree with a clique of it as the root first.
tv_status_t propagate_somehow(Generator& random, tv_domain_t* domain) {
  const double way = random.uniform();
  if (way < 0.15) {
    for (tv_junction_tree_t* tree = tv_domain_get_first_junction_tree(domain); tree;
         tree = tv_jt_get_next(tree))
      if (tv_status_t status = tv_jt_propagate(tree, tv_equilibrium_sum, tv_evidence_normal)) return status;
    return tv_status_none;
  }
  if (way < 0.3) {
    tv_clique_t* clique = tv_domain_get_first_clique(domain);
    for (size_t skip = random.below(tv_domain_get_number_of_cliques(domain)); skip > 0; --skip)
      clique = tv_clique_get_next(clique);
    if (tv_status_t status = tv_clique_propagate(clique, tv_equilibrium_sum, tv_evidence_normal))
      return status;
  }
  return propagate(domain);
}

// Changes the evidence of one node. Values and states come from a case that the network may produce, so that
// they go together; likelihoods are arbitrary.
void change_one(Generator& random, tv_domain_t* domain, const std::vector<double>& drawn) {
  const std::vector<tv_node_t*> nodes = nodes_of(domain);
  const size_t i = random.below(nodes.size());
  if (random.chance(0.25)) {
    tv_node_retract_findings(nodes[i]);
  } else if (is_continuous(nodes[i])) {
    tv_node_enter_value(nodes[i], drawn[i] + (random.chance(0.3) ? normal_deviate(random) : 0));
  } else if (random.chance(0.4)) {
    tv_node_select_state(nodes[i], static_cast<size_t>(drawn[i]));
  } else {
    change_evidence(random, nodes[i], Findings::any);
  }
}

// Whether the discrete nodes are in one known configuration, so that no number in single precision counts.
bool is_one_configuration(const CgOracle::Answer& answer) { return answer.components.size() == 1; }

struct Counts {
  int right = 0, zero_variance = 0, inconsistent = 0, faint = 0;
};

// Propagates what is entered and compares. Below e^-60 the library may give up.
void expect_right_answers(Generator& random, tv_domain_t* domain, Counts& counts) {
  const CgOracle oracle(domain);
  const CgOracle::Answer expected = oracle.answer();
  const tv_status_t status = propagate_somehow(random, domain);
  if (!expected.status && expected.log_constant < -60) {
    ++counts.faint;
    EXPECT_TRUE(status == tv_status_none || status == tv_status_low_density ||
                status == tv_status_inconsistency_or_underflow)
        << tv_error_name(static_cast<unsigned>(status));
    return;
  }
  // In several trees several things may be wrong at once, and the first one is told.
  if (expected.status == tv_status_inconsistency_or_underflow && status == tv_status_zero_variance) return;
  ASSERT_STREQ(tv_error_name(static_cast<unsigned>(status)),
               tv_error_name(static_cast<unsigned>(expected.status)))
      << "log constant " << static_cast<double>(expected.log_constant);
  counts.zero_variance += status == tv_status_zero_variance;
  counts.inconsistent += status == tv_status_inconsistency_or_underflow;
  if (status) return;
  ++counts.right;
  ASSERT_EQ(wrong_cg_answer(domain, is_one_configuration(expected) ? CgBounds{} : kMixtureBounds), "");
}

std::string evidence_text(tv_domain_t* domain) {
  std::string text;
  for (tv_node_t* node : nodes_of(domain)) {
    if (tv_node_evidence_is_entered(node) != 1) continue;
    text += std::string(" ") + tv_node_get_name(node) + "=";
    if (is_continuous(node))
      text += std::to_string(tv_node_get_entered_value(node));
    else
      for (size_t s = 0; s < tv_node_get_number_of_states(node); ++s)
        text += std::to_string(tv_node_get_entered_finding(node, s)) + ",";
  }
  return text;
}

void walk(uint64_t seed, const CgShape& shape, int rounds, Counts& counts) {
  for (int round = 0; round < rounds && !testing::Test::HasFailure(); ++round) {
    Generator random(seed + static_cast<uint64_t>(round));
    DomainOwner domain = random_cg_network(random, shape);
    const std::vector<double> drawn = draw_case(random, domain.get());
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none) << "seed " << seed << " + " << round;
    if (random.chance(0.15)) tv_domain_save_to_memory(domain.get());
    for (int step = 0; step < 7 && !testing::Test::HasFailure(); ++step) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << " + " << round << ", step " << step
                                      << ", evidence" << evidence_text(domain.get()));
      expect_right_answers(random, domain.get(), counts);
      for (size_t change = 1 + random.below(3); change > 0; --change) change_one(random, domain.get(), drawn);
      if (random.chance(0.1)) tv_domain_reset_inference_engine(domain.get());
      if (random.chance(0.05)) tv_domain_initialize(domain.get());
      if (random.chance(0.1)) {  // the regressions change under a compiled domain
        tv_node_t* node = random.pick(nodes_of(domain.get()));
        if (is_continuous(node)) set_random_regressions(random, node, shape);
      }
    }
  }
}

TEST(Answers, AreRightInMixedNetworks) {
  Counts counts;
  walk(1000, {}, 120, counts);
  walk(2000, {5, 4, 3, 0.7, 0.1, 0.1, 0}, 120, counts);
  EXPECT_GT(counts.right, 700);
  EXPECT_GT(counts.zero_variance, 20);
  EXPECT_GT(counts.inconsistent, 5);
}

TEST(Answers, AreExactInNetworksOfContinuousNodesAlone) {
  Counts counts;
  walk(3000, {8, 0, 2, 0.4, 0.15, 0, 0}, 120, counts);
  walk(4000, {8, 0, 2, 0.6, 0.0, 0, 3}, 60, counts);
  EXPECT_GT(counts.right, 700);
}

// ---- Joint distributions and mixtures ----

struct MixedWorld {
  explicit MixedWorld(uint64_t seed) : random(seed) {
    for (;;) {
      domain = random_cg_network(random, {6, 4, 3, 0.5, 0.1, 0.1, 0});
      const std::vector<double> drawn = draw_case(random, domain.get());
      tv_domain_compile(domain.get());
      for (int change = 0; change < 2; ++change) change_one(random, domain.get(), drawn);
      answer = CgOracle(domain.get()).answer();
      if (!answer.status && answer.log_constant > -60) break;
    }
    EXPECT_EQ(propagate(domain.get()), tv_status_none);
    nodes = nodes_of(domain.get());
  }
  size_t index(const tv_node_t* node) const {
    return static_cast<size_t>(std::find(nodes.begin(), nodes.end(), node) - nodes.begin());
  }

  Generator random;
  DomainOwner domain;
  CgOracle::Answer answer;
  std::vector<tv_node_t*> nodes;
};

// The joint distribution by definition, for one configuration of the table's discrete nodes.
struct Moments {
  double weight = 0;
  std::vector<double> mean;
  std::vector<std::vector<double>> covariance;
};

Moments moments(const MixedWorld& world, const std::vector<size_t>& discrete,
                const std::vector<size_t>& states, const std::vector<size_t>& continuous) {
  const size_t n = continuous.size();
  Quad weight = 0;
  QuadVector mean(n, 0);
  QuadMatrix covariance(n, QuadVector(n, 0));
  const auto each = [&](auto visit) {
    for (const CgOracle::Component& component : world.answer.components) {
      bool fits = true;
      for (size_t i = 0; i < discrete.size(); ++i) fits &= component.states[discrete[i]] == states[i];
      if (fits) visit(component);
    }
  };
  each([&](const CgOracle::Component& component) { weight += component.weight; });
  if (weight > 0) {
    each([&](const CgOracle::Component& component) {
      for (size_t i = 0; i < n; ++i) mean[i] += component.weight / weight * component.mean[continuous[i]];
    });
    each([&](const CgOracle::Component& component) {
      for (size_t i = 0; i < n; ++i)
        for (size_t j = 0; j < n; ++j)
          covariance[i][j] +=
              component.weight / weight *
              (component.covariance[continuous[i]][continuous[j]] +
               (component.mean[continuous[i]] - mean[i]) * (component.mean[continuous[j]] - mean[j]));
    });
  }
  Moments result{static_cast<double>(weight), {}, std::vector<std::vector<double>>(n)};
  for (size_t i = 0; i < n; ++i) {
    result.mean.push_back(static_cast<double>(mean[i]));
    for (size_t j = 0; j < n; ++j) result.covariance[i].push_back(static_cast<double>(covariance[i][j]));
  }
  return result;
}

// The table says what the oracle says of its nodes.
void expect_joint_distribution(const MixedWorld& world, tv_table_t* table) {
  std::vector<size_t> discrete, continuous;
  for (tv_node_t** member = tv_table_get_nodes(table); *member; ++member)
    (is_continuous(*member) ? continuous : discrete).push_back(world.index(*member));
  std::vector<size_t> states(discrete.size() + 1);
  for (size_t c = 0; c < tv_table_get_size(table); ++c) {
    tv_table_get_configuration_from_index(table, states.data(), c);
    const Moments expected = moments(world, discrete, states, continuous);
    ASSERT_NEAR(tv_table_get_data(table)[c], expected.weight, 1e-5);
    if (expected.weight < 1e-4) continue;
    for (size_t i = 0; i < continuous.size(); ++i) {
      tv_node_t* node = world.nodes[continuous[i]];
      const double deviation = std::sqrt(std::max(0.0, expected.covariance[i][i]));
      const double size = 1e-5 * (deviation + 0.1 * std::fabs(expected.mean[i]));
      ASSERT_NEAR(tv_table_get_mean(table, c, node), expected.mean[i], size);
      ASSERT_GE(tv_table_get_variance(table, c, node), 0.0);
      for (size_t j = 0; j <= i; ++j) {
        const double other = std::sqrt(std::max(0.0, expected.covariance[j][j]));
        ASSERT_NEAR(tv_table_get_covariance(table, c, node, world.nodes[continuous[j]]),
                    expected.covariance[i][j], 1e-4 * deviation * other + 1e-9)
            << tv_node_get_name(node) << " " << tv_node_get_name(world.nodes[continuous[j]]);
      }
    }
  }
}

TEST(Answers, JointDistributionsOfAnyNodesAndOfCliques) {
  for (uint64_t seed = 1; seed <= 60 && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    MixedWorld world(seed);
    for (int round = 0; round < 4; ++round) {
      std::vector<tv_node_t*> asked;
      for (tv_node_t* node : world.nodes)
        if (world.random.chance(0.4)) asked.push_back(node);
      if (asked.empty()) continue;
      asked.push_back(nullptr);
      TableOwner table(tv_domain_get_marginal(world.domain.get(), asked.data()));
      ASSERT_TRUE(table) << tv_error_name(static_cast<unsigned>(tv_error_code()));
      EXPECT_EQ(count_nodes(tv_table_get_nodes(table.get())), asked.size() - 1);
      expect_joint_distribution(world, table.get());
    }
    for (tv_clique_t* clique = tv_domain_get_first_clique(world.domain.get()); clique;
         clique = tv_clique_get_next(clique))
      expect_joint_distribution(world, tv_clique_get_probability_table(clique));
  }
}

double density(const CgOracle::Answer& answer, size_t node, double value) {
  double sum = 0;
  for (const CgOracle::Component& component : answer.components) {
    const double variance = static_cast<double>(component.covariance[node][node]);
    const double deviation = value - static_cast<double>(component.mean[node]);
    sum += static_cast<double>(component.weight) * std::exp(-deviation * deviation / variance / 2) /
           std::sqrt(6.283185307179586 * variance);
  }
  return sum;
}

bool has_spread_everywhere(const CgOracle::Answer& answer, size_t node) {
  for (const CgOracle::Component& component : answer.components)
    if (!(component.covariance[node][node] > 1e-20)) return false;
  return true;
}

TEST(Answers, MixturesQuantilesDensitiesAndIntervals) {
  int mixtures = 0;
  for (uint64_t seed = 1; seed <= 60 && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    MixedWorld world(seed);
    for (tv_node_t* node : world.nodes) {
      if (!is_continuous(node)) continue;
      const size_t i = world.index(node);
      SCOPED_TRACE(tv_node_get_name(node));
      const double mean = world.answer.mean(i), deviation = std::sqrt(world.answer.variance(i));
      tv_table_t* table = tv_node_get_distribution(node);
      ASSERT_TRUE(table) << tv_error_name(static_cast<unsigned>(tv_error_code()));
      TableOwner owner(table);
      double weight = 0, first = 0, second = 0;
      for (size_t c = 0; c < tv_table_get_size(table); ++c) {
        const double share = static_cast<double>(tv_table_get_data(table)[c]);
        if (share == 0) continue;
        const double m = tv_table_get_mean(table, c, node), v = tv_table_get_variance(table, c, node);
        ASSERT_GE(v, 0.0);
        weight += share;
        first += share * m;
        second += share * (v + (m - mean) * (m - mean));
      }
      EXPECT_NEAR(weight, 1.0, 1e-5);
      EXPECT_NEAR(first, mean, 1e-5 * deviation + 2e-6 * std::fabs(mean));
      EXPECT_NEAR(second, deviation * deviation, 1e-4 * deviation * deviation + 1e-9);
      if (!has_spread_everywhere(world.answer, i)) {
        if (deviation == 0) {
          EXPECT_NEAR(tv_node_get_quantile(node, 0.5), mean, 1e-9 * (1 + std::fabs(mean)));
        }
        continue;
      }
      ++mixtures;
      for (const double p : {1e-6, 0.05, 0.3, 0.5, 0.95, 0.999}) {
        const double quantile = tv_node_get_quantile(node, p);
        EXPECT_NEAR(world.answer.cumulative(i, quantile), p, 2e-6 + 1e-5 * p) << p;
      }
      for (const double step : {-2.0, -0.5, 0.0, 1.0, 3.0}) {
        const double value = mean + step * deviation, expected = density(world.answer, i, value);
        EXPECT_NEAR(tv_table_compute_density(table, node, value), expected,
                    1e-4 * expected + 1e-5 / deviation);
        EXPECT_NEAR(tv_table_compute_probability_of_interval(table, node, mean - 2 * deviation, value),
                    world.answer.cumulative(i, value) - world.answer.cumulative(i, mean - 2 * deviation),
                    2e-5)
            << step;
      }
    }
  }
  EXPECT_GT(mixtures, 100);
}

}  // namespace
}  // namespace test

// Values of continuous nodes as evidence, and what can be asked afterwards: small networks whose answers can
// be written down, and what becomes of the domain when evidence is refused.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "support/cg_builders.h"
#include "support/cg_oracle.h"
#include "support/describe.h"
#include "tables/table.h"

namespace test {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

tv_status_t propagate(const DomainOwner& domain) {
  return tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal);
}

double normal_density(double x, double mean, double variance) {
  return std::exp(-(x - mean) * (x - mean) / (2 * variance)) / std::sqrt(2 * M_PI * variance);
}
double normal_cumulative(double z) { return 0.5 * std::erfc(-z / std::sqrt(2.0)); }

// A class, a feature of it with one mean for each state, and a reading of the feature.
struct Classifier {
  DomainOwner domain = new_domain();
  tv_node_t* kind = add_node(domain.get(), "kind", 3, {}, {0.5f, 0.25f, 0.25f});
  tv_node_t* feature = add_continuous(domain.get(), "feature", 0, 1, {}, {kind});
  tv_node_t* reading = add_continuous(domain.get(), "reading", 1, 0.25, {{feature, 2}});
  tv_node_t* flag = add_node(domain.get(), "flag", 2, {kind}, {0.9f, 0.1f, 0.5f, 0.5f, 0, 1});

  Classifier() {
    for (size_t k = 0; k < 3; ++k) set_regression(feature, k, mean(k), variance(k));
    EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  }
  static double mean(size_t k) { return 3.0 * static_cast<double>(k); }
  static double variance(size_t k) { return 1.0 + static_cast<double>(k); }
  static double prior(size_t k) { return k == 0 ? 0.5 : 0.25; }
};

TEST(Values, WeighTheClassesByTheirDensities) {
  const Classifier world;
  EXPECT_EQ(tv_domain_get_normalization_constant(world.domain.get()), 1);
  EXPECT_EQ(tv_domain_get_log_normalization_constant(world.domain.get()), 0);
  EXPECT_NEAR(tv_node_get_mean(world.feature), 0.25 * 3 + 0.25 * 6, 1e-6);
  tv_node_enter_value(world.reading, 8);
  ASSERT_EQ(propagate(world.domain), tv_status_none);
  double weights[3], total = 0, mean = 0;
  for (size_t k = 0; k < 3; ++k) {
    weights[k] = world.prior(k) * normal_density(8, 1 + 2 * world.mean(k), 0.25 + 4 * world.variance(k));
    total += weights[k];
  }
  for (size_t k = 0; k < 3; ++k) {
    EXPECT_NEAR(tv_node_get_belief(world.kind, k), weights[k] / total, 1e-6);
    const double precision = 1 / world.variance(k) + 4 / 0.25;
    mean += weights[k] / total * (world.mean(k) / world.variance(k) + 2 * 7 / 0.25) / precision;
  }
  EXPECT_NEAR(tv_node_get_mean(world.feature), mean, 1e-6);
  EXPECT_NEAR(tv_domain_get_normalization_constant(world.domain.get()), total, 1e-6 * total);
  EXPECT_NEAR(tv_domain_get_log_normalization_constant(world.domain.get()), std::log(total), 1e-6);
  EXPECT_EQ(tv_node_get_mean(world.reading), 8);
  EXPECT_EQ(tv_node_get_variance(world.reading), 0);
  EXPECT_EQ(tv_domain_cg_evidence_is_propagated(world.domain.get()), 1);
  EXPECT_EQ(tv_node_get_propagated_value(world.reading), 8);
  EXPECT_EQ(tv_domain_get_conflict(world.domain.get()), -1);
  EXPECT_EQ(tv_error_code(), tv_status_cg_evidence_incorporated);
}

TEST(Values, AreForgottenWhenTheyAreTakenBack) {
  const Classifier world;
  const std::string before = describe(world.domain.get());
  tv_node_enter_value(world.feature, 2);
  tv_node_select_state(world.flag, 1);
  ASSERT_EQ(propagate(world.domain), tv_status_none);
  tv_node_enter_value(world.feature, 5);
  ASSERT_EQ(propagate(world.domain), tv_status_none);
  EXPECT_EQ(tv_node_get_mean(world.feature), 5);
  EXPECT_EQ(wrong_cg_answer(world.domain.get(), kMixtureBounds), "");
  tv_domain_retract_findings(world.domain.get());
  ASSERT_EQ(propagate(world.domain), tv_status_none);
  EXPECT_EQ(describe(world.domain.get()), before);
}

TEST(Values, MeetTheCopyOfInitialTables) {
  const Classifier world;
  const double mean = tv_node_get_mean(world.reading);
  ASSERT_EQ(tv_domain_save_to_memory(world.domain.get()), tv_status_none);
  tv_node_enter_value(world.feature, 2);
  ASSERT_EQ(propagate(world.domain), tv_status_none);
  ASSERT_EQ(tv_domain_initialize(world.domain.get()), tv_status_none);
  EXPECT_EQ(tv_domain_equilibrium_is(world.domain.get(), tv_equilibrium_sum), 1);
  EXPECT_EQ(tv_node_get_mean(world.reading), mean);
  EXPECT_EQ(tv_domain_cg_evidence_is_propagated(world.domain.get()), 0);
}

// ---- Evidence that is refused ----

void expect_recovery(const DomainOwner& domain, tv_node_t* node, double refused) {
  EXPECT_EQ(tv_node_get_entered_value(node), refused) << "the evidence is kept";
  EXPECT_EQ(tv_domain_equilibrium_is(domain.get(), tv_equilibrium_sum), 1) << "as after a reset";
  EXPECT_EQ(tv_domain_evidence_is_propagated(domain.get()), 0);
  EXPECT_EQ(tv_domain_evidence_to_propagate(domain.get()), 1);
  tv_node_retract_findings(node);
  EXPECT_EQ(propagate(domain), tv_status_none);
  EXPECT_EQ(wrong_cg_answer(domain.get(), kMixtureBounds), "");
}

TEST(Values, OfCertainNodesHaveNoDensity) {
  DomainOwner domain = new_domain();
  tv_node_t* a = add_node(domain.get(), "a", 2, {}, {0.75f, 0.25f});
  tv_node_t* b = add_node(domain.get(), "b", 2, {a}, {1, 0, 0.5f, 0.5f});
  tv_node_t* x = add_continuous(domain.get(), "x", 0, 1, {}, {a});
  set_regression(x, 1, 4, 0);
  tv_node_t* y = add_continuous(domain.get(), "y", 1, 0, {{x, 2}});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  tv_node_enter_value(x, 4);
  EXPECT_EQ(propagate(domain), tv_status_zero_variance);
  expect_recovery(domain, x, 4);

  // Where the configuration is impossible its variance does not matter.
  tv_node_select_state(a, 0);
  tv_node_enter_value(x, 4);
  EXPECT_EQ(propagate(domain), tv_status_none);
  EXPECT_EQ(tv_node_get_mean(y), 9);
  EXPECT_EQ(tv_node_get_variance(y), 0);

  tv_node_enter_value(y, 9);  // follows from x
  EXPECT_EQ(propagate(domain), tv_status_zero_variance);
  expect_recovery(domain, y, 9);

  // And x follows from y.
  tv_node_retract_findings(x);
  tv_node_enter_value(y, 9);
  EXPECT_EQ(propagate(domain), tv_status_none);
  EXPECT_EQ(tv_node_get_mean(x), 4);
  EXPECT_EQ(tv_node_get_variance(x), 0);
  EXPECT_EQ(tv_node_get_belief(b, 0), 1);
}

TEST(Values, TooFarAwayHaveTooLowADensity) {
  const Classifier world;
  tv_node_enter_value(world.feature, 1e6);
  EXPECT_EQ(propagate(world.domain), tv_status_low_density);
  expect_recovery(world.domain, world.feature, 1e6);
  // Far from one class, not from all.
  tv_node_enter_value(world.feature, -37);
  EXPECT_EQ(propagate(world.domain), tv_status_none);
  EXPECT_NEAR(tv_domain_get_log_normalization_constant(world.domain.get()),
              std::log(0.25) - 43.0 * 43 / 6 - 0.5 * std::log(6 * M_PI), 1e-5);
}

TEST(Values, ImpossibleBesideThem) {
  const Classifier world;
  tv_node_enter_value(world.feature, 1);
  enter_findings(world.flag, {0, 0});
  EXPECT_EQ(propagate(world.domain), tv_status_inconsistency_or_underflow);
  tv_node_retract_findings(world.flag);
  EXPECT_EQ(propagate(world.domain), tv_status_none);
  EXPECT_EQ(wrong_cg_answer(world.domain.get(), kMixtureBounds), "");
}

// Hundreds of readings whose densities favour one state beyond any float, then as many that favour the other.
TEST(Values, ThatContradictEachOtherAreWeighedAgain) {
  DomainOwner domain = new_domain();
  tv_node_t* kind = add_node(domain.get(), "kind", 2);
  std::vector<tv_node_t*> readings;
  for (size_t i = 0; i < 200; ++i) {
    readings.push_back(add_continuous(domain.get(), nullptr, 0, 1, {}, {kind}));
    set_regression(readings.back(), 1, i < 100 ? 3 : -3, 1);
  }
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  for (size_t i = 0; i < 100; ++i) tv_node_enter_value(readings[i], 0);
  ASSERT_EQ(propagate(domain), tv_status_none);
  EXPECT_EQ(tv_node_get_belief(kind, 1), 0);  // exp(-450)
  for (size_t i = 100; i < 200; ++i) {
    tv_node_enter_value(readings[i], -3);
    ASSERT_EQ(propagate(domain), tv_status_none);
  }
  EXPECT_NEAR(tv_node_get_belief(kind, 1), 0.5, 1e-5);
  tv_node_select_state(kind, 1);
  for (size_t i = 100; i < 200; ++i) tv_node_retract_findings(readings[i]);
  ASSERT_EQ(propagate(domain), tv_status_none);
  EXPECT_NEAR(tv_domain_get_log_normalization_constant(domain.get()),
              std::log(0.5) - 450 - 50 * std::log(2 * M_PI), 1e-6);
}

// The same, one after the other: what the densities of values have made impossible by far is found again.
TEST(Values, LeaveRoomForLaterFindings) {
  DomainOwner domain = new_domain();
  tv_node_t* kind = add_node(domain.get(), "kind", 2);
  tv_node_t* sign = add_node(domain.get(), "sign", 2, {kind}, {1, 0, 0.5f, 0.5f});
  tv_node_t* x = add_continuous(domain.get(), "x", 0, 1, {}, {kind});
  set_regression(x, 1, 30, 1);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  tv_node_enter_value(x, 0);
  ASSERT_EQ(propagate(domain), tv_status_none);
  tv_node_select_state(sign, 1);
  ASSERT_EQ(propagate(domain), tv_status_none);
  EXPECT_EQ(tv_node_get_belief(kind, 1), 1);
  EXPECT_NEAR(tv_domain_get_log_normalization_constant(domain.get()),
              std::log(0.25) - 450 - 0.5 * std::log(2 * M_PI), 1e-6);
}

// ---- Questions ----

TEST(Distributions, AreMixturesOverDiscreteNodes) {
  const Classifier world;
  const TableOwner table(tv_node_get_distribution(world.feature));
  ASSERT_NE(table, nullptr);
  for (size_t k = 0; k < 3; ++k) {
    EXPECT_EQ(tv_table_get_mean(table.get(), k, world.feature), world.mean(k));
    EXPECT_NEAR(tv_table_get_variance(table.get(), k, world.feature), world.variance(k), 1e-12);
  }
  double density = 0, probability = 0;
  for (size_t k = 0; k < 3; ++k) {
    density += world.prior(k) * normal_density(1.5, world.mean(k), world.variance(k));
    const auto below = [&](double x) {
      return normal_cumulative((x - world.mean(k)) / std::sqrt(world.variance(k)));
    };
    probability += world.prior(k) * (below(4) - below(-1));
  }
  EXPECT_NEAR(tv_table_compute_density(table.get(), world.feature, 1.5), density, 1e-7);
  EXPECT_NEAR(tv_table_compute_probability_of_interval(table.get(), world.feature, -1, 4), probability, 1e-7);
  EXPECT_EQ(tv_table_compute_probability_of_interval(table.get(), world.feature, -kInfinity, kInfinity), 1);
  for (double p : {1e-12, 0.05, 0.5, 0.95, 1 - 1e-12}) {
    const double quantile = tv_node_get_quantile(world.feature, p);
    EXPECT_NEAR(tv_table_compute_probability_of_interval(table.get(), world.feature, -kInfinity, quantile), p,
                1e-9 * p);
  }
}

TEST(Distributions, OfKnownNodesAreAtoms) {
  const Classifier world;
  tv_node_enter_value(world.feature, 0.1);
  ASSERT_EQ(propagate(world.domain), tv_status_none);
  EXPECT_EQ(tv_node_get_quantile(world.feature, 0.3), 0.1);
  const TableOwner table(tv_node_get_distribution(world.feature));
  EXPECT_EQ(tv_table_compute_probability_of_interval(table.get(), world.feature, 0.1, 0.1), 1);
  EXPECT_EQ(tv_table_compute_probability_of_interval(table.get(), world.feature, 0.2, 1), 0);
  EXPECT_EQ(tv_table_compute_density(table.get(), world.feature, 0), 0);
  EXPECT_EQ(tv_table_compute_density(table.get(), world.feature, 0.1), -1);
  EXPECT_EQ(tv_error_code(), tv_status_zero_variance);
}

TEST(Distributions, RefuseWhatTheyCannotAnswer) {
  const Classifier world;
  const TableOwner table(tv_node_get_distribution(world.feature));
  const auto expect_usage = [](double result) {
    EXPECT_EQ(result, -1);
    EXPECT_EQ(tv_error_code(), tv_status_usage);
  };
  for (double p : {0.0, 1.0, -1.0, std::nan("")}) expect_usage(tv_node_get_quantile(world.feature, p));
  expect_usage(tv_node_get_quantile(world.kind, 0.5));
  expect_usage(tv_table_compute_density(table.get(), world.feature, kInfinity));
  expect_usage(tv_table_compute_density(table.get(), world.kind, 0));
  expect_usage(tv_table_compute_density(table.get(), world.reading, 0));
  expect_usage(tv_table_compute_density(tv_node_get_table(world.reading), world.reading, 0));
  expect_usage(tv_table_compute_probability_of_interval(table.get(), world.feature, 2, 1));
  EXPECT_EQ(tv_node_get_distribution(world.kind), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  tv_number_t* data = tv_table_get_data(table.get());
  std::fill(data, data + 3, 0.0f);
  EXPECT_EQ(tv_table_compute_density(table.get(), world.feature, 0), -1);
  EXPECT_EQ(tv_error_code(), tv_status_normalization);
}

// Nodes of two trees, observed ones among them; the order is kept, discrete nodes first.
TEST(Distributions, OfSeveralNodesHoldTheirCovariances) {
  const Classifier world;
  DomainOwner domain = new_domain();
  tv_node_t* kind = add_node(domain.get(), "kind", 2, {}, {0.25f, 0.75f});
  tv_node_t* x = add_continuous(domain.get(), "x", 0, 1, {}, {kind});
  set_regression(x, 1, 4, 1);
  tv_node_t* y = add_continuous(domain.get(), "y", 0, 2, {}, {kind});
  set_regression(y, 1, -2, 2);
  tv_node_t* alone = add_continuous(domain.get(), "alone", 7, 3);
  tv_node_t* known = add_continuous(domain.get(), "known", 0, 1, {{alone, 0}});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  tv_node_enter_value(known, 0.5);
  ASSERT_EQ(propagate(domain), tv_status_none);
  tv_node_t* list[] = {x, known, y, alone, nullptr};
  const TableOwner mixed(tv_domain_get_marginal(domain.get(), list));
  EXPECT_NEAR(tv_table_get_mean(mixed.get(), 0, x), 3, 1e-6);
  EXPECT_NEAR(tv_table_get_covariance(mixed.get(), 0, x, y), 0.25 * 0.75 * 4 * -2, 1e-6);
  EXPECT_NEAR(tv_table_get_variance(mixed.get(), 0, x), 1 + 0.25 * 0.75 * 16, 1e-6);
  EXPECT_EQ(tv_table_get_covariance(mixed.get(), 0, x, alone), 0);
  EXPECT_NEAR(tv_table_get_variance(mixed.get(), 0, alone), 3, 1e-12);
  EXPECT_EQ(tv_table_get_mean(mixed.get(), 0, known), 0.5);
  EXPECT_EQ(tv_table_get_variance(mixed.get(), 0, known), 0);
  tv_node_t* given[] = {y, kind, x, nullptr};
  const TableOwner split(tv_domain_get_marginal(domain.get(), given));
  EXPECT_EQ(describe_names(tv_table_get_nodes(split.get())), " kind y x\n");
  EXPECT_NEAR(tv_table_get_data(split.get())[1], 0.75, 1e-6);
  EXPECT_EQ(tv_table_get_mean(split.get(), 1, x), 4);
  EXPECT_EQ(tv_table_get_covariance(split.get(), 1, x, y), 0);
}

// A clique shows the moments of its nodes, whichever table a node is asked of.
TEST(Distributions, AreTheSameInEveryClique) {
  Generator random(21);
  for (int round = 0; round < 10; ++round) {
    SCOPED_TRACE(round);
    const DomainOwner domain = random_cg_network(random);
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    for (tv_clique_t* c = tv_domain_get_first_clique(domain.get()); c; c = tv_clique_get_next(c)) {
      tv_table_t* table = tv_clique_get_probability_table(c);
      const tv_number_t* data = tv_table_get_data(table);
      for (tv_node_t** node = tv_clique_get_members(c); *node; ++node) {
        if (tv_node_get_kind(*node) != tv_kind_continuous) continue;
        double mean = 0, total = 0;
        for (size_t i = 0; i < tv_table_get_size(table); ++i) {
          mean += static_cast<double>(data[i]) * tv_table_get_mean(table, i, *node);
          total += static_cast<double>(data[i]);
          EXPECT_GE(tv_table_get_variance(table, i, *node), 0);
        }
        const double deviation = std::sqrt(tv_node_get_variance(*node));
        EXPECT_NEAR(mean / total, tv_node_get_mean(*node), 1e-5 * (1 + deviation));
      }
    }
  }
}

TEST(Values, RefuseTablesThatAreNoDistributions) {
  for (double bad : {-1.0, std::nan(""), kInfinity}) {
    DomainOwner domain = new_domain();
    tv_node_t* x = add_continuous(domain.get(), "x", 0, 1);
    ASSERT_NE(tv_table_get_data(tv_node_get_table(x)), nullptr);
    tv_node_get_table(x)->cg_data[1] = bad;
    tv_node_touch_table(x);
    EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_invalid_probability_potential);
    EXPECT_EQ(tv_domain_is_compiled(domain.get()), 0);
  }
}

// What no table allows stays impossible when more values come in: here a variance of zero would be met there.
TEST(Values, ConfigurationsThatAreRuledOutNeverComeBack) {
  const DomainOwner domain = new_domain();
  tv_node_t* kind = add_node(domain.get(), "kind", 2, {}, {1, 0});
  tv_node_t* x = add_continuous(domain.get(), "x", 0, 1, {}, {kind});
  tv_node_t* y = add_continuous(domain.get(), "y", 0, 1, {{x, 1}}, {kind});
  set_regression(x, 1, 0, 0);
  set_regression(y, 1, 0, 0, {1});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  tv_node_enter_value(x, 1);
  ASSERT_EQ(propagate(domain), tv_status_none);
  tv_node_enter_value(y, 1.5);
  ASSERT_EQ(propagate(domain), tv_status_none);
  EXPECT_EQ(tv_node_get_belief(kind, 0), 1);
  EXPECT_NEAR(tv_domain_get_log_normalization_constant(domain.get()),
              std::log(normal_density(1, 0, 1) * normal_density(1.5, 1, 1)), 1e-6);
}

}  // namespace
}  // namespace test

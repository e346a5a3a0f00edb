// Long chains, variances of very different size, and nodes that hardly differ from each other.
#include <gtest/gtest.h>

#include <cmath>

#include "support/cg_builders.h"
#include "support/cg_oracle.h"

namespace test {
namespace {

tv_status_t propagate(tv_domain_t* domain) {
  return tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal);
}

// A linear state-space model x(t) = factor x(t-1) + drift + noise, some of it observed.
struct Step {
  long double factor, drift, noise;
  bool is_observed;
  long double observation, observation_noise;
};

struct Normal {
  long double mean, variance;
};

// The smoother of Rauch, Tung and Striebel (1965).
std::vector<Normal> smooth(const std::vector<Step>& steps, long double& log_density) {
  std::vector<Normal> predicted, filtered;
  log_density = 0;
  for (const Step& step : steps) {
    Normal state = filtered.empty()
                       ? Normal{step.drift, step.noise}
                       : Normal{step.factor * filtered.back().mean + step.drift,
                                step.factor * step.factor * filtered.back().variance + step.noise};
    predicted.push_back(state);
    if (step.is_observed) {
      const long double variance = state.variance + step.observation_noise;
      const long double deviation = step.observation - state.mean;
      log_density -=
          (deviation * deviation / variance + std::log(2 * 3.14159265358979323846L * variance)) / 2;
      state.mean += state.variance / variance * deviation;
      state.variance *= step.observation_noise / variance;
    }
    filtered.push_back(state);
  }
  std::vector<Normal> smoothed = filtered;
  for (size_t t = steps.size() - 1; t-- > 0;) {
    const long double gain = predicted[t + 1].variance > 0
                                 ? filtered[t].variance * steps[t + 1].factor / predicted[t + 1].variance
                                 : 0;
    smoothed[t].mean += gain * (smoothed[t + 1].mean - predicted[t + 1].mean);
    smoothed[t].variance += gain * gain * (smoothed[t + 1].variance - predicted[t + 1].variance);
  }
  return smoothed;
}

TEST(Stability, ALongChainAnswersLikeAKalmanSmoother) {
  for (const bool through_sensors : {true, false}) {
    Generator random(5);
    std::vector<Step> steps;
    DomainOwner domain = new_domain();
    std::vector<tv_node_t*> states;
    std::vector<std::pair<tv_node_t*, double>> observations;
    double state = 0;
    for (size_t t = 0; t < 2000; ++t) {
      const double factor = t ? 0.95 + 0.1 * random.uniform() : 0, drift = random.uniform() - 0.5;
      const double noise = random.chance(0.1) ? 0.0 : 0.01 + random.uniform();
      state = factor * state + drift + std::sqrt(noise) * normal_deviate(random);
      states.push_back(t ? add_continuous(domain.get(), nullptr, drift, noise, {{states.back(), factor}})
                         : add_continuous(domain.get(), nullptr, drift, 1.0));
      Step step{factor, drift, t ? noise : 1.0, t % 10 == 5, 0, 0};
      if (step.is_observed) {
        step.observation_noise = through_sensors ? 0.01 : 0.0;
        const double value = state + 0.1 * normal_deviate(random);
        step.observation = value;
        tv_node_t* node = states.back();
        if (through_sensors) node = add_continuous(domain.get(), nullptr, 0, 0.01, {{states.back(), 1.0}});
        observations.push_back({node, value});
      }
      steps.push_back(step);
    }
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    for (const auto& [node, value] : observations) tv_node_enter_value(node, value);
    ASSERT_EQ(propagate(domain.get()), tv_status_none);
    long double log_density;
    const std::vector<Normal> expected = smooth(steps, log_density);
    for (size_t t = 0; t < states.size() && !HasFailure(); ++t) {
      const double spread = std::sqrt(std::max(0.0, static_cast<double>(expected[t].variance)));
      EXPECT_NEAR(tv_node_get_mean(states[t]), static_cast<double>(expected[t].mean), 1e-8 * (spread + 1e-3))
          << t;
      EXPECT_NEAR(tv_node_get_variance(states[t]), spread * spread, 1e-8 * spread * spread + 1e-14) << t;
    }
    EXPECT_NEAR(tv_domain_get_log_normalization_constant(domain.get()), static_cast<double>(log_density),
                1e-6 * std::fabs(static_cast<double>(log_density)) / 100);
  }
}

// Sensors of one quantity whose noise reaches from 1e-12 to 1e12.
TEST(Stability, ObservationVariancesOfAllSizes) {
  DomainOwner domain = new_domain();
  tv_node_t* level = add_continuous(domain.get(), "level", 3, 1e6);
  std::vector<tv_node_t*> sensors;
  for (int exponent = -12; exponent <= 12; exponent += 3) {
    sensors.push_back(add_continuous(domain.get(), nullptr, 0, std::pow(10, exponent), {{level, 1}}));
    sensors.push_back(add_continuous(domain.get(), nullptr, 1, std::pow(10, exponent), {{level, -2}}));
  }
  tv_node_t* sum = add_continuous(domain.get(), "sum", 0, 0, {{sensors[0], 1}, {sensors[17], 1}});
  (void)sum;
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  EXPECT_EQ(wrong_cg_answer(domain.get(), {}), "");
  Generator random(7);
  for (size_t count = 0; count < sensors.size(); ++count) {
    // From the coarsest to the finest and between them, in an order without meaning.
    tv_node_t* node = sensors[(5 * count + 7) % sensors.size()];
    const double noise = std::sqrt(tv_node_get_conditional_variance(node, 0));
    const double exact = tv_node_get_intercept(node, 0) + 250 * tv_node_get_coefficient(node, level, 0);
    tv_node_enter_value(node, exact + noise * normal_deviate(random));
    ASSERT_EQ(propagate(domain.get()), tv_status_none);
    // A mean of hundreds can be no nearer than its own rounding, whatever its spread.
    EXPECT_EQ(wrong_cg_answer(domain.get(), {1e-5, 1e-8, 1e-12, 1e-6}), "") << count;
  }
}

// Children that are the same up to a tiny noise, and a node that measures their difference.
TEST(Stability, AFamilyThatIsNearlyCollinear) {
  for (const double noise : {1e-4, 1e-8, 1e-12}) {
    SCOPED_TRACE(noise);
    DomainOwner domain = new_domain();
    tv_node_t* common = add_continuous(domain.get(), "common", 0, 1);
    std::vector<tv_node_t*> twins;
    for (int i = 0; i < 4; ++i)
      twins.push_back(add_continuous(domain.get(), nullptr, 0, noise, {{common, 1}}));
    tv_node_t* contrast = add_continuous(domain.get(), "contrast", 0, noise,
                                         {{twins[0], 1}, {twins[1], -1}, {twins[2], 1}, {twins[3], -1}});
    tv_node_t* total =
        add_continuous(domain.get(), "total", 0, 1, {{twins[0], 1}, {twins[1], 1}, {twins[2], 1}});
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    EXPECT_EQ(wrong_cg_answer(domain.get(), {}), "");
    tv_node_enter_value(contrast, 2 * std::sqrt(noise));
    tv_node_enter_value(total, 1.5);
    ASSERT_EQ(propagate(domain.get()), tv_status_none);
    EXPECT_EQ(wrong_cg_answer(domain.get(), {}), "");
    tv_node_enter_value(twins[0], 0.5);
    tv_node_enter_value(twins[1], 0.5 + std::sqrt(noise));
    ASSERT_EQ(propagate(domain.get()), tv_status_none);
    EXPECT_EQ(wrong_cg_answer(domain.get(), {1e-5, 1e-8, 1e-12, 1e-6}), "");
  }
}

// A classifier by fifty features. Most features speak for one class, the others so strongly for another one
// that no single feature may rule a class out before all have spoken.
TEST(Stability, FeaturesThatContradictEachOther) {
  for (const double sharpness : {1.0, 0.03, 0.01}) {
    SCOPED_TRACE(sharpness);
    Generator random(4);
    DomainOwner domain = new_domain();
    tv_node_t* kind = add_node(domain.get(), "kind", 20);
    std::vector<tv_node_t*> features;
    for (int i = 0; i < 50; ++i) {
      features.push_back(add_continuous(domain.get(), nullptr, 0, sharpness, {}, {kind}));
      for (size_t k = 0; k < 20; ++k) tv_node_set_intercept(features.back(), k, normal_deviate(random));
    }
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    for (size_t i = 0; i < features.size(); ++i) {
      const double middle =
          (tv_node_get_intercept(features[i], 3) + tv_node_get_intercept(features[i], 11)) / 2;
      const double towards =
          i % 2 ? tv_node_get_intercept(features[i], 3) : tv_node_get_intercept(features[i], 11);
      tv_node_enter_value(features[i], middle + 0.4 * (towards - middle));
    }
    ASSERT_EQ(propagate(domain.get()), tv_status_none);
    EXPECT_EQ(wrong_cg_answer(domain.get(), kMixtureBounds), "");
    for (size_t i = 0; i < features.size(); i += 5) tv_node_retract_findings(features[i]);
    ASSERT_EQ(propagate(domain.get()), tv_status_none);
    EXPECT_EQ(wrong_cg_answer(domain.get(), kMixtureBounds), "");
  }
}

TEST(Stability, RandomNetworksWithVariancesOfAllSizes) {
  int compared = 0;
  for (uint64_t seed = 1; seed <= 120 && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    DomainOwner domain = random_cg_network(random, {8, 0, 2, 0.4, 0.1, 0, 8});
    const std::vector<double> drawn = draw_case(random, domain.get());
    const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    for (size_t i = 0; i < nodes.size(); ++i)
      if (random.chance(0.3)) tv_node_enter_value(nodes[i], drawn[i]);
    const CgOracle::Answer expected = CgOracle(domain.get()).answer();
    if (expected.status) continue;
    const tv_status_t status = propagate(domain.get());
    if (status == tv_status_low_density) continue;
    ASSERT_EQ(status, tv_status_none);
    ++compared;
    // What a value tells about a far smaller noise is limited by the rounding of the value.
    double largest = 0;
    for (size_t i = 0; i < nodes.size(); ++i) largest = std::max(largest, std::fabs(drawn[i]));
    EXPECT_EQ(wrong_cg_answer(domain.get(), {1e-5, 1e-8 + 1e-12 * largest, 1e-10, 1e-3}), "");
  }
  EXPECT_GT(compared, 80);
}

}  // namespace
}  // namespace test

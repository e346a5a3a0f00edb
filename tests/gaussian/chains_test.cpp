// Long chains of linear-Gaussian nodes against a Kalman filter and the smoother of Rauch, Tung and Striebel
// (1965).
#include <gtest/gtest.h>

#include <cmath>

#include "support/cg_builders.h"

namespace test {
namespace {

using Real = long double;

struct Chain {
  DomainOwner domain = new_domain();
  std::vector<tv_node_t*> states, sensors;  // a sensor at every tenth state
  std::vector<double> coefficients, intercepts, noises, errors, readings;

  Chain(Generator& random, size_t length, int exponents) {
    for (size_t i = 0; i < length; ++i) {
      intercepts.push_back(2 * random.uniform() - 1);
      coefficients.push_back(0.7 + 0.3 * random.uniform());
      noises.push_back(std::pow(10.0, exponents * (2 * random.uniform() - 1) / 4));
      states.push_back(i == 0 ? add_continuous(domain.get(), nullptr, intercepts[0], noises[0])
                              : add_continuous(domain.get(), nullptr, intercepts[i], noises[i],
                                               {{states.back(), coefficients[i]}}));
      if (i % 10 != 0) continue;
      errors.push_back(std::pow(10.0, exponents * (2 * random.uniform() - 1)));
      readings.push_back(normal_deviate(random) * 3);
      sensors.push_back(add_continuous(domain.get(), nullptr, 0.5, errors.back(), {{states.back(), 2.0}}));
    }
  }

  // Means and variances of the states given all readings, and the log density of these.
  void smooth(std::vector<Real>& mean, std::vector<Real>& variance, Real& log_density) const {
    std::vector<Real> predicted, predicted_variance;
    log_density = 0;
    for (size_t i = 0; i < states.size(); ++i) {
      predicted.push_back(intercepts[i] + (i ? coefficients[i] * mean[i - 1] : 0));
      predicted_variance.push_back(
          noises[i] + (i ? static_cast<Real>(coefficients[i]) * coefficients[i] * variance[i - 1] : 0));
      mean.push_back(predicted[i]);
      variance.push_back(predicted_variance[i]);
      if (i % 10 != 0) continue;
      const Real total = 4 * variance[i] + errors[i / 10];
      const Real difference = readings[i / 10] - (0.5L + 2 * mean[i]);
      log_density -= (std::log(2 * M_PIl * total) + difference * difference / total) / 2;
      mean[i] += 2 * variance[i] / total * difference;
      variance[i] *= errors[i / 10] / total;
    }
    for (size_t i = states.size() - 1; i-- > 0;) {
      const Real gain = coefficients[i + 1] * variance[i] / predicted_variance[i + 1];
      mean[i] += gain * (mean[i + 1] - predicted[i + 1]);
      // What is left of this state when the next is known, and what comes back from there.
      variance[i] = variance[i] * noises[i + 1] / predicted_variance[i + 1] + gain * gain * variance[i + 1];
    }
  }
};

void expect_smoothed(const Chain& chain) {
  std::vector<Real> mean, variance;
  Real log_density = 0;
  chain.smooth(mean, variance, log_density);
  for (size_t i = 0; i < chain.states.size(); ++i) {
    const Real deviation = std::sqrt(variance[i]);
    ASSERT_NEAR(tv_node_get_mean(chain.states[i]), static_cast<double>(mean[i]),
                static_cast<double>(1e-8L * deviation + 1e-14L * std::fabs(mean[i])))
        << i;
    ASSERT_NEAR(tv_node_get_variance(chain.states[i]), static_cast<double>(variance[i]),
                static_cast<double>(1e-8L * variance[i]))
        << i;
  }
  EXPECT_NEAR(tv_domain_get_log_normalization_constant(chain.domain.get()), static_cast<double>(log_density),
              1e-6);
}

TEST(Chains, OfTwoThousandNodesAreSmoothedExactly) {
  for (int exponents : {1, 12}) {  // error variances up to 10 to the power of this, and down to its inverse
    SCOPED_TRACE(exponents);
    Generator random(static_cast<uint64_t>(exponents));
    const Chain chain(random, 2000, exponents);
    ASSERT_EQ(tv_domain_compile(chain.domain.get()), tv_status_none);
    for (size_t s = 0; s < chain.sensors.size(); ++s)
      tv_node_enter_value(chain.sensors[s], chain.readings[s]);
    ASSERT_EQ(tv_domain_propagate(chain.domain.get(), tv_equilibrium_sum, tv_evidence_normal),
              tv_status_none);
    expect_smoothed(chain);
  }
}

// Reading after reading, each propagated: the last answer is that of all at once.
TEST(Chains, AreSmoothedReadingByReading) {
  Generator random(4);
  const Chain chain(random, 120, 2);
  ASSERT_EQ(tv_domain_compile(chain.domain.get()), tv_status_none);
  for (size_t s = 0; s < chain.sensors.size(); ++s) {
    tv_node_enter_value(chain.sensors[(7 * s) % chain.sensors.size()],
                        chain.readings[(7 * s) % chain.sensors.size()]);
    ASSERT_EQ(tv_domain_propagate(chain.domain.get(), tv_equilibrium_sum, tv_evidence_normal),
              tv_status_none);
    EXPECT_GE(tv_node_get_variance(chain.states[60]), 0);
  }
  expect_smoothed(chain);
}

// Nearly the same child of two nearly equal nodes: the difference is known to 1e-12, the sum to nothing.
TEST(Chains, KeepSmallDifferencesOfLargeNumbers) {
  DomainOwner domain = new_domain();
  tv_node_t* level = add_continuous(domain.get(), "level", 0, 1e12);
  tv_node_t* left = add_continuous(domain.get(), "left", 0, 1e-12, {{level, 1}});
  tv_node_t* right = add_continuous(domain.get(), "right", 0, 1e-12, {{level, 1}});
  tv_node_t* gap = add_continuous(domain.get(), "gap", 0, 1e-12, {{left, 1}, {right, -1}});
  tv_node_t* echo = add_continuous(domain.get(), "echo", 0, 1e-12, {{gap, 1e6}});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  EXPECT_NEAR(tv_node_get_variance(gap), 3e-12, 3e-20);
  EXPECT_NEAR(tv_node_get_variance(echo), 3 + 1e-12, 3e-8);
  EXPECT_NEAR(tv_node_get_variance(left), 1e12, 1e4);
  tv_node_enter_value(gap, 1e-6);
  ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  EXPECT_NEAR(tv_node_get_mean(left) - tv_node_get_mean(right), 2e-6 / 3, 2e-6 * 1e-4);
  EXPECT_EQ(tv_node_get_mean(gap), 1e-6);
  EXPECT_EQ(tv_node_get_variance(gap), 0);
}

}  // namespace
}  // namespace test

// Answers where products leave the range of single precision, and of doubles: beliefs, constants, joint
// marginals and tables are right all the same, and only impossible evidence is refused.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <thread>

#include "support/builders.h"
#include "support/oracle.h"
#include "tables/limits.h"

namespace test {
namespace {

// The logarithm of a sum of two numbers that are given by theirs.
Real log_add(Real a, Real b) { return std::max(a, b) + std::log1p(std::exp(-std::fabs(a - b))); }

// One class with many features, the first half of which (or every other one) speaks for one state, the rest
// for the other, each with odds of `odds`; and the same by logarithms.
struct Classifier {
  Classifier(size_t features, bool alternates, float odds) : domain(new_domain()) {
    cause = add_node(domain.get(), "cause", 2, {}, {0.6f, 0.4f});
    logs[0] = std::log(static_cast<Real>(0.6f));
    logs[1] = std::log(static_cast<Real>(0.4f));
    for (size_t i = 0; i < features; ++i) {
      const bool first = alternates ? i % 2 == 0 : i < features / 2;
      const float likely = 0.5f, unlikely = 0.5f / odds;
      const float one = first ? likely : unlikely, other = first ? unlikely : likely;
      found.push_back(add_node(domain.get(), nullptr, 2, {cause}, {one, 1.0f - one, other, 1.0f - other}));
      logs[0] += std::log(static_cast<Real>(one));
      logs[1] += std::log(static_cast<Real>(other));
    }
  }

  void expect_answer(tv_equilibrium_t equilibrium) const {
    const bool sums = equilibrium == tv_equilibrium_sum;
    const Real whole = sums ? log_add(logs[0], logs[1]) : std::max(logs[0], logs[1]);
    for (size_t s = 0; s < 2; ++s) {
      const Real expected = std::exp(logs[s] - whole);
      EXPECT_NEAR(tv_node_get_belief(cause, s), expected, std::max(1e-6L * expected, 1e-30L)) << s;
    }
    EXPECT_NEAR(tv_domain_get_log_normalization_constant(domain.get()), whole, 1e-6L * std::fabs(whole));
  }

  DomainOwner domain;
  tv_node_t* cause;
  std::vector<tv_node_t*> found;
  Real logs[2];
};

TEST(Range, FeaturesThatSpeakAgainstEachOther) {
  for (const size_t features : {10u, 64u, 92u, 96u, 100u, 1000u, 20000u})
    for (const bool alternates : {false, true})
      for (const tv_equilibrium_t equilibrium : {tv_equilibrium_sum, tv_equilibrium_max}) {
        SCOPED_TRACE(testing::Message() << features << (alternates ? " alternating " : " ") << equilibrium);
        const Classifier model(features, alternates, 10.0f);
        ASSERT_EQ(tv_domain_compile(model.domain.get()), tv_status_none);
        for (tv_node_t* node : model.found) tv_node_select_state(node, 0);
        ASSERT_EQ(tv_domain_propagate(model.domain.get(), equilibrium, tv_evidence_normal), tv_status_none);
        model.expect_answer(equilibrium);
      }
}

TEST(Range, FindingsThatComeOneByOne) {
  const Classifier model(120, false, 1000.0f);
  ASSERT_EQ(tv_domain_compile(model.domain.get()), tv_status_none);
  Real logs[2] = {std::log(static_cast<Real>(0.6f)), std::log(static_cast<Real>(0.4f))};
  Real conflict = 0.0;
  for (tv_node_t* node : model.found) {
    const Real before = log_add(logs[0], logs[1]);
    const Real alone = tv_node_get_belief(node, 0);
    const tv_number_t* table = tv_table_get_data(tv_node_get_table(node));
    logs[0] += std::log(static_cast<Real>(table[0]));
    logs[1] += std::log(static_cast<Real>(table[2]));
    tv_node_select_state(node, 0);
    ASSERT_EQ(tv_domain_propagate(model.domain.get(), tv_equilibrium_sum, tv_evidence_normal),
              tv_status_none);
    conflict = std::log(alone) - (log_add(logs[0], logs[1]) - before);
    ASSERT_NEAR(std::log(tv_domain_get_conflict(model.domain.get())), conflict, 1e-5);
    const Real expected = std::exp(logs[0] - log_add(logs[0], logs[1]));
    ASSERT_NEAR(tv_node_get_belief(model.cause, 0), expected, std::max(2e-6L * expected, 1e-30L));
  }
  model.expect_answer(tv_equilibrium_sum);
}

TEST(Range, MarginalsAndTablesFollow) {
  const Classifier model(300, false, 1000.0f);
  tv_domain_t* const domain = model.domain.get();
  tv_node_t* const effect = add_node(domain, "effect", 2, {model.cause}, {0.9f, 0.1f, 0.2f, 0.8f});
  ASSERT_EQ(tv_domain_compile(domain), tv_status_none);
  for (tv_node_t* node : model.found) tv_node_select_state(node, 0);
  ASSERT_EQ(tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  model.expect_answer(tv_equilibrium_sum);
  tv_node_t* list[] = {model.cause, effect, nullptr};
  const TableOwner joint(tv_domain_get_marginal(domain, list));
  ASSERT_TRUE(joint);
  const float given[] = {0.9f, 0.1f, 0.2f, 0.8f};
  const bool cause_first = tv_table_get_nodes(joint.get())[0] == model.cause;
  for (size_t c = 0; c < 2; ++c)
    for (size_t e = 0; e < 2; ++e)
      EXPECT_NEAR(tv_table_get_data(joint.get())[cause_first ? 2 * c + e : 2 * e + c],
                  tv_node_get_belief(model.cause, c) * given[2 * c + e], 1e-6);
  for (tv_clique_t* clique = tv_domain_get_first_clique(domain); clique;
       clique = tv_clique_get_next(clique)) {
    const tv_table_t* const table = tv_clique_get_probability_table(clique);
    Real sum = 0;
    for (size_t i = 0; i < tv_table_get_size(table); ++i)
      sum += tv_table_get_data(const_cast<tv_table_t*>(table))[i];
    ASSERT_NEAR(sum, 1, 1e-6);
  }
  model.expect_answer(tv_equilibrium_sum);
}

// Two targets hang on the ends of a clique whose other members all have improbable findings: their joint is
// what enumeration finds, though no single number (and in the end no double) holds the findings' product.
TEST(Range, JointMarginalsUnderFastRetraction) {
  for (const float level : {1e-6f, 1e-30f, 1e-37f})
    for (const tv_equilibrium_t equilibrium : {tv_equilibrium_sum, tv_equilibrium_max}) {
      SCOPED_TRACE(level);
      Generator random(5);
      const DomainOwner domain = new_domain();
      std::vector<tv_node_t*> causes;
      for (size_t i = 0; i < 10; ++i) causes.push_back(add_node(domain.get(), nullptr, 2, {}, {0.3f, 0.7f}));
      const auto conditional = [&](size_t size) {
        std::vector<float> numbers;
        for (size_t i = 0; i < size; i += 2) {
          numbers.push_back(static_cast<float>(0.05 + 0.9 * random.uniform()));
          numbers.push_back(1.0f - numbers.back());
        }
        return numbers;
      };
      tv_node_t* const effect = add_node(domain.get(), nullptr, 2, {}, {0.5f, 0.5f});
      for (tv_node_t* cause : causes) ASSERT_EQ(tv_node_add_parent(effect, cause), tv_status_none);
      set_table(effect, conditional(2048));
      tv_node_t* const first = add_node(domain.get(), nullptr, 2, {causes[0]}, conditional(4));
      tv_node_t* const last = add_node(domain.get(), nullptr, 2, {effect}, conditional(4));
      for (size_t i = 1; i < causes.size(); ++i)
        enter_findings(causes[i], {level, level * static_cast<float>(random.uniform())});
      ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
      ASSERT_EQ(tv_domain_propagate(domain.get(), equilibrium, tv_evidence_fast_retraction), tv_status_none);
      EXPECT_EQ(wrong_answer(domain.get(), equilibrium, tv_evidence_fast_retraction, false), "");
      tv_node_t* targets[] = {first, last, nullptr};
      const TableOwner joint(tv_domain_get_marginal(domain.get(), targets));
      ASSERT_TRUE(joint) << tv_error_name(tv_error_code());
      const Oracle oracle(domain.get());
      const Vector expected = oracle.marginal({11, 12}, oracle.entered(), equilibrium);
      const bool sums = equilibrium == tv_equilibrium_sum;
      const Real whole = sums ? std::accumulate(expected.begin(), expected.end(), Real{0})
                              : *std::max_element(expected.begin(), expected.end());
      for (size_t i = 0; i < 4; ++i)
        EXPECT_NEAR(tv_table_get_data(joint.get())[i], expected[i] / whole, 1e-6);
    }
}

// Chains whose observations all but rule out what the links say, against the recursion in long double.
TEST(Range, ChainsWithExtremeLikelihoods) {
  for (uint64_t seed = 0; seed < 12; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = new_domain();
    const size_t length = 400, states = 3;
    std::vector<tv_node_t*> hidden;
    std::vector<std::vector<float>> likelihoods;
    std::vector<std::vector<float>> steps;
    const auto extreme = [&] { return static_cast<float>(std::pow(10.0, -30.0 * random.uniform())); };
    for (size_t i = 0; i < length; ++i) {
      std::vector<float> table(i ? states * states : states);
      for (float& entry : table) entry = random.chance(0.1) ? 0.0f : extreme();
      for (size_t first = 0; first < table.size(); first += states)
        table[first + random.below(states)] = 1.0f;
      hidden.push_back(i ? add_node(domain.get(), nullptr, states, {hidden.back()}, table)
                         : add_node(domain.get(), nullptr, states, {}, table));
      steps.push_back(table);
      likelihoods.push_back({extreme(), extreme(), extreme()});
    }
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    // The tables as the library has normalised them.
    for (size_t i = 0; i < length; ++i) {
      const tv_number_t* data = tv_table_get_data(tv_node_get_table(hidden[i]));
      std::copy_n(data, steps[i].size(), steps[i].begin());
      enter_findings(hidden[i], likelihoods[i]);
    }
    ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    std::vector<Vector> forward(length, Vector(states)), backward(length, Vector(states, 0));
    for (size_t i = 0; i < length; ++i)
      for (size_t s = 0; s < states; ++s) {
        Real sum = -INFINITY;
        if (i == 0) sum = std::log(static_cast<Real>(steps[0][s]));
        for (size_t r = 0; i > 0 && r < states; ++r)
          if (const Real term = forward[i - 1][r] + std::log(static_cast<Real>(steps[i][r * states + s]));
              term > -INFINITY)
            sum = sum > -INFINITY ? log_add(sum, term) : term;
        forward[i][s] = sum + std::log(static_cast<Real>(likelihoods[i][s]));
      }
    for (size_t i = length - 1; i-- > 0;)
      for (size_t s = 0; s < states; ++s) {
        Real sum = -INFINITY;
        for (size_t r = 0; r < states; ++r)
          if (const Real term = backward[i + 1][r] +
                                std::log(static_cast<Real>(steps[i + 1][s * states + r])) +
                                std::log(static_cast<Real>(likelihoods[i + 1][r]));
              term > -INFINITY)
            sum = sum > -INFINITY ? log_add(sum, term) : term;
        backward[i][s] = sum;
      }
    const auto joint = [&](size_t i, size_t s) { return forward[i][s] + backward[i][s]; };
    Real whole = -INFINITY;
    for (size_t s = 0; s < states; ++s)
      if (joint(0, s) > -INFINITY) whole = whole > -INFINITY ? log_add(whole, joint(0, s)) : joint(0, s);
    EXPECT_NEAR(tv_domain_get_log_normalization_constant(domain.get()), whole, 1e-6L * std::fabs(whole));
    for (size_t i = 0; i < length; ++i)
      for (size_t s = 0; s < states; ++s) {
        const Real expected = std::exp(joint(i, s) - whole);
        ASSERT_NEAR(tv_node_get_belief(hidden[i], s), expected, std::max(5e-6L * expected, 1e-28L)) << i;
      }
  }
}

// Small networks of all shapes whose tables reach over sixty orders of magnitude, with the same of
// likelihoods, in every way of propagating.
TEST(Range, ExtremeNetworksEqualEnumeration) {
  size_t answered = 0;
  for (uint64_t seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = random_network(random, Values::positive, {.max_nodes = 9, .max_states = 3});
    const auto extreme = [&] {
      return random.chance(0.15) ? 0.0f : static_cast<float>(std::pow(10.0, -37.0 * random.uniform()));
    };
    for (tv_node_t* node : nodes_of(domain.get())) {
      std::vector<float> table(tv_table_get_size(tv_node_get_table(node)));
      const size_t states = tv_node_get_number_of_states(node);
      for (size_t i = 0; i < table.size(); ++i)
        table[i] = i % states == random.below(states) ? 1.0f : extreme();
      for (size_t first = 0; first < table.size(); first += states) table[first] += 1e-37f;
      set_table(node, table);
    }
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    for (size_t step = 0; step < 3; ++step) {
      for (tv_node_t* node : nodes_of(domain.get())) {
        if (!random.chance(0.4)) continue;
        std::vector<float> finding(tv_node_get_number_of_states(node));
        for (float& each : finding) each = extreme();
        if (random.chance(0.3)) finding.assign(finding.size(), 1.0f);
        enter_findings(node, finding);
      }
      const tv_equilibrium_t equilibrium = random.chance(0.7) ? tv_equilibrium_sum : tv_equilibrium_max;
      const tv_evidence_mode_t mode = random.chance(0.8) ? tv_evidence_normal : tv_evidence_fast_retraction;
      const Oracle oracle(domain.get());
      const Real possible = oracle.least_constant(oracle.entered(), equilibrium, mode);
      const tv_status_t status = tv_domain_propagate(domain.get(), equilibrium, mode);
      if (mode == tv_evidence_normal) {
        ASSERT_EQ(status, possible > 0 ? tv_status_none : tv_status_inconsistency_or_underflow);
      } else if (status) {
        ASSERT_TRUE(status == tv_status_fast_retraction || possible == 0) << tv_error_name(status);
      }
      if (status || possible == 0) break;
      ++answered;
      ASSERT_EQ(wrong_answer(domain.get(), equilibrium, mode, mode == tv_evidence_normal), "");
      if (mode == tv_evidence_fast_retraction) break;  // constants are those of the root from here on
    }
  }
  EXPECT_GT(answered, 400u);
}

// What serves a set of observed nodes again was made for numbers that were harmless.
TEST(Range, ExtremeLikelihoodsOfTheSameNodesAgain) {
  size_t answered = 0;
  for (uint64_t seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain =
        random_network(random, Values::positive, {.max_nodes = 10, .max_states = 3, .max_parents = 2});
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    const tv_equilibrium_t equilibrium = random.chance(0.7) ? tv_equilibrium_sum : tv_equilibrium_max;
    const tv_equilibrium_t other =
        equilibrium == tv_equilibrium_sum ? tv_equilibrium_max : tv_equilibrium_sum;
    tv_domain_set_concurrency_level(domain.get(), 1 + seed % 3);
    tv_domain_set_grain_size(domain.get(), 1);
    std::vector<tv_node_t*> observed;
    for (tv_node_t* node : nodes_of(domain.get()))
      if (random.chance(0.7)) observed.push_back(node);
    for (size_t step = 0; step < 5; ++step) {
      tv_domain_initialize(domain.get());
      const double range = step < 3 ? 1.0 : 37.0;
      for (tv_node_t* node : observed) {
        std::vector<float> finding(tv_node_get_number_of_states(node));
        const double largest = node == observed[0] ? range - 7.0 : 0.0;
        for (float& each : finding)
          each = static_cast<float>(std::pow(10.0, largest - range * random.uniform()));
        enter_findings(node, finding);
      }
      for (const tv_equilibrium_t each : {equilibrium, other}) {
        ASSERT_EQ(tv_domain_propagate(domain.get(), each, tv_evidence_normal), tv_status_none);
        ++answered;
        ASSERT_EQ(wrong_answer(domain.get(), each, tv_evidence_normal, true), "");
      }
    }
  }
  EXPECT_EQ(answered, 2000u);
}

// A message of which one number is too small beside the other, and decides in the end.
TEST(Range, LikelihoodsOfCopies) {
  for (const tv_equilibrium_t equilibrium : {tv_equilibrium_sum, tv_equilibrium_max})
    for (const size_t pairs : {1u, 2u, 3u}) {
      SCOPED_TRACE(testing::Message() << equilibrium << " " << pairs);
      const DomainOwner domain = new_domain();
      tv_node_t* const original = add_node(domain.get(), "original", 2, {}, {0.6f, 0.4f});
      std::vector<tv_node_t*> copies;
      for (size_t i = 0; i < 2 * pairs; ++i)
        copies.push_back(add_node(domain.get(), nullptr, 2, {original}, {1, 0, 0, 1}));
      ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
      for (const float decisive : {1.0f, 1e3f, 1e-3f, 1.0f}) {
        tv_domain_initialize(domain.get());
        for (size_t i = 0; i < copies.size(); ++i)
          enter_findings(copies[i], i % 2 ? std::vector<float>{decisive * 1e-30f, 1e18f}
                                          : std::vector<float>{1e18f, 1e-30f});
        ASSERT_EQ(tv_domain_propagate(domain.get(), equilibrium, tv_evidence_normal), tv_status_none);
        const double odds = 1.5 * std::pow(static_cast<double>(decisive), static_cast<double>(pairs));
        const double first = equilibrium == tv_equilibrium_sum ? odds / (1 + odds) : std::min(odds, 1.0);
        const double second = equilibrium == tv_equilibrium_sum ? 1 / (1 + odds) : std::min(1 / odds, 1.0);
        for (tv_node_t* node : nodes_of(domain.get())) {
          EXPECT_NEAR(tv_node_get_belief(node, 0), first, 2e-6 * first);
          EXPECT_NEAR(tv_node_get_belief(node, 1), second, 2e-6 * second);
        }
      }
    }
}

// A grid of binary nodes whose neighbours all but agree, and findings that say the opposite: eliminated
// column by column in long double with an exponent of its own for each entry.
TEST(Range, GridsOfContradictions) {
  const size_t side = 6, rows = 40;
  Generator random(7);
  const DomainOwner domain = new_domain();
  std::vector<tv_node_t*> nodes;
  std::vector<std::vector<float>> tables;
  for (size_t r = 0; r < rows; ++r)
    for (size_t c = 0; c < side; ++c) {
      const size_t parents = (r > 0) + (c > 0);
      std::vector<float> table(2u << parents);
      for (size_t i = 0; i < table.size(); i += 2) {
        const auto rare = static_cast<float>(std::pow(10.0, -8.0 * random.uniform()));
        table[i] = random.chance(0.5) ? rare : 1.0f - rare;
        table[i + 1] = 1.0f - table[i];
      }
      tv_node_t* const up = r > 0 ? nodes[nodes.size() - side] : nullptr;
      tv_node_t* const left = c > 0 ? nodes.back() : nullptr;
      nodes.push_back(up && left ? add_node(domain.get(), nullptr, 2, {up, left}, table)
                      : up       ? add_node(domain.get(), nullptr, 2, {up}, table)
                      : left     ? add_node(domain.get(), nullptr, 2, {left}, table)
                                 : add_node(domain.get(), nullptr, 2, {}, table));
    }
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  std::vector<std::vector<float>> findings;
  for (tv_node_t* node : nodes) {
    const tv_number_t* data = tv_table_get_data(tv_node_get_table(node));
    tables.emplace_back(data, data + tv_table_get_size(tv_node_get_table(node)));
    const auto rare = static_cast<float>(std::pow(10.0, -30.0 * random.uniform()));
    findings.push_back(random.chance(0.5) ? std::vector<float>{1.0f, rare} : std::vector<float>{rare, 1.0f});
    enter_findings(node, findings.back());
  }
  ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  // The state of the last `side` nodes, the newest in the lowest bit.
  const size_t width = size_t{1} << side, mask = width - 1;
  std::vector<Real> logs(width, -INFINITY);
  logs[0] = 0;
  for (size_t n = 0; n < nodes.size(); ++n) {
    std::vector<Real> next(width, -INFINITY);
    for (size_t before = 0; before < width; ++before) {
      if (!(logs[before] > -INFINITY)) continue;
      size_t row = 0;
      if (n >= side) row = before >> (side - 1) & 1;
      if (n % side > 0) row = 2 * row + (before & 1);
      for (size_t s = 0; s < 2; ++s) {
        const Real weight = static_cast<Real>(tables[n][2 * row + s]) * static_cast<Real>(findings[n][s]);
        if (!(weight > 0)) continue;
        Real& to = next[(before << 1 | s) & mask];
        const Real term = logs[before] + std::log(weight);
        to = to > -INFINITY ? log_add(to, term) : term;
      }
    }
    logs = next;
  }
  Real whole = -INFINITY;
  for (const Real each : logs)
    if (each > -INFINITY) whole = whole > -INFINITY ? log_add(whole, each) : each;
  EXPECT_NEAR(tv_domain_get_log_normalization_constant(domain.get()), whole, 1e-6L * std::fabs(whole));
  for (size_t i = 0; i < side; ++i) {
    Real zero = -INFINITY;
    for (size_t state = 0; state < width; ++state)
      if (!(state >> i & 1) && logs[state] > -INFINITY)
        zero = zero > -INFINITY ? log_add(zero, logs[state]) : logs[state];
    const Real expected = std::exp(zero - whole);
    EXPECT_NEAR(tv_node_get_belief(nodes[nodes.size() - 1 - i], 0), expected,
                std::max(2e-6L * expected, 1e-28L));
  }
}

TEST(Range, ThreadsDoNotChangeABit) {
  const auto answer = [](size_t threads) {
    const Classifier model(2000, false, 10.0f);
    tv_domain_set_concurrency_level(model.domain.get(), threads);
    tv_domain_set_grain_size(model.domain.get(), 1);
    EXPECT_EQ(tv_domain_compile(model.domain.get()), tv_status_none);
    for (tv_node_t* node : model.found) tv_node_select_state(node, 0);
    EXPECT_EQ(tv_domain_propagate(model.domain.get(), tv_equilibrium_sum, tv_evidence_normal),
              tv_status_none);
    return std::make_pair(tv_node_get_belief(model.cause, 0),
                          tv_domain_get_log_normalization_constant(model.domain.get()));
  };
  EXPECT_EQ(answer(1), answer(3));
}

}  // namespace
}  // namespace test

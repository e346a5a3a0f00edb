// What to observe next, against enumeration, closed forms and sums over fine grids.
#include <gtest/gtest.h>

#include <limits>
#include <numbers>

#include "analysis/evidence_world.h"
#include "limid/limid_world.h"
#include "support/cg_builders.h"
#include "support/queries.h"

namespace test {
namespace {

using Observations = Owner<tv_observations_t, tv_observations_delete>;
using ObservationValues = Owner<tv_observation_values_t, tv_observation_values_delete>;

// The joint distribution of a target and of others: the probability of each of their configurations, by state
// of the target.
struct Told {
  double information = 0, error_reduction = 0;
};
Told told(const Vector& joint, size_t target_states) {
  const Vector p = Situation::normalized(joint);
  const size_t others = p.size() / target_states;
  Vector target(target_states, 0);
  for (size_t i = 0; i < p.size(); ++i) target[i / others] += p[i];
  Real information = 0, hits = 0;
  for (size_t x = 0; x < others; ++x) {
    Real sum = 0, most = 0;
    for (size_t t = 0; t < target_states; ++t) {
      sum += p[t * others + x];
      most = std::max(most, p[t * others + x]);
    }
    hits += most;
    for (size_t t = 0; t < target_states; ++t)
      if (const Real both = p[t * others + x]; both > 0)
        information += both * std::log(both / sum / target[t]);
  }
  return {static_cast<double>(information),
          static_cast<double>(hits - *std::max_element(target.begin(), target.end()))};
}

Told told_by(const Situation& situation, size_t target, std::vector<size_t> nodes) {
  nodes.insert(nodes.begin(), target);
  return told(situation.oracle.marginal(nodes, situation.evidence, tv_equilibrium_sum),
              situation.states(target));
}

double yield(double information, double price) {
  if (information < 1e-9) return 0;
  return price > 0 ? information / price : std::numeric_limits<double>::infinity();
}

std::vector<size_t> open_nodes(const Situation& situation, size_t target) {
  std::vector<size_t> open;
  for (size_t i = 0; i < situation.oracle.nodes().size(); ++i)
    if (i != target && !situation.is_observed(i)) open.push_back(i);
  return open;
}

TEST(Observations, RankingAgreesWithEnumeration) {
  for_situations(1, 400, 0.35, [](Situation& situation, Generator&, size_t target) {
    tv_node_t* node = situation.oracle.nodes()[target];
    const Observations ranking(tv_node_rank_observations(node, nullptr, nullptr));
    if (!situation.is_possible()) {
      EXPECT_FALSE(ranking);
      EXPECT_EQ(tv_error_code(), tv_status_inconsistency_or_underflow);
      return;
    }
    ASSERT_TRUE(ranking) << tv_error_message();
    EXPECT_EQ(tv_error_code(), tv_status_none);
    const Vector belief = situation.belief(target, situation.evidence);
    EXPECT_NEAR(tv_observations_get_entropy(ranking.get()), entropy(belief), 1e-6);
    EXPECT_NEAR(tv_observations_get_error(ranking.get()),
                1 - static_cast<double>(*std::max_element(belief.begin(), belief.end())), 1e-6);
    const size_t count = tv_observations_get_number(ranking.get());
    ASSERT_EQ(count, open_nodes(situation, target).size());
    std::vector<tv_node_t*> seen;
    for (size_t i = 0; i < count; ++i) {
      tv_node_t* other = tv_observations_get_node(ranking.get(), i);
      const double information = tv_observations_get_information(ranking.get(), i);
      const Told expected = told_by(situation, target, {situation.place(other)});
      EXPECT_NEAR(information, expected.information, 2e-6);
      EXPECT_NEAR(tv_observations_get_error_reduction(ranking.get(), i), expected.error_reduction, 2e-6);
      EXPECT_LE(information, tv_observations_get_bound(ranking.get()) + 1e-6);
      EXPECT_LE(information, i > 0 ? tv_observations_get_information(ranking.get(), i - 1) : HUGE_VAL);
      EXPECT_EQ(std::count(seen.begin(), seen.end(), other), 0);
      seen.push_back(other);
    }
  });
}

// Each step is the best one beside those before it, and no set of that size holds more than the bound.
TEST(Observations, SequencesAgreeWithEnumeration) {
  size_t longest = 0;
  for_situations(1000, 250, 0.2, [&](Situation& situation, Generator& random, size_t target) {
    if (!situation.is_possible()) return;
    const std::vector<size_t> open = open_nodes(situation, target);
    std::vector<tv_node_t*> listed;
    std::vector<double> prices;
    for (const size_t i : open) {
      listed.push_back(situation.oracle.nodes()[i]);
      prices.push_back(random.chance(0.2) ? 0 : 0.1 + random.uniform());
    }
    listed.push_back(nullptr);
    const size_t length = 1 + random.below(3);
    const Observations sequence(
        tv_node_choose_observations(situation.oracle.nodes()[target], listed.data(), prices.data(), length));
    ASSERT_TRUE(sequence) << tv_error_message();
    const size_t count = tv_observations_get_number(sequence.get());
    ASSERT_LE(count, length);
    longest = std::max(longest, count);
    std::vector<size_t> chosen;
    Told before;
    for (size_t step = 0; step <= count && step < length; ++step) {
      std::vector<double> yields;
      std::vector<Told> gains;
      for (size_t c = 0; c < open.size(); ++c) {
        std::vector<size_t> extended = chosen;
        extended.push_back(open[c]);
        const bool is_new = std::find(chosen.begin(), chosen.end(), open[c]) == chosen.end();
        const Told both = is_new ? told_by(situation, target, extended) : before;
        gains.push_back(
            {both.information - before.information, both.error_reduction - before.error_reduction});
        yields.push_back(yield(gains.back().information, prices[c]));
      }
      const double best = yields.empty() ? 0 : *std::max_element(yields.begin(), yields.end());
      if (step == count) {
        EXPECT_LT(best, 1e-5) << "the sequence ends too early";
        break;
      }
      const size_t next = situation.place(tv_observations_get_node(sequence.get(), step));
      const auto c = static_cast<size_t>(std::find(open.begin(), open.end(), next) - open.begin());
      EXPECT_NEAR(tv_observations_get_information(sequence.get(), step), gains[c].information, 4e-6);
      EXPECT_NEAR(tv_observations_get_error_reduction(sequence.get(), step), gains[c].error_reduction, 4e-6);
      EXPECT_EQ(tv_observations_get_price(sequence.get(), step), prices[c]);
      EXPECT_TRUE(yields[c] >= best || yields[c] > best - 1e-4 * (1 + best)) << yields[c] << " of " << best;
      chosen.push_back(next);
      before = told_by(situation, target, chosen);
    }
    std::vector<std::vector<size_t>> sets = {{}};
    for (const size_t i : open)
      for (size_t s = sets.size(); s-- > 0;)
        if (sets[s].size() < length) {
          sets.push_back(sets[s]);
          sets.back().push_back(i);
        }
    for (const std::vector<size_t>& set : sets)
      EXPECT_LE(told_by(situation, target, set).information,
                tv_observations_get_bound(sequence.get()) + 1e-6);
  });
  EXPECT_EQ(longest, 3u);
}

// Two switches tell nothing each about whether they agree, and all together.
TEST(Observations, GreedyStopsWhereNothingTellsAnythingAlone) {
  const DomainOwner domain = new_domain();
  tv_node_t* a = add_node(domain.get(), "a", 2, {}, {0.5, 0.5});
  tv_node_t* b = add_node(domain.get(), "b", 2, {}, {0.5, 0.5});
  tv_node_t* agree = add_node(domain.get(), "agree", 2, {a, b}, {0, 1, 1, 0, 1, 0, 0, 1});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const Observations none(tv_node_choose_observations(agree, nullptr, nullptr, 2));
  EXPECT_EQ(tv_observations_get_number(none.get()), 0u);
  EXPECT_NEAR(tv_observations_get_bound(none.get()), std::numbers::ln2, 1e-9);
  tv_node_select_state(a, 1);
  const Observations one(tv_node_choose_observations(agree, nullptr, nullptr, 2));
  ASSERT_EQ(tv_observations_get_number(one.get()), 1u);
  EXPECT_EQ(tv_observations_get_node(one.get(), 0), b);
  EXPECT_NEAR(tv_observations_get_error_reduction(one.get(), 0), 0.5, 1e-9);
}

// States of the target that are possible, and hardly so, are asked about; one that is not is not.
TEST(Observations, ImprobableAndImpossibleStatesOfTheTarget) {
  const DomainOwner domain = new_domain();
  tv_node_t* cause = add_node(domain.get(), "cause", 4, {}, {1, 1e-20f, 1e-32f, 0});
  tv_node_t* sign = add_node(domain.get(), "sign", 2, {cause}, {0.5f, 0.5f, 0, 1, 0, 1, 1, 0});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const Observations ranking(tv_node_rank_observations(cause, nullptr, nullptr));
  ASSERT_TRUE(ranking) << tv_error_message();
  EXPECT_EQ(tv_observations_get_node(ranking.get(), 0), sign);
  EXPECT_NEAR(tv_observations_get_error(ranking.get()), 1e-20, 1e-25);
}

TEST(Observations, PricesDecideTheOrder) {
  const DomainOwner domain = new_domain();
  tv_node_t* cause = add_node(domain.get(), "cause", 2, {}, {0.5, 0.5});
  tv_node_t* good = add_node(domain.get(), "good", 2, {cause}, {0.9f, 0.1f, 0.1f, 0.9f});
  tv_node_t* fair = add_node(domain.get(), "fair", 2, {cause}, {0.7f, 0.3f, 0.3f, 0.7f});
  tv_node_t* poor = add_node(domain.get(), "poor", 2, {cause}, {0.6f, 0.4f, 0.4f, 0.6f});
  tv_node_t* vain = add_node(domain.get(), "vain", 2, {cause}, {0.6f, 0.4f, 0.6f, 0.4f});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  tv_node_t* listed[] = {good, fair, poor, vain, nullptr};
  const double prices[] = {100, 1, 0, 0};
  const Observations ranking(tv_node_rank_observations(cause, listed, prices));
  tv_node_t* const expected[] = {poor, fair, good, vain};
  for (size_t i = 0; i < 4; ++i) EXPECT_EQ(tv_observations_get_node(ranking.get(), i), expected[i]) << i;
}

// ---- Continuous observations ----

// Sums over a fine grid, which are accurate to far more digits than they need be for normal densities.
Told told_by_grid(const std::vector<double>& target, const std::vector<std::array<double, 3>>& parts,
                  const std::vector<size_t>& states) {
  double low = HUGE_VAL, high = -HUGE_VAL, narrow = HUGE_VAL;
  for (const auto& [weight, mean, deviation] : parts) {
    low = std::min(low, mean - 9 * deviation);
    high = std::max(high, mean + 9 * deviation);
    narrow = std::min(narrow, deviation);
  }
  const double step = narrow / 400;
  Told result;
  for (double x = low; x <= high; x += step) {
    std::vector<double> density(target.size(), 0);
    double sum = 0;
    for (size_t i = 0; i < parts.size(); ++i) {
      const double z = (x - parts[i][1]) / parts[i][2];
      density[states[i]] += target[states[i]] * parts[i][0] * std::exp(-z * z / 2) / parts[i][2] /
                            std::sqrt(2 * std::numbers::pi);
    }
    for (const double d : density) sum += d;
    for (size_t t = 0; t < target.size(); ++t)
      if (density[t] > 0) result.information += step * density[t] * std::log(density[t] / sum / target[t]);
    result.error_reduction += step * *std::max_element(density.begin(), density.end());
  }
  result.error_reduction -= *std::max_element(target.begin(), target.end());
  return result;
}

TEST(Observations, MixturesAgreeWithSumsOverAGrid) {
  for (uint64_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = new_domain();
    const size_t states = 2 + random.below(2), hidden = 1 + random.below(3);
    tv_node_t* target = add_node(domain.get(), "target", states);
    set_random_table(random, target, Values::positive);
    tv_node_t* part = add_node(domain.get(), "part", hidden, {target});
    set_random_table(random, part, Values::positive);
    tv_node_t* x = add_continuous(domain.get(), "x", 0, 1, {}, {target, part});
    std::vector<std::array<double, 3>> parts;
    std::vector<size_t> of;
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    for (size_t t = 0; t < states; ++t)
      for (size_t h = 0; h < hidden; ++h) {
        const double mean = 4 * random.uniform(),
                     variance = random.chance(0.3) ? 0.04 : 0.3 + random.uniform();
        const size_t configuration[] = {t, h};
        const tv_table_t* table = tv_node_get_table(x);
        std::vector<size_t> ordered;
        for (tv_node_t** member = tv_table_get_nodes(table); *member; ++member)
          if (*member != x) ordered.push_back(configuration[*member == target ? 0 : 1]);
        set_regression(x, tv_table_get_index_from_configuration(table, ordered.data()), mean, variance);
        parts.push_back({0, mean, std::sqrt(variance)});
        of.push_back(t);
      }
    tv_node_touch_table(x);
    ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    std::vector<double> belief;
    for (size_t t = 0; t < states; ++t) belief.push_back(static_cast<double>(tv_node_get_belief(target, t)));
    const QueryOwner query = new_query(domain);
    for (size_t t = 0; t < states; ++t) {
      tv_query_select_state(query.get(), target, t);
      tv_query_propagate(query.get(), tv_equilibrium_sum, tv_evidence_normal);
      for (size_t h = 0; h < hidden; ++h)
        parts[t * hidden + h][0] = static_cast<double>(tv_query_get_belief(query.get(), part, h));
    }
    tv_node_t* listed[] = {x, nullptr};
    const Observations ranking(tv_node_rank_observations(target, listed, nullptr));
    ASSERT_TRUE(ranking) << tv_error_message();
    const Told expected = told_by_grid(belief, parts, of);
    EXPECT_NEAR(tv_observations_get_information(ranking.get(), 0), expected.information, 1e-6);
    EXPECT_NEAR(tv_observations_get_error_reduction(ranking.get(), 0), expected.error_reduction, 2e-6);
  }
}

// A value that has a probability of its own is recognised: the target is known then, or a density is ruled
// out.
TEST(Observations, SingleValuesAmongDensities) {
  const DomainOwner domain = new_domain();
  tv_node_t* target = add_node(domain.get(), "target", 3, {}, {0.5f, 0.25f, 0.25f});
  tv_node_t* x = add_continuous(domain.get(), "x", 0, 0, {}, {target});
  set_regression(x, 0, 1, 1);
  set_regression(x, 1, 1, 0);
  set_regression(x, 2, 1, 0);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const Observations ranking(tv_node_rank_observations(target, nullptr, nullptr));
  EXPECT_NEAR(tv_observations_get_information(ranking.get(), 0), std::numbers::ln2, 1e-7);
  EXPECT_NEAR(tv_observations_get_error_reduction(ranking.get(), 0), 0.25, 1e-7);
  EXPECT_NEAR(tv_observations_get_bound(ranking.get()), 1.5 * std::numbers::ln2, 1e-7);
}

// Two normal distributions of one variance: the better guess is the nearer one.
TEST(Observations, ErrorOfTwoNormalDistributions) {
  for (const double distance : {0.1, 1.0, 3.0, 12.0}) {
    const DomainOwner domain = new_domain();
    tv_node_t* target = add_node(domain.get(), "target", 2, {}, {0.5, 0.5});
    tv_node_t* x = add_continuous(domain.get(), "x", 0, 1, {}, {target});
    set_regression(x, 1, distance, 1);
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    const Observations ranking(tv_node_rank_observations(target, nullptr, nullptr));
    const double hits = 0.5 * std::erfc(-distance / 2 / std::numbers::sqrt2);
    EXPECT_NEAR(tv_observations_get_error_reduction(ranking.get(), 0), hits - 0.5, 1e-7) << distance;
    if (distance > 10) {
      EXPECT_NEAR(tv_observations_get_information(ranking.get(), 0), std::numbers::ln2, 1e-7);
    }
  }
}

// ---- Values for decisions ----

bool is_open_decision(const tv_node_t* node) {
  return has_category(node, tv_category_decision) && tv_node_get_selected_state(node) < 0 &&
         tv_node_get_number_of_states(node) > 1;
}

bool is_below(tv_node_t* node, tv_node_t* above) {
  tv_node_t** below = tv_node_get_descendants(above);
  bool found = false;
  for (size_t i = 0; below[i]; ++i) found |= below[i] == node;
  std::free(below);
  return found;
}

// The best expected utility where the decision knows its parents and one more node, by definition.
struct Best {
  double utility = 0, magnitude = 0;
  bool is_possible = false;
};
Best best_utility(tv_domain_t* domain, tv_node_t* decision, const tv_node_t* known) {
  LimidOracle oracle(domain);
  const std::vector<float> policy = numbers_of(decision);
  float* data = tv_table_get_data(tv_node_get_table(decision));
  std::fill_n(data, policy.size(), 1.0f);
  oracle.refresh(decision);
  std::copy(policy.begin(), policy.end(), data);
  std::vector<const tv_node_t*> parents;
  for (tv_node_t** parent = tv_node_get_parents(decision); *parent; ++parent) parents.push_back(*parent);
  if (known) parents.push_back(known);
  std::map<std::vector<size_t>, std::vector<double>> utilities;
  const size_t states = tv_node_get_number_of_states(decision);
  double mass = 0;
  Best best;
  oracle.each(oracle.entered(), nullptr, [&](const LimidOracle::States& at, double weight) {
    std::vector<size_t> configuration;
    for (const tv_node_t* parent : parents) configuration.push_back(at.at(parent));
    std::vector<double>& of = utilities.try_emplace(configuration, states, 0.0).first->second;
    mass += weight / static_cast<double>(states);
    for (const tv_node_t* utility : oracle.utilities()) {
      of[at.at(decision)] += weight * oracle.utility(utility, at);
      best.magnitude += weight * std::abs(oracle.utility(utility, at));
    }
  });
  best.is_possible = mass > 0;
  for (const auto& [configuration, of] : utilities) best.utility += *std::max_element(of.begin(), of.end());
  best.utility /= mass;
  best.magnitude /= mass;
  return best;
}

TEST(Observations, ValuesForDecisionsAgreeWithEnumeration) {
  size_t compared = 0, worth_something = 0, refused = 0;
  for (uint64_t seed = 1; seed <= 400; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    LimidShape shape;
    shape.wild_utilities = false;
    shape.nodes = 7;
    const DomainOwner domain = random_limid(random, shape);
    std::vector<tv_node_t*> open;
    for (tv_node_t* node : nodes_of(domain.get()))
      if (is_open_decision(node)) open.push_back(node);
    if (open.empty() || nodes_with(domain.get(), tv_category_utility).empty()) continue;
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    for (tv_node_t* node : nodes_of(domain.get()))
      if (!has_category(node, tv_category_utility) && random.chance(0.15))
        tv_node_select_state(node, random.below(tv_node_get_number_of_states(node)));
    tv_node_t* decision = random.pick(open);
    if (!is_open_decision(decision)) continue;
    const std::string before = describe(domain.get());
    const ObservationValues values(tv_node_value_observations(decision, nullptr, nullptr));
    if (!values) {
      const tv_status_t status = tv_error_code();
      EXPECT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), status);
      ++refused;
      continue;
    }
    EXPECT_EQ(describe(domain.get()), before);
    const Best without = best_utility(domain.get(), decision, nullptr);
    ASSERT_TRUE(without.is_possible);
    const double tolerance = 2e-5 * (1 + without.magnitude);
    EXPECT_NEAR(tv_observation_values_get_expected_utility(values.get()), without.utility, tolerance);
    size_t expected = 0;
    for (tv_node_t* node : nodes_with(domain.get(), tv_category_chance))
      expected += tv_node_get_selected_state(node) < 0 && !is_below(node, decision);
    EXPECT_EQ(tv_observation_values_get_number(values.get()), expected);
    for (size_t i = 0; i < tv_observation_values_get_number(values.get()); ++i) {
      tv_node_t* node = tv_observation_values_get_node(values.get(), i);
      const double value = tv_observation_values_get_value(values.get(), i);
      EXPECT_NEAR(value, best_utility(domain.get(), decision, node).utility - without.utility, tolerance);
      EXPECT_LE(value, i > 0 ? tv_observation_values_get_value(values.get(), i - 1) : HUGE_VAL);
      ++compared;
      worth_something += value > 0.01;
    }
  }
  EXPECT_GT(compared, 200u);
  EXPECT_GT(worth_something, 20u);
  EXPECT_GT(refused, 5u);
}

// In a solved model it is what the expected utility of the domain grows by when the link is there.
TEST(Observations, ValueInASolvedModel) {
  const DomainOwner domain = new_domain();
  tv_node_t* oil = add_node(domain.get(), "oil", 2, {}, {0.75f, 0.25f});
  tv_node_t* rumour = add_node(domain.get(), "rumour", 2, {}, {0.5, 0.5});
  tv_node_t* drill = add_decision(domain.get(), "drill", 2, {});
  add_utility(domain.get(), "gain", {oil, drill}, {0, -4, 0, 20});
  tv_node_t* listed[] = {rumour, oil, nullptr};
  const double prices[] = {0, 1};
  const ObservationValues values(tv_node_value_observations(drill, listed, prices));
  ASSERT_TRUE(values) << tv_error_message();
  EXPECT_NEAR(tv_observation_values_get_expected_utility(values.get()), 2, 1e-6);
  EXPECT_EQ(tv_observation_values_get_node(values.get(), 0), oil);
  EXPECT_NEAR(tv_observation_values_get_value(values.get(), 0), 3, 1e-6);
  EXPECT_EQ(tv_observation_values_get_price(values.get(), 0), 1);
  EXPECT_EQ(tv_observation_values_get_value(values.get(), 1), 0);
}

// ---- What is refused ----

TEST(Observations, Refusals) {
  const DomainOwner domain = new_domain(), other = new_domain();
  tv_node_t* a = add_node(domain.get(), "a", 2, {}, {0.5, 0.5});
  tv_node_t* b = add_node(domain.get(), "b", 2, {a}, {1, 0, 0, 1});
  tv_node_t* c = add_node(domain.get(), "c", 2, {a}, {1, 0, 0, 1});
  tv_node_t* x = add_continuous(domain.get(), "x", 0, 1, {}, {b});
  tv_node_t* foreign = add_node(other.get(), "foreign", 2);
  const auto rank = [&](tv_node_t* target, std::vector<tv_node_t*> listed, std::vector<double> prices = {}) {
    return [=]() mutable {
      listed.push_back(nullptr);
      return tv_node_rank_observations(target, listed.size() > 1 ? listed.data() : nullptr,
                                       prices.empty() ? nullptr : prices.data());
    };
  };
  tv_domain_t* net = domain.get();
  expect_refusal(net, tv_status_not_compiled, "not compiled", rank(a, {}));
  ASSERT_EQ(tv_domain_compile(net), tv_status_none);
  expect_refusal(net, tv_status_usage, "continuous", rank(x, {}));
  expect_refusal(net, tv_status_usage, "another network", rank(a, {foreign}));
  expect_refusal(net, tv_status_usage, "asked about", rank(a, {a}));
  expect_refusal(net, tv_status_usage, "twice", rank(a, {b, b}));
  expect_refusal(net, tv_status_usage, "price", rank(a, {b}, {-1}));
  expect_refusal(net, tv_status_usage, "price", rank(a, {b}, {HUGE_VAL}));
  expect_refusal(net, tv_status_usage, "prices", rank(a, {}, {1}));
  expect_refusal(net, tv_status_usage, "",
                 [&] { return tv_node_rank_observations(nullptr, nullptr, nullptr); });
  for (const size_t length : {0, 4})
    expect_refusal(net, tv_status_usage, "one, two or three",
                   [&] { return tv_node_choose_observations(a, nullptr, nullptr, length); });
  tv_node_t* continuous[] = {x, nullptr};
  expect_refusal(net, tv_status_usage, "x",
                 [&] { return tv_node_choose_observations(a, continuous, nullptr, 1); });
  expect_refusal(net, tv_status_usage, "decision",
                 [&] { return tv_node_value_observations(a, nullptr, nullptr); });
  tv_node_select_state(b, 1);
  expect_refusal(net, tv_status_usage, "observed already", rank(a, {b}));
  expect_refusal(net, tv_status_usage, "known", rank(b, {}));
  tv_node_select_state(c, 0);
  expect_refusal(net, tv_status_inconsistency_or_underflow, "", rank(a, {}));
}

TEST(Observations, RefusalsAboutDecisions) {
  const DomainOwner domain = new_domain();
  tv_node_t* act = add_decision(domain.get(), "act", 2, {});
  tv_node_t* effect = add_node(domain.get(), "effect", 2, {act}, {0.9f, 0.1f, 0.2f, 0.8f});
  tv_node_t* later = add_decision(domain.get(), "later", 2, {effect});
  tv_domain_t* net = domain.get();
  const auto value = [](tv_node_t* decision, tv_node_t* node) {
    return [=]() {
      tv_node_t* listed[] = {node, nullptr};
      return tv_node_value_observations(decision, node ? listed : nullptr, nullptr);
    };
  };
  expect_refusal(net, tv_status_usage, "no utility", value(act, nullptr));
  add_utility(net, "gain", {effect, later}, {0, 1, 2, 3});
  expect_refusal(net, tv_status_usage, "influences", value(act, effect));
  ASSERT_EQ(tv_domain_compile(net), tv_status_none);
  expect_refusal(net, tv_status_invalid_evidence, "not made",
                 [&] { return tv_node_rank_observations(effect, nullptr, nullptr); });
  expect_refusal(net, tv_status_invalid_evidence, "\"effect\" is not made",
                 [&] { return tv_node_analyze_findings(effect, 0, 0); });
  expect_refusal(net, tv_status_invalid_evidence, "\"effect\" is not made",
                 [&] { return tv_node_explain_belief(effect, 0, 0, 0); });
  tv_node_select_state(effect, 0);
  expect_refusal(net, tv_status_invalid_evidence, "observed", value(later, nullptr));
  tv_node_retract_findings(effect);
  tv_node_select_state(act, 1);
  expect_refusal(net, tv_status_usage, "made", value(act, nullptr));
}

}  // namespace
}  // namespace test

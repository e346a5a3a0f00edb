// Expected utilities after propagation, against the sum over all configurations.
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "limid/limid_world.h"

namespace test {
namespace {

bool is_of_tree(const tv_node_t* utility, const tv_junction_tree_t* tree) {
  return tv_node_get_junction_tree(utility) == tree;
}

// Every result of the domain against the oracle's.
void expect_right_utilities(tv_domain_t* domain, tv_evidence_mode_t mode) {
  const LimidOracle oracle(domain);
  const LimidOracle::Evidence evidence = oracle.entered();
  const double tolerance = 1e-6 * oracle.magnitude(evidence) + 1e-30;
  double total = 0;
  for (tv_node_t* utility : oracle.utilities()) {
    const auto is_it = [&](const tv_node_t* other) { return other == utility; };
    const double expected = oracle.expectation(evidence, nullptr, {}, is_it);
    total += expected;
    EXPECT_NEAR(tv_node_get_expected_utility(utility, 0), expected, tolerance);
    double mass = 0, squares = 0, largest = 0;
    oracle.each(evidence, nullptr, [&](const LimidOracle::States& states, double weight) {
      mass += weight;
      squares += weight * std::pow(oracle.utility(utility, states) - expected, 2);
    });
    for (float number : numbers_of(utility))
      largest = std::max(largest, std::abs(static_cast<double>(number)));
    EXPECT_NEAR(tv_node_get_variance_of_utility(utility), squares / mass,
                1e-6 * squares / mass + 1e-12 * largest * largest);
  }
  EXPECT_NEAR(tv_domain_get_expected_utility(domain), total, 1e-9 * oracle.magnitude(evidence));
  for (tv_node_t* node : oracle.variables()) {
    const tv_junction_tree_t* tree = tv_node_get_junction_tree(node);
    const tv_node_t* without = mode == tv_evidence_fast_retraction ? node : nullptr;
    for (size_t s = 0; s < tv_node_get_number_of_states(node); ++s) {
      const double expected = oracle.expectation(
          evidence, without, {{node, s}}, [&](const tv_node_t* other) { return is_of_tree(other, tree); });
      EXPECT_NEAR(tv_node_get_expected_utility(node, s), expected, 1e-6 * std::abs(expected) + tolerance)
          << tv_node_get_name(node) << " state " << s;
    }
  }
}

void expect_right_beliefs(tv_domain_t* domain) {
  const LimidOracle oracle(domain);
  std::map<const tv_node_t*, std::vector<double>> beliefs;
  for (tv_node_t* node : oracle.variables()) beliefs[node].resize(tv_node_get_number_of_states(node));
  oracle.each(oracle.entered(), nullptr, [&](const LimidOracle::States& states, double weight) {
    for (auto& [node, belief] : beliefs) belief[states.at(node)] += weight;
  });
  for (const auto& [node, belief] : beliefs)
    for (size_t s = 0; s < belief.size(); ++s)
      EXPECT_NEAR(tv_node_get_belief(node, s), belief[s] / oracle.mass(oracle.entered()), 1e-5);
}

// The utility table of each clique: the expectation given each of its configurations.
void expect_right_clique_tables(tv_domain_t* domain, const LimidOracle& oracle,
                                const LimidOracle::Evidence& evidence) {
  for (tv_clique_t* clique = tv_domain_get_first_clique(domain); clique;
       clique = tv_clique_get_next(clique)) {
    tv_table_t* table = tv_clique_get_utility_table(clique);
    const tv_number_t* data = tv_table_get_data(table);
    std::vector<double> mass(tv_table_get_size(table)), sum(mass.size());
    oracle.each(evidence, nullptr, [&](const LimidOracle::States& states, double weight) {
      size_t index = 0;
      for (tv_node_t** member = tv_table_get_nodes(table); *member; ++member)
        index = index * tv_node_get_number_of_states(*member) + states.at(*member);
      mass[index] += weight;
      for (tv_node_t* utility : oracle.utilities())
        if (is_of_tree(utility, tv_clique_get_junction_tree(clique)))
          sum[index] += weight * oracle.utility(utility, states);
    });
    for (size_t i = 0; i < mass.size(); ++i) {
      const double expected = mass[i] > 0 ? sum[i] / mass[i] : 0;
      EXPECT_NEAR(data[i], expected, 1e-6 * std::abs(expected) + 1e-3 * (std::abs(expected) > 1e3) + 1e-4);
    }
  }
}

void expect_right_clique_tables(tv_domain_t* domain) {
  const LimidOracle oracle(domain);
  expect_right_clique_tables(domain, oracle, oracle.entered());
}

void change_evidence_anywhere(Generator& random, tv_domain_t* domain) {
  tv_node_t* node = random.pick(LimidOracle(domain).variables());
  if (!has_category(node, tv_category_decision))
    return change_evidence(random, node, random.chance(0.5) ? Findings::hard : Findings::positive);
  if (random.chance(0.3))
    tv_node_retract_findings(node);
  else
    tv_node_select_state(node, random.below(tv_node_get_number_of_states(node)));
}

TEST(ExpectedUtility, IsTheSumOverAllConfigurations) {
  size_t propagations = 0;
  for (uint64_t seed = 0; seed < 150; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = random_limid(random, {.nodes = 7, .max_joint = 120});
    if (nodes_with(domain.get(), tv_category_utility).empty()) continue;
    if (tv_domain_compile(domain.get()) != tv_status_none) continue;  // utility nodes alone
    expect_right_utilities(domain.get(), tv_evidence_normal);
    for (int step = 0; step < 6; ++step) {
      change_evidence_anywhere(random, domain.get());
      if (random.chance(0.1)) fill_table(random, random.pick(nodes_of(domain.get())), true);
      const auto equilibrium = random.chance(0.2) ? tv_equilibrium_max : tv_equilibrium_sum;
      const auto mode = random.chance(0.2) ? tv_evidence_fast_retraction : tv_evidence_normal;
      if (tv_domain_propagate(domain.get(), equilibrium, mode) != tv_status_none) {
        EXPECT_NE(tv_error_code(), tv_status_error);
        tv_domain_retract_findings(domain.get());
        ASSERT_EQ(tv_domain_propagate(domain.get(), equilibrium, mode), tv_status_none);
      }
      // Fast retraction may not notice that the evidence is impossible.
      if (LimidOracle(domain.get()).mass(LimidOracle(domain.get()).entered()) == 0) continue;
      ++propagations;
      expect_right_utilities(domain.get(), mode);
      if (mode == tv_evidence_normal && step % 3 == 0) expect_right_clique_tables(domain.get());
      if (HasFailure()) return;
    }
  }
  EXPECT_GT(propagations, 400u);
}

void reorder_parents(Generator& random, tv_node_t* node) {
  tv_table_t* const table = tv_node_get_table(node);
  std::vector<tv_node_t*> order;
  for (tv_node_t** member = tv_table_get_nodes(table); *member; ++member) order.push_back(*member);
  const size_t free = order.size() - !has_category(node, tv_category_utility);
  for (size_t i = free; i > 1; --i) std::swap(order[i - 1], order[random.below(i)]);
  order.push_back(nullptr);
  EXPECT_EQ(tv_table_reorder_nodes(table, order.data()), tv_status_none);
}

// Neither what is entered nor what is changed counts before it is propagated, also not in tables that are
// formed when they are first asked for.
TEST(ExpectedUtility, CliqueTablesShowWhatIsPropagated) {
  size_t looks = 0;
  for (uint64_t seed = 300; seed < 400; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = random_limid(random, {.nodes = 7, .max_joint = 120});
    if (nodes_with(domain.get(), tv_category_utility).empty()) continue;
    if (tv_domain_compile(domain.get()) != tv_status_none) continue;
    for (int step = 0; step < 4; ++step) {
      change_evidence_anywhere(random, domain.get());
      if (tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal) != tv_status_none) {
        tv_domain_retract_findings(domain.get());
        ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
      }
      if (random.chance(0.4)) {
        ASSERT_EQ(tv_domain_update_policies(domain.get()), tv_status_none);
      }
      const LimidOracle oracle(domain.get());
      const LimidOracle::Evidence evidence = oracle.entered();
      for (int change = 0; change < 3; ++change) {
        tv_node_t* const node = random.pick(nodes_of(domain.get()));
        if (random.chance(0.3))
          fill_table(random, node, false);
        else if (random.chance(0.5))
          reorder_parents(random, node);
        else
          change_evidence_anywhere(random, domain.get());
      }
      expect_right_clique_tables(domain.get(), oracle, evidence);
      ++looks;
      if (HasFailure()) return;
    }
  }
  EXPECT_GT(looks, 200u);
}

// Resets show the policies of all decisions, also of those that are entered as made.
TEST(ExpectedUtility, CopiesOfTheInitialTablesHoldThePolicies) {
  size_t resets = 0;
  for (uint64_t seed = 500; seed < 600; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = random_limid(random, {.nodes = 6, .max_joint = 100, .decision_chance = 0.5});
    if (nodes_with(domain.get(), tv_category_utility).empty()) continue;
    if (tv_domain_compile(domain.get()) != tv_status_none) continue;
    for (int step = 0; step < 8; ++step) {
      change_evidence_anywhere(random, domain.get());
      if (random.chance(0.2)) fill_table(random, random.pick(nodes_of(domain.get())), false);
      const auto mode = random.chance(0.2) ? tv_evidence_fast_retraction : tv_evidence_normal;
      const tv_status_t status = tv_domain_propagate(domain.get(), tv_equilibrium_sum, mode);
      const bool possible = LimidOracle(domain.get()).mass(LimidOracle(domain.get()).entered()) > 0;
      if (status == tv_status_none && possible) {
        expect_right_utilities(domain.get(), mode);
        if (mode == tv_evidence_normal) expect_right_beliefs(domain.get());
      }
      if (random.chance(0.3)) {
        ASSERT_EQ(tv_domain_save_to_memory(domain.get()), tv_status_none);
      }
      if (random.chance(0.1)) {
        ASSERT_EQ(tv_domain_reclaim_memory_tables(domain.get()), tv_status_none);
      }
      if (random.chance(0.4)) {
        ASSERT_EQ(tv_domain_initialize(domain.get()), tv_status_none);
        if (tv_domain_equilibrium_is(domain.get(), tv_equilibrium_sum) == 1) {
          ++resets;
          expect_right_utilities(domain.get(), tv_evidence_normal);
          expect_right_beliefs(domain.get());
          EXPECT_NEAR(tv_domain_get_log_normalization_constant(domain.get()), 0, 1e-5);
        }
      }
      if (HasFailure()) return;
    }
  }
  EXPECT_GT(resets, 50u);
}

TEST(ExpectedUtility, LargeCliquesAreSummedInBlocks) {
  for (const std::vector<size_t>& states :
       {std::vector<size_t>(14, 2), {3, 5, 2, 7, 11, 4}, {5000, 3}, {2, 4096, 2}, {2, 3, 1500, 2}}) {
    Generator random(states.size());
    const DomainOwner domain = new_domain();
    std::vector<tv_node_t*> nodes;
    for (size_t count : states) {
      const size_t known = std::min<size_t>(nodes.size(), 2);
      nodes.push_back(add_special(domain.get(), tv_category_chance, nullptr, count,
                                  {nodes.end() - static_cast<std::ptrdiff_t>(known), nodes.end()}));
      fill_table(random, nodes.back(), false);
    }
    // All nodes together, and each for itself.
    tv_node_t* choice = add_decision(domain.get(), nullptr, 2, nodes);
    fill_table(random, choice, false);
    for (tv_node_t* node : nodes)
      fill_table(random, add_utility(domain.get(), nullptr, {node, choice}), false);
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    const LimidOracle oracle(domain.get());
    const double expected = oracle.expected_utility({});
    EXPECT_NEAR(tv_domain_get_expected_utility(domain.get()), expected, 1e-6 * oracle.magnitude({}));
    const auto all = [](const tv_node_t*) { return true; };
    EXPECT_NEAR(tv_node_get_expected_utility(nodes[1], 1),
                oracle.expectation({}, nullptr, {{nodes[1], 1}}, all), 1e-6 * oracle.magnitude({}));
    expect_right_clique_tables(domain.get());

    tv_node_select_state(choice, 1);
    tv_node_select_state(nodes[0], tv_node_get_belief(nodes[0], 1) > 0);
    ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    EXPECT_NEAR(tv_domain_get_expected_utility(domain.get()), oracle.expected_utility(oracle.entered()),
                1e-5 * oracle.magnitude(oracle.entered()));
    tv_node_retract_findings(choice);
    ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    ASSERT_EQ(tv_domain_update_policies(domain.get()), tv_status_none);
    EXPECT_GE(tv_domain_get_expected_utility(domain.get()), oracle.expected_utility(oracle.entered()));
  }
}

// Umbrella: rain 0.3; a forecast; taking it or not.
struct Umbrella {
  DomainOwner domain = new_domain();
  tv_node_t* rain = add_node(domain.get(), "rain", 2, {}, {0.7f, 0.3f});
  tv_node_t* forecast = add_node(domain.get(), "forecast", 2, {rain}, {0.9f, 0.1f, 0.2f, 0.8f});
  tv_node_t* take = add_decision(domain.get(), "take", 2, {forecast});
  tv_node_t* comfort = add_utility(domain.get(), "comfort", {take, rain}, {100, 0, 60, 80});
  Umbrella() { tv_domain_compile(domain.get()); }
  void propagate() { tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal); }
};

TEST(ExpectedUtility, EvidenceOnADecisionStandsInThePlaceOfItsPolicy) {
  Umbrella world;
  set_table(world.take, {0, 1, 1, 0});
  tv_node_select_state(world.take, 0);
  world.propagate();
  // What was decided says nothing about the forecast, however unlikely the policy makes it.
  EXPECT_NEAR(tv_node_get_belief(world.rain, 1), 0.3, 1e-6);
  EXPECT_NEAR(tv_domain_get_expected_utility(world.domain.get()), 70, 1e-4);
  EXPECT_NEAR(tv_domain_get_normalization_constant(world.domain.get()), 1, 1e-6);
  tv_node_retract_findings(world.take);
  world.propagate();
  EXPECT_NEAR(tv_node_get_expected_utility(world.take, 0),
              100 * (0.3 * 0.2 * 0 + 0.7 * 0.1) / (0.7 * 0.1 + 0.3 * 0.8), 1e-4);
  tv_domain_save_to_memory(world.domain.get());
  for (size_t state : {0u, 1u}) {
    tv_node_select_state(world.take, state);
    for (auto mode : {tv_evidence_normal, tv_evidence_fast_retraction}) {
      ASSERT_EQ(tv_domain_propagate(world.domain.get(), tv_equilibrium_sum, mode), tv_status_none);
      EXPECT_NEAR(tv_domain_get_expected_utility(world.domain.get()), state ? 66 : 70, 1e-4);
    }
  }
}

TEST(ExpectedUtility, ExtremesAndTheTableBeforeAPropagationComeFromTheNodes) {
  Umbrella world;
  EXPECT_EQ(tv_node_get_min_utility(world.comfort), 0);
  EXPECT_EQ(tv_node_get_max_utility(world.comfort), 100);
  tv_domain_reset_inference_engine(world.domain.get());
  EXPECT_EQ(tv_node_get_expected_utility(world.take, 0), -1);
  EXPECT_EQ(tv_error_code(), tv_status_no_equilibrium);
  tv_clique_t* clique = tv_domain_get_first_clique(world.domain.get());
  double sum = 0;
  for (; clique; clique = tv_clique_get_next(clique)) {
    tv_table_t* table = tv_clique_get_utility_table(clique);
    for (size_t i = 0; i < tv_table_get_size(table); ++i) sum += tv_table_get_data(table)[i];
  }
  EXPECT_FLOAT_EQ(static_cast<float>(sum), 2 * 240);  // for each state of the forecast
  EXPECT_EQ(tv_node_get_expected_utility(world.comfort, 1), -1);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
}

TEST(ExpectedUtility, DecisionModelsHaveTwoTablesACliqueButNoConflict) {
  Umbrella world;
  tv_junction_tree_t* tree = tv_domain_get_first_junction_tree(world.domain.get());
  EXPECT_EQ(tv_jt_get_total_size(tree), 2 * 8u);
  EXPECT_EQ(tv_domain_get_conflict(world.domain.get()), -1);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(tv_jt_get_conflict(tree), -1);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  tv_node_delete(world.comfort);
  ASSERT_EQ(tv_domain_compile(world.domain.get()), tv_status_none);
  EXPECT_EQ(tv_clique_get_utility_table(tv_domain_get_first_clique(world.domain.get())), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_none);
  EXPECT_EQ(tv_domain_get_expected_utility(world.domain.get()), 0);
  tv_domain_propagate(world.domain.get(), tv_equilibrium_max, tv_evidence_normal);
  EXPECT_EQ(tv_domain_get_expected_utility(world.domain.get()), -1);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
}

TEST(ExpectedUtility, OfFunctionNodesIsReadAfterSums) {
  const DomainOwner domain = new_domain();
  tv_node_t* constant = add_special(domain.get(), tv_category_function, "constant", 2, {}, {0.25f, 0.75f});
  tv_node_t* seen = add_node(domain.get(), "seen", 2, {constant}, {1, 0, 0.5f, 0.5f});
  add_utility(domain.get(), "gain", {seen}, {0, 8});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  EXPECT_EQ(tv_node_get_expected_utility(constant, 1), 4);
  ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_max, tv_evidence_normal), tv_status_none);
  EXPECT_EQ(tv_node_get_expected_utility(seen, 1), 8);
  EXPECT_EQ(tv_node_get_expected_utility(constant, 1), -1);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
}

// A cause with so many signs that the probability of some of them, before the others are known, is far below
// what a double holds. Half of them hang on a copy of the cause. In the end two states are about as likely as
// before; the third may be all but impossible.
TEST(ExpectedUtility, ManyFindingsLoseNothing) {
  for (const size_t count : {60u, 700u, 3000u})
    for (const double share_of_first : {1.0, 0.5}) {
      SCOPED_TRACE(testing::Message() << count << " " << share_of_first);
      Generator random(count);
      const DomainOwner domain(new_domain());
      tv_node_t* const cause = add_node(domain.get(), "cause", 3);
      const double prior[] = {0.2, 0.5, 0.3}, seen[] = {0.5, 0.9, 0.3};  // by the decision
      std::vector<float> gain(3 * 7 * 2);
      for (float& each : gain) each = static_cast<float>(10 * random.uniform());
      set_table(cause, {0.2f, 0.5f, 0.3f});
      tv_node_t* const copy =
          add_special(domain.get(), tv_category_chance, "copy", 3, {cause}, {1, 0, 0, 0, 1, 0, 0, 0, 1});
      tv_node_t* const sight = add_special(domain.get(), tv_category_chance, "sight", 2, {cause},
                                           {0.5f, 0.5f, 0.9f, 0.1f, 0.3f, 0.7f});
      const std::vector<float> place_prior = {0.1f, 0.1f, 0.1f, 0.2f, 0.2f, 0.2f, 0.1f};
      tv_node_t* const place = add_special(domain.get(), tv_category_chance, "place", 7, {}, place_prior);
      tv_node_t* const choice = add_decision(domain.get(), "choice", 2, {sight});
      tv_node_t* const utility = add_utility(domain.get(), "gain", {cause, place, choice}, gain);
      double weights[3];
      for (size_t c = 0; c < 3; ++c) weights[c] = std::log(prior[c]);
      for (size_t i = 0; i < count; ++i) {
        const double likely = 0.5, unlikely = 0.02, between = 0.1 * share_of_first;
        const bool half = i < count / 2;
        const double by_cause[] = {between, half ? likely : unlikely, half ? unlikely : likely};
        std::vector<float> data;
        for (size_t c = 0; c < 3; ++c) {
          data.push_back(static_cast<float>(by_cause[c] * (0.99 + 0.02 * random.uniform())));
          data.push_back(1 - data.back());
          weights[c] += std::log(static_cast<double>(data[2 * c]));
        }
        tv_node_select_state(
            add_special(domain.get(), tv_category_chance, nullptr, 2, {half ? copy : cause}, data), 0);
      }
      std::vector<float> graded;  // signs of the place, each for one of its states
      for (size_t l = 0; l < 7; ++l)
        graded.insert(graded.end(), {std::ldexp(0.5f, int(l) - 6), 1 - std::ldexp(0.5f, int(l) - 6)});
      for (size_t i = 0; share_of_first < 1 && i < count; ++i)
        tv_node_select_state(add_special(domain.get(), tv_category_chance, nullptr, 2, {place}, graded), 0);
      ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
      ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
      ASSERT_EQ(tv_domain_update_policies(domain.get()), tv_status_none);
      ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
      double places[7];
      for (size_t l = 0; l < 7; ++l)
        places[l] =
            static_cast<double>(place_prior[l]) * std::pow(0.5, share_of_first < 1 ? count * (6 - l) : 0);
      const double places_mass = std::accumulate(places, places + 7, 0.0);
      const double largest = *std::max_element(weights, weights + 3);
      double mass = 0, best = 0, squares = 0;
      for (double& weight : weights) mass += weight = std::exp(weight - largest);
      for (size_t o = 0; o < 2; ++o) {
        double by_choice[2] = {}, square[2] = {};
        for (size_t c = 0; c < 3; ++c)
          for (size_t l = 0; l < 7; ++l)
            for (size_t d = 0; d < 2; ++d) {
              const double p = weights[c] / mass * (o == 0 ? seen[c] : 1 - seen[c]) * places[l] / places_mass;
              const auto value = static_cast<double>(gain[(c * 7 + l) * 2 + d]);
              by_choice[d] += p * value;
              square[d] += p * value * value;
            }
        const size_t chosen = by_choice[1] > by_choice[0];
        best += by_choice[chosen];
        squares += square[chosen];
        EXPECT_EQ(numbers_of(choice)[2 * o + chosen], 1.0f);
      }
      EXPECT_NEAR(tv_domain_get_expected_utility(domain.get()), best, 1e-5 * best);
      EXPECT_NEAR(tv_node_get_variance_of_utility(utility), squares - best * best, 1e-4 * squares);
      for (size_t c = 0; c < 3; ++c)
        EXPECT_NEAR(tv_node_get_belief(cause, c), weights[c] / mass, 1e-5 * weights[c] / mass + 1e-29);
    }
}

TEST(ExpectedUtility, InconsistentEvidenceLeavesNoResult) {
  Umbrella world;
  set_table(world.rain, {1, 0});
  tv_node_select_state(world.rain, 1);
  tv_node_select_state(world.take, 1);
  EXPECT_EQ(tv_domain_propagate(world.domain.get(), tv_equilibrium_sum, tv_evidence_normal),
            tv_status_inconsistency_or_underflow);
  EXPECT_EQ(tv_domain_get_expected_utility(world.domain.get()), -1);
  tv_node_retract_findings(world.rain);
  world.propagate();
  EXPECT_NEAR(tv_domain_get_expected_utility(world.domain.get()), 60, 1e-4);
}

}  // namespace
}  // namespace test

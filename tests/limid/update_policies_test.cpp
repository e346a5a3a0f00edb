// Single policy updating: policies that cannot be improved one at a time, the best of all where every
// decision remembers what was known before it.
#include <gtest/gtest.h>

#include <cmath>

#include "limid/limid_world.h"

namespace test {
namespace {

tv_status_t propagate(const DomainOwner& domain) {
  return tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal);
}

std::vector<std::vector<float>> policies_of(const DomainOwner& domain) {
  std::vector<std::vector<float>> policies;
  for (tv_node_t* node : nodes_with(domain.get(), tv_category_decision)) policies.push_back(numbers_of(node));
  return policies;
}

bool is_unmade(const tv_node_t* node) {
  return has_category(node, tv_category_decision) && tv_node_get_number_of_states(node) > 1 &&
         tv_node_evidence_is_entered(node) == 0;
}

// For each entry of an unmade decision's table: probability times utility, its own policy left out.
struct Family {
  std::vector<double> utilities, magnitudes;
};
Family family_of(tv_domain_t* domain, tv_node_t* decision) {
  LimidOracle oracle(domain);
  const std::vector<float> kept = numbers_of(decision);
  float* data = tv_table_get_data(tv_node_get_table(decision));
  std::fill_n(data, kept.size(), 1.0f);
  oracle.refresh(decision);
  std::copy(kept.begin(), kept.end(), data);
  Family family{std::vector<double>(kept.size()), std::vector<double>(kept.size())};
  tv_node_t** members = tv_table_get_nodes(tv_node_get_table(decision));
  const tv_junction_tree_t* tree = tv_node_get_junction_tree(decision);
  oracle.each(oracle.entered(), nullptr, [&](const LimidOracle::States& states, double weight) {
    size_t index = 0;
    for (tv_node_t** member = members; *member; ++member)
      index = index * tv_node_get_number_of_states(*member) + states.at(*member);
    for (tv_node_t* utility : oracle.utilities()) {
      if (tv_node_get_junction_tree(utility) != tree) continue;
      family.utilities[index] += weight * oracle.utility(utility, states);
      family.magnitudes[index] += weight * std::abs(oracle.utility(utility, states));
    }
  });
  return family;
}

// No state with a positive policy is worse than the best one beyond the tolerance.
void expect_locally_optimal(tv_domain_t* domain) {
  for (tv_node_t* decision : nodes_with(domain, tv_category_decision)) {
    if (!is_unmade(decision)) continue;
    const Family family = family_of(domain, decision);
    const std::vector<float> policy = numbers_of(decision);
    const size_t states = tv_node_get_number_of_states(decision);
    for (size_t i = 0; i < policy.size(); i += states) {
      const auto* utilities = &family.utilities[i];
      const double best = *std::max_element(utilities, utilities + states);
      const double noise = 1e-9 * *std::max_element(&family.magnitudes[i], &family.magnitudes[i] + states);
      double sum = 0;
      for (size_t s = 0; s < states; ++s) {
        sum += policy[i + s];
        if (policy[i + s] > 0) {
          EXPECT_GE(utilities[s], best - 6.1e-6 * std::abs(best) - noise);
        }
      }
      EXPECT_NEAR(sum, 1, 1e-6);
    }
  }
}

void expect_reported_utility(const DomainOwner& domain) {
  const LimidOracle oracle(domain.get());
  const auto evidence = oracle.entered();
  const double expected = oracle.expected_utility(evidence);
  EXPECT_NEAR(tv_domain_get_expected_utility(domain.get()), expected,
              1e-6 * std::abs(expected) + 1e-9 * oracle.magnitude(evidence));
}

TEST(UpdatePolicies, NoSinglePolicyCanBeImproved) {
  size_t updates = 0, changes = 0;
  for (uint64_t seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed + 1000);
    const DomainOwner domain = random_limid(random, {.nodes = 8, .max_joint = 400});
    if (tv_domain_compile(domain.get()) != tv_status_none) continue;
    for (tv_node_t* node : nodes_of(domain.get()))
      if (!has_category(node, tv_category_utility) && random.chance(0.2))
        tv_node_select_state(node, random.below(tv_node_get_number_of_states(node)));
    if (propagate(domain) != tv_status_none) {
      tv_domain_retract_findings(domain.get());
      ASSERT_EQ(propagate(domain), tv_status_none);
    }
    const auto before = policies_of(domain);
    const double utility_before = tv_domain_get_expected_utility(domain.get());
    const double constant = tv_domain_get_log_normalization_constant(domain.get());
    ASSERT_EQ(tv_domain_update_policies(domain.get()), tv_status_none);
    const auto after = policies_of(domain);
    const double utility = tv_domain_get_expected_utility(domain.get());
    ++updates;
    changes += before != after;
    EXPECT_EQ(tv_domain_equilibrium_is(domain.get(), tv_equilibrium_sum), 1);
    EXPECT_EQ(tv_domain_evidence_to_propagate(domain.get()), 0);
    EXPECT_NEAR(tv_domain_get_log_normalization_constant(domain.get()), constant, 1e-5);
    EXPECT_GE(utility, utility_before - 1e-5 * std::abs(utility_before) - 1e-9);
    const auto decisions = nodes_with(domain.get(), tv_category_decision);
    for (size_t d = 0; d < decisions.size(); ++d)
      if (!is_unmade(decisions[d])) {
        EXPECT_EQ(before[d], after[d]) << tv_node_get_name(decisions[d]);
      }
    expect_reported_utility(domain);
    expect_locally_optimal(domain.get());

    ASSERT_EQ(tv_domain_update_policies(domain.get()), tv_status_none);
    EXPECT_EQ(policies_of(domain), after) << "a second update changes policies";
    EXPECT_EQ(tv_domain_get_expected_utility(domain.get()), utility);
    if (HasFailure()) return;
  }
  EXPECT_GT(updates, 300u);
  EXPECT_GT(changes, 150u);
}

// Decisions in a row, each knowing everything that came before it.
DomainOwner with_perfect_recall(Generator& random) {
  DomainOwner domain = new_domain();
  std::vector<tv_node_t*> known, nodes;
  const auto pick = [&](const std::vector<tv_node_t*>& from, double chance) {
    std::vector<tv_node_t*> picked;
    for (tv_node_t* node : from)
      if (picked.size() < 3 && random.chance(chance)) picked.push_back(node);
    return picked;
  };
  tv_node_t* hidden = add_node(domain.get(), nullptr, 2 + random.below(2));
  nodes.push_back(hidden);
  fill_table(random, hidden, false);
  for (size_t d = 0; d < 2; ++d) {
    if (d == 0 || random.chance(0.5)) {
      tv_node_t* seen = add_special(domain.get(), tv_category_chance, nullptr, 2, pick(nodes, 0.7));
      fill_table(random, seen, false);
      nodes.push_back(seen);
      known.push_back(seen);
    }
    tv_node_t* decision = add_decision(domain.get(), nullptr, 2, known);
    nodes.push_back(decision);
    known.push_back(decision);
    if (random.chance(0.5)) fill_table(random, add_utility(domain.get(), nullptr, pick(nodes, 0.5)), true);
  }
  fill_table(random, add_utility(domain.get(), nullptr, pick(nodes, 0.8)), true);
  return domain;
}

TEST(UpdatePolicies, PerfectRecallGivesTheBestOfAllPolicies) {
  size_t compared = 0;
  for (uint64_t seed = 0; seed < 50; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = with_perfect_recall(random);
    if (number_of_policies(domain.get()) > 1100) continue;
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    ASSERT_EQ(tv_domain_update_policies(domain.get()), tv_status_none);
    const double found = tv_domain_get_expected_utility(domain.get());
    EXPECT_NEAR(found, best_over_all_policies(domain.get()), 1e-5 * std::abs(found) + 1e-6);
    ++compared;
  }
  EXPECT_GT(compared, 20u);
}

TEST(UpdatePolicies, StatesThatAreAlmostAsGoodStay) {
  const struct {
    float utilities[2];
    bool first_stays;
  } cases[] = {{{1e6f, 1e6f - 5.9375f}, true},
               {{1e6f - 5.9375f, 1e6f}, true},
               {{1e6f - 6, 1e6f}, false},
               {{-1e6f - 5.9375f, -1e6f}, true},
               {{-1e6f - 6, -1e6f}, false},
               {{0, 0}, true},
               {{-1, 0}, false}};
  for (const auto& test : cases) {
    const DomainOwner domain = new_domain();
    tv_node_t* choice = add_decision(domain.get(), "choice", 2, {});
    add_utility(domain.get(), "gain", {choice}, {test.utilities[0], test.utilities[1]});
    tv_domain_compile(domain.get());
    ASSERT_EQ(tv_domain_update_policies(domain.get()), tv_status_none);
    EXPECT_EQ(numbers_of(choice),
              test.first_stays ? (std::vector<float>{0.5f, 0.5f}) : (std::vector<float>{0, 1}));
  }
}

TEST(UpdatePolicies, MixturesAreKeptWhereTheStatesAreAsGood) {
  const DomainOwner domain = new_domain();
  tv_node_t* seen = add_node(domain.get(), "seen", 3, {}, {0.5f, 0.5f, 0});
  tv_node_t* choice =
      add_decision(domain.get(), "choice", 3, {seen}, {0.25f, 0.25f, 0.5f, 0, 0, 1, 0.125f, 0.75f, 0.125f});
  add_utility(domain.get(), "gain", {seen, choice}, {2, 2, 1, 3, 3, 2, 5, 6, 7});
  tv_domain_compile(domain.get());
  ASSERT_EQ(tv_domain_update_policies(domain.get()), tv_status_none);
  // Rescaled; spread over the best states when none of them had a share; untouched where it never matters.
  EXPECT_EQ(numbers_of(choice), (std::vector<float>{0.5f, 0.5f, 0, 0.5f, 0.5f, 0, 0.125f, 0.75f, 0.125f}));
}

// Two decisions that must agree, and know nothing of each other.
TEST(UpdatePolicies, StopsAtALocalOptimum) {
  const DomainOwner domain = new_domain();
  tv_node_t* left = add_decision(domain.get(), "left", 2, {}, {0.9f, 0.1f});
  tv_node_t* right = add_decision(domain.get(), "right", 2, {}, {0.9f, 0.1f});
  add_utility(domain.get(), "agreement", {left, right}, {1, 0, 0, 2});
  tv_domain_compile(domain.get());
  ASSERT_EQ(tv_domain_update_policies(domain.get()), tv_status_none);
  EXPECT_EQ(tv_domain_get_expected_utility(domain.get()), 1);
  set_table(right, {0.5f, 0.5f});
  propagate(domain);
  set_table(left, {0.5f, 0.5f});
  propagate(domain);
  ASSERT_EQ(tv_domain_update_policies(domain.get()), tv_status_none);
  EXPECT_EQ(tv_domain_get_expected_utility(domain.get()), 2);
}

TEST(UpdatePolicies, SmallUtilitiesCountBesideHugeOnesThatCancel) {
  const DomainOwner domain = new_domain();
  tv_node_t* coin = add_node(domain.get(), "coin", 2, {}, {0.5f, 0.5f});
  tv_node_t* choice = add_decision(domain.get(), "choice", 2, {});
  add_utility(domain.get(), "stake", {coin}, {1e9f, -1e9f});
  add_utility(domain.get(), "gain", {choice}, {0.001f, 0.002f});
  add_utility(domain.get(), "debt", {choice}, {-3e8f, -3e8f});
  add_utility(domain.get(), "credit", {choice}, {3e8f, 3e8f});
  tv_domain_compile(domain.get());
  ASSERT_EQ(tv_domain_update_policies(domain.get()), tv_status_none);
  EXPECT_EQ(numbers_of(choice), (std::vector<float>{0, 1}));
}

TEST(UpdatePolicies, NeedsASettledDomain) {
  const DomainOwner domain = new_domain();
  tv_node_t* seen = add_node(domain.get(), "seen", 2, {}, {0.25f, 0.75f});
  tv_node_t* choice = add_decision(domain.get(), "choice", 2, {seen});
  EXPECT_EQ(tv_domain_update_policies(nullptr), tv_status_usage);
  EXPECT_EQ(tv_domain_update_policies(domain.get()), tv_status_not_compiled);
  tv_domain_compile(domain.get());
  EXPECT_EQ(tv_domain_update_policies(domain.get()), tv_status_none) << "nothing to gain";
  EXPECT_EQ(numbers_of(choice), (std::vector<float>{0.5f, 0.5f, 0.5f, 0.5f}));
  add_utility(domain.get(), "gain", {seen, choice}, {0, 1, 1, 0});
  tv_domain_compile(domain.get());

  tv_node_select_state(seen, 0);
  EXPECT_EQ(tv_domain_update_policies(domain.get()), tv_status_usage) << "evidence waits";
  propagate(domain);
  set_table(seen, {0.5f, 0.5f});
  EXPECT_EQ(tv_domain_update_policies(domain.get()), tv_status_usage) << "a table waits";
  tv_domain_propagate(domain.get(), tv_equilibrium_max, tv_evidence_normal);
  EXPECT_EQ(tv_domain_update_policies(domain.get()), tv_status_usage) << "not a sum";
  tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_fast_retraction);
  EXPECT_EQ(tv_domain_update_policies(domain.get()), tv_status_usage) << "not normal";
  tv_domain_reset_inference_engine(domain.get());
  EXPECT_EQ(tv_domain_update_policies(domain.get()), tv_status_usage) << "no equilibrium";
  propagate(domain);
  EXPECT_EQ(tv_domain_update_policies(domain.get()), tv_status_none);
  // Only what can occur was decided.
  EXPECT_EQ(numbers_of(choice), (std::vector<float>{0, 1, 0.5f, 0.5f}));
}

tv_node_t* add_function(const DomainOwner& domain, const char* name, const std::vector<tv_node_t*>& parents) {
  return add_special(domain.get(), tv_category_function, name, 2, parents);
}

TEST(UpdatePolicies, RefusesNetworksWithAFunctionBetweenOtherNodes) {
  const DomainOwner domain = new_domain();
  tv_node_t* source = add_node(domain.get(), "source", 2, {}, {0.25f, 0.75f});
  tv_node_t* function = add_function(domain, "function", {source});
  tv_node_t* market = add_node(domain.get(), "market", 2);
  tv_node_t* choice = add_decision(domain.get(), "choice", 2, {});
  add_utility(domain.get(), "gain", {choice, market}, {0, 1, 1, 5});
  ASSERT_EQ(tv_node_add_parent(market, function), tv_status_none);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  EXPECT_EQ(tv_domain_get_expected_utility(domain.get()), 1.75);
  EXPECT_EQ(tv_domain_update_policies(domain.get()), tv_status_functional_dependency);
  EXPECT_EQ(numbers_of(choice), (std::vector<float>{0.5f, 0.5f}));
  EXPECT_EQ(tv_node_get_requisite_parents(choice), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_functional_dependency);
  EXPECT_EQ(tv_node_get_requisite_ancestors(choice), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_functional_dependency);
  tv_node_remove_parent(function, source);
  tv_domain_compile(domain.get());
  EXPECT_EQ(tv_domain_update_policies(domain.get()), tv_status_none);
  EXPECT_EQ(numbers_of(choice), (std::vector<float>{0, 1}));
}

TEST(UpdatePolicies, FunctionsOfResultsFollowTheNewPolicies) {
  const DomainOwner domain = new_domain();
  tv_node_t* choice = add_decision(domain.get(), "choice", 2, {});
  tv_node_t* gain = add_utility(domain.get(), "gain", {choice}, {0, 1});
  tv_node_t* rich = add_function(domain, "rich", {gain});
  tv_node_set_subtype(rich, tv_subtype_boolean);
  tv_node_t* no_nodes[] = {nullptr};
  tv_model_set_expression(tv_node_new_model(rich, no_nodes), 0,
                          tv_string_to_expression("gain > 0.75", domain.get(), nullptr, nullptr));
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  EXPECT_EQ(tv_node_get_belief(rich, 1), 0);
  ASSERT_EQ(tv_domain_update_policies(domain.get()), tv_status_none);
  EXPECT_EQ(tv_node_get_belief(rich, 1), 1);
}

TEST(UpdatePolicies, TheHostCanStopIt) {
  const DomainOwner domain = new_domain();
  tv_node_t* choice = add_decision(domain.get(), "choice", 2, {});
  add_utility(domain.get(), "gain", {choice}, {0, 1});
  tv_domain_compile(domain.get());
  const auto stop = [](const char* task, double, void*) { return task == std::string("policies") ? 1 : 0; };
  tv_domain_set_progress_handler(domain.get(), stop, nullptr);
  EXPECT_EQ(tv_domain_update_policies(domain.get()), tv_status_error);
  EXPECT_EQ(tv_domain_get_expected_utility(domain.get()), -1);
  EXPECT_EQ(tv_error_code(), tv_status_no_equilibrium);
  tv_domain_set_progress_handler(domain.get(), nullptr, nullptr);
  propagate(domain);
  EXPECT_EQ(tv_domain_update_policies(domain.get()), tv_status_none);
  EXPECT_EQ(tv_domain_get_expected_utility(domain.get()), 1);
}

TEST(UpdatePolicies, InconsistentEvidenceIsReportedAndThePoliciesSurvive) {
  const DomainOwner domain = new_domain();
  tv_node_t* seen = add_node(domain.get(), "seen", 2, {}, {1, 0});
  tv_node_t* choice = add_decision(domain.get(), "choice", 2, {seen});
  add_utility(domain.get(), "gain", {seen, choice}, {0, 1, 1, 0});
  tv_domain_compile(domain.get());
  ASSERT_EQ(tv_domain_update_policies(domain.get()), tv_status_none);
  const std::vector<float> policy = numbers_of(choice);
  tv_node_select_state(seen, 1);
  EXPECT_EQ(propagate(domain), tv_status_inconsistency_or_underflow);
  EXPECT_EQ(tv_domain_update_policies(domain.get()), tv_status_usage);
  EXPECT_EQ(numbers_of(choice), policy);
  tv_domain_retract_findings(domain.get());
  EXPECT_EQ(propagate(domain), tv_status_none);
  EXPECT_EQ(tv_domain_get_expected_utility(domain.get()), 1);
}

}  // namespace
}  // namespace test

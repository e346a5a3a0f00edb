// Answers of compiled domains: the codes in each state, and closed forms of what is computed from beliefs.
#include <gtest/gtest.h>

#include <cmath>

#include "inference/answers/beliefs.h"
#include "inference/engine.h"
#include "inference/evidence/evidence.h"
#include "support/builders.h"

namespace {

using test::Generator;

// A -> B, and C for itself.
struct Network {
  Network() {
    a = test::add_node(domain.get(), "A", 2, {}, {0.2f, 0.8f});
    b = test::add_node(domain.get(), "B", 3, {a}, {0.1f, 0.3f, 0.6f, 0.5f, 0.25f, 0.25f});
    c = test::add_node(domain.get(), "C", 2, {}, {0.4f, 0.6f});
    EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  }
  tv_status_t propagate(tv_equilibrium_t equilibrium = tv_equilibrium_sum,
                        tv_evidence_mode_t mode = tv_evidence_normal) {
    return tv_domain_propagate(domain.get(), equilibrium, mode);
  }

  test::DomainOwner domain = test::new_domain();
  tv_node_t *a, *b, *c;
};

#define EXPECT_FAILURE(call, code)                         \
  do {                                                     \
    EXPECT_EQ(call, -1) << #call;                          \
    EXPECT_EQ(tv_error_code(), tv_status_##code) << #call; \
  } while (false)

TEST(Answers, AFailedPropagationLeavesNothingToRead) {
  Network network;
  tv_node_enter_finding(network.a, 0, 0);
  tv_node_enter_finding(network.a, 1, 0);
  ASSERT_EQ(network.propagate(), tv_status_inconsistency_or_underflow);
  ASSERT_EQ(tv_domain_equilibrium_is(network.domain.get(), tv_equilibrium_none), 1);
  EXPECT_EQ(tv_node_get_selected_state(network.a), -2);

  tv_domain_t* domain = network.domain.get();
  tv_junction_tree_t* tree = tv_node_get_junction_tree(network.a);
  EXPECT_FAILURE(tv_node_get_belief(network.a, 0), no_equilibrium);
  EXPECT_FAILURE(tv_node_get_entropy(network.a), no_equilibrium);
  EXPECT_FAILURE(tv_node_get_mutual_information(network.a, network.b), no_equilibrium);
  EXPECT_FAILURE(tv_node_get_expected_utility(network.a, 0), no_equilibrium);
  EXPECT_FAILURE(tv_domain_get_expected_utility(domain), no_equilibrium);
  EXPECT_FAILURE(tv_node_get_propagated_finding(network.a, 0), no_equilibrium);
  EXPECT_FAILURE(tv_node_get_propagated_state(network.a), no_equilibrium);
  EXPECT_FAILURE(tv_node_evidence_is_propagated(network.a), no_equilibrium);
  EXPECT_FAILURE(tv_node_likelihood_is_propagated(network.a), no_equilibrium);
  EXPECT_FAILURE(tv_node_evidence_to_propagate(network.a), no_equilibrium);
  EXPECT_FAILURE(tv_domain_evidence_mode_is(domain, tv_evidence_normal), no_equilibrium);
  EXPECT_FAILURE(tv_jt_evidence_mode_is(tree, tv_evidence_normal), no_equilibrium);
  EXPECT_FAILURE(tv_domain_get_normalization_constant(domain), no_equilibrium);
  EXPECT_FAILURE(tv_domain_get_log_normalization_constant(domain), no_equilibrium);
  EXPECT_FAILURE(tv_domain_get_conflict(domain), no_equilibrium);
  EXPECT_FAILURE(tv_jt_get_conflict(tree), no_equilibrium);
  EXPECT_EQ(tv_domain_evidence_to_propagate(domain), 1);
  EXPECT_EQ(tv_domain_evidence_is_propagated(domain), 0);
  EXPECT_EQ(tv_domain_tables_to_propagate(domain), 0);

  tv_domain_retract_findings(domain);
  EXPECT_EQ(tv_domain_evidence_to_propagate(domain), 0);
  ASSERT_EQ(network.propagate(), tv_status_none);
  EXPECT_FLOAT_EQ(tv_node_get_belief(network.a, 0), 0.2f);
}

TEST(Answers, EquilibriumAndModeAreThoseOfTheLastPropagation) {
  Network network;
  tv_domain_t* domain = network.domain.get();
  EXPECT_EQ(tv_domain_equilibrium_is(domain, tv_equilibrium_sum), 1);
  EXPECT_EQ(tv_domain_evidence_mode_is(domain, tv_evidence_normal), 1);
  EXPECT_EQ(tv_domain_evidence_mode_is(domain, tv_evidence_fast_retraction), 1) << "without evidence";
  EXPECT_EQ(tv_domain_get_expected_utility(domain), 0);

  tv_node_select_state(network.b, 2);
  EXPECT_EQ(tv_domain_evidence_to_propagate(domain), 1);
  EXPECT_EQ(tv_node_evidence_to_propagate(network.b), 1);
  EXPECT_EQ(tv_node_evidence_is_propagated(network.b), 0);
  EXPECT_EQ(tv_node_get_propagated_finding(network.b, 0), 1);
  ASSERT_EQ(network.propagate(tv_equilibrium_max), tv_status_none);
  EXPECT_EQ(tv_domain_equilibrium_is(domain, tv_equilibrium_max), 1);
  EXPECT_EQ(tv_domain_evidence_mode_is(domain, tv_evidence_fast_retraction), 0);
  EXPECT_EQ(tv_node_get_propagated_state(network.b), 2);
  EXPECT_EQ(tv_node_get_propagated_finding(network.b, 0), 0);
  EXPECT_EQ(tv_domain_evidence_to_propagate(domain), 0);
  EXPECT_EQ(tv_domain_likelihood_is_propagated(domain), 0);
  EXPECT_EQ(tv_domain_cg_evidence_is_propagated(domain), 0);
  EXPECT_FAILURE(tv_node_get_entropy(network.a), usage);
  EXPECT_FAILURE(tv_node_get_mutual_information(network.a, network.b), usage);
  EXPECT_FAILURE(tv_node_get_expected_utility(network.a, 0), usage);
  EXPECT_FAILURE(tv_domain_get_expected_utility(domain), usage);
  EXPECT_FAILURE(tv_domain_get_conflict(domain), usage);

  tv_node_enter_finding(network.c, 0, 0.5f);
  ASSERT_EQ(network.propagate(tv_equilibrium_sum, tv_evidence_fast_retraction), tv_status_none);
  EXPECT_EQ(tv_domain_evidence_mode_is(domain, tv_evidence_fast_retraction), 1);
  EXPECT_EQ(tv_domain_likelihood_is_propagated(domain), 1);
  EXPECT_EQ(tv_node_likelihood_is_propagated(network.c), 1);
  EXPECT_EQ(tv_node_likelihood_is_propagated(network.b), 0);
  EXPECT_EQ(tv_node_get_propagated_finding(network.c, 0), 0.5f);
  EXPECT_EQ(tv_jt_likelihood_is_propagated(tv_node_get_junction_tree(network.a)), 0);
  EXPECT_FAILURE(tv_node_get_entropy(network.a), usage);
}

TEST(Answers, AnObservedStateIsCertain) {
  Network network;
  tv_node_select_state(network.b, 2);
  ASSERT_EQ(network.propagate(), tv_status_none);
  EXPECT_EQ(tv_node_get_belief(network.b, 2), 1);
  EXPECT_EQ(tv_node_get_belief(network.b, 0), 0);
  EXPECT_EQ(tv_node_get_entropy(network.b), 0);
  EXPECT_EQ(tv::get_inferred_state(*network.b), 2);
  EXPECT_EQ(tv::get_inferred_state(*network.a), -1);
  EXPECT_EQ(tv_node_get_mutual_information(network.a, network.b), 0);
  ASSERT_EQ(network.propagate(tv_equilibrium_sum, tv_evidence_fast_retraction), tv_status_none);
  EXPECT_NEAR(tv_node_get_belief(network.b, 2), 0.2 * 0.6 + 0.8 * 0.25, 1e-6);
}

double h(std::initializer_list<double> distribution) {
  double sum = 0;
  for (double p : distribution) sum -= p * std::log(p);
  return sum;
}

TEST(Answers, EntropyAndMutualInformation) {
  Network network;
  const double prior = h({0.2, 0.8}), other = h({0.42, 0.26, 0.32});
  const double joint = h({0.02, 0.06, 0.12, 0.4, 0.2, 0.2});
  EXPECT_NEAR(tv_node_get_entropy(network.a), prior, 1e-6);
  EXPECT_NEAR(tv_node_get_mutual_information(network.a, network.a), prior, 1e-6);
  EXPECT_NEAR(tv_node_get_entropy(network.b), other, 1e-6);
  EXPECT_NEAR(tv_node_get_mutual_information(network.a, network.b), prior + other - joint, 1e-6);
  EXPECT_NEAR(tv_node_get_mutual_information(network.b, network.a), prior + other - joint, 1e-6);
  EXPECT_EQ(tv_node_get_mutual_information(network.a, network.c), 0) << "different trees";
  EXPECT_EQ(tv_error_code(), tv_status_none);
}

TEST(Answers, FunctionsMayTieTreesTogether) {
  const test::DomainOwner domain = test::new_domain();
  tv_node_t* a = test::add_node(domain.get(), "A", 2);
  tv_node_t* b = test::add_node(domain.get(), "B", 2);
  tv_node_t* function = tv_domain_new_node(domain.get(), tv_category_function, tv_kind_other);
  ASSERT_EQ(tv_node_add_parent(function, a), tv_status_none);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  EXPECT_EQ(tv_node_get_mutual_information(a, b), 0);
  EXPECT_FAILURE(tv_node_get_value(function), no_value);
  ASSERT_EQ(tv_node_add_parent(b, function), tv_status_none);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  EXPECT_EQ(tv_node_get_mutual_information(a, b), 9);
  EXPECT_EQ(tv_error_code(), tv_status_functional_dependency);
}

TEST(Answers, UtilitiesOfANodeWithoutATableAreZero) {
  const test::DomainOwner domain = test::new_domain();
  tv_node_t* a = test::add_node(domain.get(), "A", 2);
  tv_node_t* utility = tv_domain_new_node(domain.get(), tv_category_utility, tv_kind_other);
  ASSERT_EQ(tv_node_add_parent(utility, a), tv_status_none);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  for (tv_node_t* node : {a, utility}) EXPECT_EQ(tv_node_get_expected_utility(node, 0), 0);
  EXPECT_EQ(tv_node_get_min_utility(utility), 0);
  EXPECT_EQ(tv_node_get_variance_of_utility(utility), 0);
  test::set_table(utility, {-3, 8});
  EXPECT_EQ(tv_domain_get_expected_utility(domain.get()), 0) << "not propagated yet";
  ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  EXPECT_EQ(tv_domain_get_expected_utility(domain.get()), 2.5);
  EXPECT_EQ(tv_node_get_expected_utility(a, 1), 8);
}

TEST(Answers, ConflictComparesTheFindingsWithTheirJointProbability) {
  Network network;
  tv_domain_t* domain = network.domain.get();
  EXPECT_EQ(tv_domain_get_conflict(domain), 1);
  tv_node_select_state(network.a, 0);
  tv_node_enter_finding(network.b, 0, 0.5f);
  tv_node_select_state(network.c, 1);
  ASSERT_EQ(network.propagate(), tv_status_none);
  const double a = 0.2, b = 0.42 / 2 + 0.26 + 0.32, both = 0.02 / 2 + 0.06 + 0.12;
  EXPECT_NEAR(tv_domain_get_conflict(domain), a * b / both, 1e-5);
  EXPECT_NEAR(tv_domain_get_normalization_constant(domain), both * 0.6, 1e-6);
  EXPECT_NEAR(tv_domain_get_log_normalization_constant(domain), std::log(both * 0.6), 1e-5);
  EXPECT_NEAR(tv_jt_get_conflict(tv_node_get_junction_tree(network.c)), 1, 1e-6);
  tv_clique_t* clique = tv_node_get_conflict_clique(network.a);
  ASSERT_NE(clique, nullptr);
  EXPECT_NEAR(tv_clique_get_conflict(clique), a * b / both, 1e-5);
}

TEST(Answers, MomentsOfDiscreteNodes) {
  const test::DomainOwner domain = test::new_domain();
  tv_node_t* number = test::add_node(domain.get(), "A", 3, {}, {0.25f, 0.5f, 0.25f});
  tv_node_t* interval = test::add_node(domain.get(), "B", 2, {}, {0.25f, 0.75f});
  tv_node_t* open = test::add_node(domain.get(), "C", 2);
  tv_node_set_subtype(number, tv_subtype_number);
  tv_node_set_subtype(interval, tv_subtype_interval);
  tv_node_set_subtype(open, tv_subtype_interval);
  for (size_t i = 0; i < 3; ++i) {
    tv_node_set_state_value(number, i, 2.0 * static_cast<double>(i));
    tv_node_set_state_value(interval, i, static_cast<double>(i * i));
  }
  tv_node_set_state_value(open, 1, 0);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  tv::MeanAndVariance moments;
  ASSERT_EQ(tv::own_mean_and_variance(*number, moments), tv_status_none);
  EXPECT_NEAR(moments.mean, 2, 1e-6);
  EXPECT_NEAR(moments.variance, 2, 1e-6);
  ASSERT_EQ(tv::own_mean_and_variance(*interval, moments), tv_status_none);
  EXPECT_NEAR(moments.mean, 0.25 * 0.5 + 0.75 * 2.5, 1e-6);
  EXPECT_NEAR(moments.variance, 0.25 / 12 + 0.75 * 9 / 12 + 0.25 * 0.75 * 4, 1e-6);
  EXPECT_EQ(tv::own_mean_and_variance(*open, moments), tv_status_invalid_state_values);
}

TEST(Answers, TheCountOfChangedNodesIsExact) {
  Generator random(4);
  for (int round = 0; round < 10; ++round) {
    const test::DomainOwner domain = test::random_network(random, test::Values::positive);
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    const std::vector<tv_node_t*> nodes = test::nodes_of(domain.get());
    for (int step = 0; step < 200; ++step) {
      if (random.chance(0.05)) tv_domain_retract_findings(domain.get());
      test::change_evidence(random, random.pick(nodes), test::Findings::any);
      if (random.chance(0.1))
        tv_domain_propagate(domain.get(), random.chance(0.5) ? tv_equilibrium_sum : tv_equilibrium_max,
                            random.chance(0.5) ? tv_evidence_normal : tv_evidence_fast_retraction);
      for (auto* tree = tv_domain_get_first_junction_tree(domain.get()); tree; tree = tv_jt_get_next(tree)) {
        size_t changed = 0;
        for (const tv_node_t* node : tree->nodes)
          changed += tv::_tv_node_evidence_to_propagate(*node, tv::state_of(*node));
        ASSERT_EQ(tree->engine->evidence_to_propagate, changed);
        ASSERT_EQ(tv_jt_evidence_to_propagate(tree), changed > 0);
      }
    }
  }
}

TEST(Answers, LinkedNodesAnswerForWhatWasPropagated) {
  Network network;
  tv_node_t* mirror = test::add_node(network.domain.get(), "M", 2, {}, {0.5f, 0.5f});
  ASSERT_EQ(tv_domain_compile(network.domain.get()), tv_status_none);
  mirror->linked_node = network.a;
  tv_node_select_state(mirror, 1);
  EXPECT_EQ(tv_node_get_selected_state(network.a), 1);
  EXPECT_EQ(tv_node_get_propagated_state(mirror), -1);
  EXPECT_FLOAT_EQ(tv_node_get_belief(mirror, 0), 0.2f);
  ASSERT_EQ(network.propagate(), tv_status_none);
  EXPECT_EQ(tv_node_get_propagated_state(mirror), 1);
  EXPECT_EQ(tv_node_get_belief(mirror, 1), 1);
  mirror->linked_node = nullptr;
}

}  // namespace

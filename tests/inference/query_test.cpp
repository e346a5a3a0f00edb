// Queries: evidence and results beside the domain's own.

#include <gtest/gtest.h>

#include <cmath>
#include <mutex>
#include <thread>

#include "network/domain.h"
#include "support/builders.h"
#include "support/oracle.h"
#include "support/queries.h"

namespace test {
namespace {

// Evidence as hosts enter it, in the domain (without a query) or in a query.
void enter(tv_query_t* query, tv_node_t* node, const std::vector<float>& finding) {
  for (size_t s = 0; s < finding.size(); ++s)
    ASSERT_EQ(query ? tv_query_enter_finding(query, node, s, finding[s])
                    : tv_node_enter_finding(node, s, finding[s]),
              tv_status_none);
}

// What is entered at one place, for the oracle, and the place.
struct Place {
  QueryOwner query;  // null: the domain's own
  Oracle::Evidence evidence;
};

void change_evidence(Generator& random, Place& place, const Oracle& oracle) {
  const size_t i = random.below(oracle.nodes().size());
  tv_node_t* const node = oracle.nodes()[i];
  tv_query_t* const query = place.query.get();
  const size_t states = tv_node_get_number_of_states(node);
  if (random.chance(0.25)) {
    ASSERT_EQ(query ? tv_query_retract_node_findings(query, node) : tv_node_retract_findings(node),
              tv_status_none);
    place.evidence[i].assign(states, 1);
  } else if (random.chance(0.6)) {
    const size_t state = random.below(states);
    ASSERT_EQ(query ? tv_query_select_state(query, node, state) : tv_node_select_state(node, state),
              tv_status_none);
    place.evidence[i].assign(states, 0);
    place.evidence[i][state] = 1;
  } else {
    std::vector<float> finding(states);
    for (float& each : finding) each = static_cast<float>(random.uniform());
    enter(query, node, finding);
    place.evidence[i].assign(finding.begin(), finding.end());
  }
}

void expect_answers(const DomainOwner& domain, const Place& place, const Oracle& oracle,
                    tv_equilibrium_t equilibrium, tv_evidence_mode_t mode) {
  tv_query_t* const query = place.query.get();
  const Real possible = oracle.least_constant(place.evidence, equilibrium, mode);
  const tv_status_t status = query ? tv_query_propagate(query, equilibrium, mode)
                                   : tv_domain_propagate(domain.get(), equilibrium, mode);
  if (status) {
    EXPECT_TRUE(possible == 0 || status == tv_status_fast_retraction) << tv_error_name(status);
    return;
  }
  if (possible == 0) return;
  const std::vector<Vector> beliefs = oracle.beliefs(place.evidence, equilibrium, mode);
  for (size_t i = 0; i < beliefs.size(); ++i)
    for (size_t s = 0; s < beliefs[i].size(); ++s) {
      const tv_node_t* const node = oracle.nodes()[i];
      const Real found = query ? tv_query_get_belief(query, node, s) : tv_node_get_belief(node, s);
      ASSERT_TRUE(close(found, beliefs[i][s])) << i << ": " << found << " for " << beliefs[i][s];
    }
  if (mode != tv_evidence_normal) return;
  const double logarithm = query ? tv_query_get_log_normalization_constant(query)
                                 : tv_domain_get_log_normalization_constant(domain.get());
  EXPECT_NEAR(logarithm, std::log(oracle.constant(place.evidence, equilibrium)), 1e-5);
}

// The domain and three queries, worked on in turn, each with its own evidence.
TEST(Queries, AreIndependentOfEachOtherAndOfTheDomain) {
  for (uint64_t seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    Generator random(seed);
    const DomainOwner domain = random_network(random, Values::positive, {.max_nodes = 8, .max_states = 3});
    const Oracle oracle(domain.get());
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    std::vector<Place> places;
    for (size_t i = 0; i < 4; ++i) places.push_back({i ? new_query(domain) : QueryOwner(), oracle.none()});
    for (size_t step = 0; step < 24; ++step) {
      Place& place = places[random.below(places.size())];
      change_evidence(random, place, oracle);
      if (random.chance(0.3)) continue;
      const bool fast = random.chance(0.2);
      expect_answers(domain, place, oracle, random.chance(0.8) ? tv_equilibrium_sum : tv_equilibrium_max,
                     fast ? tv_evidence_fast_retraction : tv_evidence_normal);
    }
  }
}

TEST(Queries, AnswerDecisionModelsOnThreads) {
  const DomainOwner domain = new_domain();
  tv_node_t* const cause = add_node(domain.get(), "cause", 2, {}, {0.7f, 0.3f});
  tv_node_t* const test = add_node(domain.get(), "test", 2, {cause}, {0.9f, 0.1f, 0.2f, 0.8f});
  tv_node_t* const act = tv_domain_new_node(domain.get(), tv_category_decision, tv_kind_discrete);
  ASSERT_EQ(tv_node_set_number_of_states(act, 2), tv_status_none);
  ASSERT_EQ(tv_node_add_parent(act, test), tv_status_none);
  tv_node_t* const gain = tv_domain_new_node(domain.get(), tv_category_utility, tv_kind_other);
  ASSERT_EQ(tv_node_add_parent(gain, cause), tv_status_none);
  ASSERT_EQ(tv_node_add_parent(gain, act), tv_status_none);
  const bool cause_first = tv_table_get_nodes(tv_node_get_table(gain))[0] == cause;
  set_table(gain, cause_first ? std::vector<float>{10, -4, -8, 6} : std::vector<float>{10, -8, -4, 6});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  // P(cause | test): 0.63 and 0.06 of 0.69, 0.07 and 0.24 of 0.31.
  const double given[2][2] = {{0.63 / 0.69, 0.06 / 0.69}, {0.07 / 0.31, 0.24 / 0.31}};
  const double gains[2][2] = {{10, -4}, {-8, 6}};
  std::vector<std::thread> threads;
  for (size_t t = 0; t < 4; ++t)
    threads.emplace_back([&, state = t / 2, action = t % 2] {
      const QueryOwner query = [&] {
        static std::mutex one_at_a_time;  // making a query is a call with the domain
        const std::lock_guard lock(one_at_a_time);
        return new_query(domain);
      }();
      for (int round = 0; round < 50; ++round) {
        tv_query_select_state(query.get(), test, state);
        tv_query_select_state(query.get(), act, action);
        ASSERT_EQ(tv_query_propagate(query.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
        const double expected = given[state][0] * gains[0][action] + given[state][1] * gains[1][action];
        EXPECT_NEAR(tv_query_get_expected_utility(query.get()), expected, 1e-5);
        EXPECT_NEAR(tv_query_get_node_expected_utility(query.get(), gain, 0), expected, 1e-5);
        EXPECT_NEAR(tv_query_get_node_expected_utility(query.get(), act, action), expected, 1e-5);
        tv_query_retract_findings(query.get());
        ASSERT_EQ(tv_query_propagate(query.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
      }
    });
  for (std::thread& thread : threads) thread.join();
}

// ---- The end of a query ----

struct Closing : ::testing::Test {
  Closing() : domain(new_domain()) {
    a = add_node(domain.get(), "a", 2, {}, {0.25f, 0.75f});
    b = add_node(domain.get(), "b", 2, {a}, {0.5f, 0.5f, 0.1f, 0.9f});
    tv_domain_compile(domain.get());
    query = new_query(domain);
    tv_query_select_state(query.get(), b, 1);
    EXPECT_EQ(tv_query_propagate(query.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    EXPECT_NEAR(tv_query_get_belief(query.get(), a, 0), 0.125 / 0.8, 1e-6);
    EXPECT_EQ(tv_query_is_open(query.get()), 1);
  }

  void expect_over() {
    tv_query_t* const q = query.get();
    EXPECT_EQ(tv_query_is_open(q), 0);
    const auto refused = [](bool failed) { return failed && tv_error_code() == tv_status_not_compiled; };
    EXPECT_TRUE(refused(tv_query_select_state(q, a, 0)));
    EXPECT_TRUE(refused(tv_query_enter_finding(q, a, 0, 0.5f)));
    EXPECT_TRUE(refused(tv_query_enter_value(q, a, 0.5)));
    EXPECT_TRUE(refused(tv_query_retract_node_findings(q, a)));
    EXPECT_TRUE(refused(tv_query_retract_findings(q)));
    EXPECT_TRUE(refused(tv_query_propagate(q, tv_equilibrium_sum, tv_evidence_normal)));
    EXPECT_TRUE(refused(tv_query_get_belief(q, a, 0) == -1));
    EXPECT_TRUE(refused(tv_query_get_mean(q, a) == -1));
    EXPECT_TRUE(refused(tv_query_get_variance(q, a) == -1));
    EXPECT_TRUE(refused(tv_query_get_log_normalization_constant(q) == -1));
    EXPECT_TRUE(refused(tv_query_get_node_expected_utility(q, a, 0) == -1));
    EXPECT_TRUE(refused(tv_query_get_expected_utility(q) == -1));
    EXPECT_EQ(tv_query_delete(query.release()), tv_status_none);
  }

  DomainOwner domain;
  tv_node_t *a, *b;
  QueryOwner query;
};

TEST_F(Closing, ByDeletingTheDomain) {
  domain.reset();
  expect_over();
}

TEST_F(Closing, ByUncompilingAndByChanges) {
  ASSERT_EQ(tv_node_set_number_of_states(a, 3), tv_status_none);
  expect_over();
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  query = new_query(domain);
  ASSERT_EQ(tv_domain_uncompile(domain.get()), tv_status_none);
  expect_over();
}

TEST_F(Closing, ByATouchedTable) {
  tv_table_get_data(tv_node_get_table(a))[0] = 0.5f;
  ASSERT_EQ(tv_node_touch_table(a), tv_status_none);
  expect_over();
  EXPECT_EQ(tv_domain_new_query(domain.get()), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_no_equilibrium);
  ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  query = new_query(domain);
  ASSERT_EQ(tv_query_propagate(query.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  EXPECT_EQ(tv_query_get_belief(query.get(), a, 0), tv_node_get_belief(a, 0));
}

TEST_F(Closing, NotByEvidenceOfTheDomain) {
  tv_node_select_state(a, 0);
  ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_max, tv_evidence_normal), tv_status_none);
  EXPECT_EQ(tv_query_is_open(query.get()), 1);
  EXPECT_NEAR(tv_query_get_belief(query.get(), a, 0), 0.125 / 0.8, 1e-6);
  EXPECT_EQ(tv_node_get_belief(a, 0), 1);
}

// Its table would follow the results of the domain, whatever a query knows.
TEST_F(Closing, TablesThatFollowResultsAreRefused) {
  tv_node_t* const above = tv_domain_new_node(domain.get(), tv_category_function, tv_kind_discrete);
  ASSERT_EQ(tv_node_set_number_of_states(above, 2), tv_status_none);
  ASSERT_EQ(tv_node_set_subtype(above, tv_subtype_boolean), tv_status_none);
  ASSERT_EQ(tv_node_set_subtype(a, tv_subtype_number), tv_status_none);
  for (size_t s = 0; s < 2; ++s)
    ASSERT_EQ(tv_node_set_state_value(a, s, static_cast<double>(s)), tv_status_none);
  ASSERT_EQ(tv_node_add_parent(above, a), tv_status_none);
  tv_node_t* none[] = {nullptr};
  tv_model_t* const model = tv_node_new_model(above, none);
  ASSERT_TRUE(model);
  ASSERT_EQ(
      tv_model_set_expression(model, 0, tv_string_to_expression("a > 0.5", domain.get(), nullptr, nullptr)),
      tv_status_none);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  EXPECT_EQ(tv_domain_new_query(domain.get()), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  // Nor could learning, whose cases have states of their own.
  tv_node_get_experience_table(a);
  ASSERT_EQ(tv_domain_new_case(domain.get()), 0u);
  EXPECT_EQ(tv_domain_learn_tables(domain.get()), tv_status_usage);
  EXPECT_NE(std::string(tv_error_message()).find("depends on results"), std::string::npos);
}

// Those who ask for one on threads of their own would else disturb each other.
TEST(JointMarginals, AreNoTablesOfTheTrees) {
  const DomainOwner domain = new_domain();
  tv_node_t* const a = add_node(domain.get(), "a", 2);
  tv_node_t* const b = add_node(domain.get(), "b", 2, {a});
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  const size_t layouts = domain->table_layouts;
  tv_node_t* nodes[] = {b, a, nullptr};
  tv_table_delete(tv_domain_get_marginal(domain.get(), nodes));
  EXPECT_EQ(domain->table_layouts, layouts);
  ASSERT_TRUE(tv_table_get_data(tv_node_get_table(b)));  // until now there were no numbers
  EXPECT_NE(domain->table_layouts, layouts);
}

TEST_F(Closing, OthersAreRefusedWhatDoesNotFit) {
  const DomainOwner other = new_domain();
  tv_node_t* const stranger = add_node(other.get(), "stranger", 2);
  EXPECT_EQ(tv_domain_new_query(other.get()), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_not_compiled);
  EXPECT_EQ(tv_query_select_state(query.get(), stranger, 0), tv_status_usage);
  EXPECT_EQ(tv_query_select_state(query.get(), a, 2), tv_status_usage);
  EXPECT_EQ(tv_query_enter_finding(query.get(), a, 0, -1.0f), tv_status_usage);
  EXPECT_EQ(tv_query_enter_value(query.get(), a, 1.0), tv_status_usage);
  EXPECT_EQ(tv_query_get_belief(query.get(), a, 2), -1);
  EXPECT_EQ(tv_query_get_mean(query.get(), a), -1);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(tv_query_propagate(query.get(), tv_equilibrium_none, tv_evidence_normal), tv_status_usage);
  EXPECT_NEAR(tv_query_get_belief(query.get(), a, 0), 0.125 / 0.8, 1e-6) << "as it was";
  const QueryOwner fresh = new_query(domain);
  EXPECT_EQ(tv_query_get_belief(fresh.get(), a, 0), -1);
  EXPECT_EQ(tv_error_code(), tv_status_no_equilibrium);
  ASSERT_EQ(tv_domain_set_memory_limit(domain.get(), 3 * tv_domain_get_memory_need(domain.get())),
            tv_status_none);
  EXPECT_EQ(tv_domain_new_query(domain.get()), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_no_memory);
}

}  // namespace
}  // namespace test

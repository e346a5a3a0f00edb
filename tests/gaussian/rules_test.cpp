// What continuous nodes refuse, what goes wrong with their evidence, and what a
// domain is like afterwards.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "support/cg_builders.h"
#include "support/cg_oracle.h"
#include "support/describe.h"

namespace test {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

tv_status_t propagate(const DomainOwner& domain) {
  return tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal);
}

// A chooses the spread of X; Y is twice X exactly; Z is Y with noise, or in the
// second state of A without.
struct World {
  World() : domain(new_domain()) {
    a = add_node(domain.get(), "A", 2, {}, {0.25f, 0.75f});
    x = add_continuous(domain.get(), "X", 1, 4, {}, {a});
    y = add_continuous(domain.get(), "Y", 0, 0, {{x, 2}});
    z = add_continuous(domain.get(), "Z", 0, 1, {{y, 1}}, {a});
    tv_node_set_conditional_variance(z, 1, 0);
    EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  }
  DomainOwner domain;
  tv_node_t *a, *x, *y, *z;
};

#define EXPECT_CODE(code, call)                                                                        \
  do {                                                                                                 \
    (void)(call);                                                                                      \
    EXPECT_STREQ(tv_error_name(code), tv_error_name(static_cast<unsigned>(tv_error_code()))) << #call; \
  } while (false)

TEST(Rules, OnlySumAndNormalEvidence) {
  World w;
  tv_domain_t* domain = w.domain.get();
  tv_junction_tree_t* tree = tv_node_get_junction_tree(w.x);
  tv_clique_t* clique = tv_domain_get_first_clique(domain);
  for (const auto& [equilibrium, mode] : {std::pair{tv_equilibrium_max, tv_evidence_normal},
                                          {tv_equilibrium_sum, tv_evidence_fast_retraction},
                                          {tv_equilibrium_max, tv_evidence_fast_retraction}}) {
    EXPECT_CODE(tv_status_usage, tv_domain_propagate(domain, equilibrium, mode));
    EXPECT_CODE(tv_status_usage, tv_jt_propagate(tree, equilibrium, mode));
    EXPECT_CODE(tv_status_usage, tv_clique_propagate(clique, equilibrium, mode));
  }
  EXPECT_EQ(wrong_cg_answer(domain, kMixtureBounds),
            "");  // nothing has happened
  EXPECT_EQ(tv_domain_get_normalization_constant(domain), 1.0);
  EXPECT_EQ(tv_domain_get_log_normalization_constant(domain), 0.0);
}

TEST(Rules, QueriesCheckTheirArgumentsInOrder) {
  World w;
  EXPECT_CODE(tv_status_usage, tv_node_get_mean(w.a));
  EXPECT_CODE(tv_status_usage, tv_node_get_variance(nullptr));
  EXPECT_CODE(tv_status_usage, tv_node_get_belief(w.x, 0));
  EXPECT_CODE(tv_status_usage, tv_node_get_distribution(w.a));
  EXPECT_CODE(tv_status_usage, tv_node_get_quantile(nullptr, 0.5));
  for (const double p : {-0.1, 1.1, std::nan("")}) EXPECT_CODE(tv_status_usage, tv_node_get_quantile(w.x, p));
  const TableOwner table(tv_node_get_distribution(w.x));
  EXPECT_CODE(tv_status_usage, tv_table_compute_density(nullptr, w.x, 0));
  EXPECT_CODE(tv_status_usage, tv_table_compute_density(table.get(), w.y, 0));
  EXPECT_CODE(tv_status_usage, tv_table_compute_density(table.get(), w.x, std::nan("")));
  EXPECT_CODE(tv_status_usage, tv_table_compute_probability_of_interval(table.get(), nullptr, 0, 1));
  EXPECT_NEAR(tv_table_compute_probability_of_interval(table.get(), w.x, -kInfinity, kInfinity), 1.0, 1e-6);
  tv_domain_uncompile(w.domain.get());
  EXPECT_CODE(tv_status_not_compiled, tv_node_get_mean(w.x));
  EXPECT_CODE(tv_status_not_compiled, tv_node_get_quantile(w.x, 0.5));
  EXPECT_CODE(tv_status_not_compiled, tv_node_get_distribution(w.x));
  EXPECT_CODE(tv_status_usage, tv_node_get_mean(w.a));
}

TEST(Rules, ValuesAreFiniteAndAnswerAsObserved) {
  World w;
  for (const double bad : {kInfinity, -kInfinity, std::nan("")})
    EXPECT_CODE(tv_status_usage, tv_node_enter_value(w.x, bad));
  EXPECT_EQ(tv_node_evidence_is_entered(w.x), 0);
  ASSERT_EQ(tv_node_enter_value(w.z, 0.1), tv_status_none);
  EXPECT_EQ(tv_domain_evidence_to_propagate(w.domain.get()), 1);
  ASSERT_EQ(propagate(w.domain), tv_status_none);
  EXPECT_EQ(tv_node_get_mean(w.z), 0.1);
  EXPECT_EQ(tv_node_get_variance(w.z), 0.0);
  EXPECT_EQ(tv_node_get_propagated_value(w.z), 0.1);
  EXPECT_EQ(tv_domain_cg_evidence_is_propagated(w.domain.get()), 1);
  EXPECT_CODE(tv_status_cg_evidence_incorporated, tv_domain_get_conflict(w.domain.get()));
  EXPECT_NEAR(std::exp(tv_domain_get_log_normalization_constant(w.domain.get())),
              tv_domain_get_normalization_constant(w.domain.get()), 1e-9);
  EXPECT_EQ(wrong_cg_answer(w.domain.get(), kMixtureBounds), "");
}

// After a failure the evidence is as entered, no answer pretends to know it,
// and the domain works on.
void expect_failure_and_recovery(World& w, tv_status_t status, tv_node_t* culprit) {
  const auto entered = CgOracle(w.domain.get()).entered();
  EXPECT_EQ(propagate(w.domain), status);
  EXPECT_EQ(CgOracle(w.domain.get()).entered().values, entered.values);
  EXPECT_EQ(tv_domain_evidence_is_propagated(w.domain.get()), 0);
  EXPECT_EQ(propagate(w.domain), status);  // once more
  ASSERT_EQ(tv_node_retract_findings(culprit), tv_status_none);
  ASSERT_EQ(propagate(w.domain), tv_status_none);
  EXPECT_EQ(wrong_cg_answer(w.domain.get(), kMixtureBounds), "");
}

TEST(Rules, AValueThatIsCertainHasNoDensity) {
  World w;
  tv_node_enter_value(w.x, 1.5);
  tv_node_enter_value(w.y, 3.0);  // agrees, and is none the less no evidence
  expect_failure_and_recovery(w, tv_status_zero_variance, w.y);
  tv_node_enter_value(w.z, 3.5);  // certain in the second state of A alone, when X is known
  expect_failure_and_recovery(w, tv_status_zero_variance, w.z);
  tv_node_select_state(w.a, 0);  // where Z has noise
  tv_node_enter_value(w.z, 3.5);
  ASSERT_EQ(propagate(w.domain), tv_status_none);
  EXPECT_EQ(wrong_cg_answer(w.domain.get(), {}), "");
  tv_node_select_state(w.a, 1);
  expect_failure_and_recovery(w, tv_status_zero_variance, w.z);
}

TEST(Rules, AValueBeyondEveryDensityIsTooLow) {
  World w;
  tv_node_select_state(w.a, 0);
  tv_node_enter_value(w.z, 2.0);
  tv_node_enter_value(w.x, 1e200);
  expect_failure_and_recovery(w, tv_status_low_density, w.x);
  tv_node_enter_value(w.x, 1e6);
  expect_failure_and_recovery(w, tv_status_low_density, w.x);
}

// One tree by itself: it answers without evidence, as the whole domain would.
TEST(Rules, AFailureInOneTreeIsThatTreesAlone) {
  World w;
  tv_node_t* lone = add_continuous(w.domain.get(), "L", 0, 1);
  ASSERT_EQ(tv_domain_compile(w.domain.get()), tv_status_none);
  const double mean = tv_node_get_mean(w.z);
  tv_node_enter_value(lone, 2);
  ASSERT_EQ(propagate(w.domain), tv_status_none);
  tv_node_enter_value(w.x, 1.5);
  tv_node_enter_value(w.y, 3.0);
  tv_junction_tree_t* tree = tv_node_get_junction_tree(w.x);
  for (const bool by_clique : {false, true}) {
    tv_clique_t* root = tv_jt_get_root(tree);
    EXPECT_CODE(tv_status_zero_variance,
                by_clique ? tv_clique_propagate(root, tv_equilibrium_sum, tv_evidence_normal)
                          : tv_jt_propagate(tree, tv_equilibrium_sum, tv_evidence_normal));
    EXPECT_EQ(tv_jt_equilibrium_is(tree, tv_equilibrium_sum), 1);
    EXPECT_EQ(tv_jt_evidence_is_propagated(tree), 0);
    EXPECT_EQ(tv_node_get_mean(w.z), mean);
    EXPECT_EQ(tv_node_get_mean(lone), 2);
    EXPECT_EQ(tv_node_get_entered_value(w.y), 3.0);
  }
}

// Answers are those of the last propagation, also the ones that nobody has asked for yet.
TEST(Rules, NewRegressionsCountFromTheNextPropagationOn) {
  const World plain;
  World w;
  tv_node_enter_value(w.z, 2);
  tv_node_enter_value(plain.z, 2);
  ASSERT_EQ(propagate(w.domain), tv_status_none);
  ASSERT_EQ(propagate(plain.domain), tv_status_none);
  ASSERT_EQ(tv_node_set_intercept(w.x, 0, 7), tv_status_none);
  ASSERT_EQ(tv_node_set_coefficient(w.y, w.x, 0, -1), tv_status_none);
  EXPECT_EQ(tv_node_get_mean(w.x), tv_node_get_mean(plain.x));
  EXPECT_EQ(tv_node_get_variance(w.y), tv_node_get_variance(plain.y));
  EXPECT_EQ(tv_node_get_quantile(w.x, 0.25), tv_node_get_quantile(plain.x, 0.25));
  ASSERT_EQ(tv_domain_initialize(w.domain.get()), tv_status_none);
  ASSERT_EQ(tv_node_set_intercept(w.x, 0, 0), tv_status_none);
  EXPECT_NEAR(tv_node_get_mean(w.x), 0.25 * 7 + 0.75 * 1, 1e-6);
  ASSERT_EQ(propagate(w.domain), tv_status_none);
  EXPECT_EQ(wrong_cg_answer(w.domain.get(), kMixtureBounds), "");
}

TEST(Rules, RegressionsChangeUnderACompiledDomain) {
  World w;
  tv_node_enter_value(w.z, 2.0);
  ASSERT_EQ(propagate(w.domain), tv_status_none);
  ASSERT_EQ(tv_node_set_intercept(w.x, 0, 7), tv_status_none);
  ASSERT_EQ(tv_node_set_coefficient(w.y, w.x, 0, -1), tv_status_none);
  EXPECT_EQ(tv_domain_is_compiled(w.domain.get()), 1);
  EXPECT_EQ(tv_domain_tables_to_propagate(w.domain.get()), 1);
  ASSERT_EQ(propagate(w.domain), tv_status_none);
  EXPECT_EQ(wrong_cg_answer(w.domain.get(), kMixtureBounds), "");
  ASSERT_EQ(tv_domain_initialize(w.domain.get()), tv_status_none);
  ASSERT_EQ(propagate(w.domain), tv_status_none);
  EXPECT_EQ(wrong_cg_answer(w.domain.get(), kMixtureBounds), "");
}

TEST(Rules, AResetAnswersWithoutEvidence) {
  World w;
  tv_node_t* b = add_node(w.domain.get(), "B", 2, {w.a}, {0.5f, 0.5f, 0.25f, 0.75f});
  ASSERT_EQ(tv_domain_compile(w.domain.get()), tv_status_none);
  for (const bool saved : {false, true}) {
    if (saved) tv_domain_save_to_memory(w.domain.get());
    for (const bool touched : {false, true}) {
      tv_node_enter_value(w.z, 2.0);
      ASSERT_EQ(propagate(w.domain), tv_status_none);
      if (touched) tv_node_set_intercept(w.x, 0, saved ? 5 : 3);
      ASSERT_EQ(tv_domain_initialize(w.domain.get()), tv_status_none);
      EXPECT_EQ(tv_domain_equilibrium_is(w.domain.get(), tv_equilibrium_sum), 1);
      EXPECT_EQ(wrong_cg_answer(w.domain.get(), kMixtureBounds), "");
    }
  }
  // The conflict of findings on discrete nodes, before and after a reset: P(a) P(b) / P(a, b).
  tv_node_select_state(w.a, 0);
  tv_node_select_state(b, 0);
  ASSERT_EQ(propagate(w.domain), tv_status_none);
  EXPECT_NEAR(tv_domain_get_conflict(w.domain.get()), 0.3125 / 0.5, 1e-6);
  tv_node_select_state(w.a, 1);
  ASSERT_EQ(propagate(w.domain), tv_status_none);
  EXPECT_NEAR(tv_domain_get_conflict(w.domain.get()), 0.3125 / 0.25, 1e-6);
}

TEST(Rules, TheReportAfterCompilationTellsMeansAndSpreads) {
  DomainOwner domain = new_domain();
  tv_node_t* x = add_continuous(domain.get(), "X", 1.25, 4);
  add_continuous(domain.get(), "Y", 3, 0);
  add_continuous(domain.get(), "Z", 0, 5, {{x, -1}});
  char* text = nullptr;
  size_t size = 0;
  std::FILE* log = open_memstream(&text, &size);
  tv_domain_set_log_file(domain.get(), log);
  EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  std::fclose(log);
  tv_domain_set_log_file(domain.get(), nullptr);
  const std::string trace(text, size);
  std::free(text);
  const std::string report =
      "\n\nBeliefs for chance nodes:\n"
      "\n    Z:\n\tMean: -1.25   Variance: 9   SD: 3\n"
      "\n    Y --> 3\n"
      "\n    X:\n\tMean: 1.25   Variance: 4   SD: 2\n";
  EXPECT_EQ(trace.substr(trace.size() - std::min(trace.size(), report.size())), report) << trace;
}

TEST(Rules, ThreadsChangeNoBit) {
  Generator random(3);
  DomainOwner domain = random_cg_network(random, {8, 6, 3, 0.5, 0.1, 0.1, 0});
  DomainOwner twin(tv_domain_clone(domain.get()));
  tv_domain_set_concurrency_level(twin.get(), 3);
  tv_domain_set_grain_size(twin.get(), 1);
  for (tv_domain_t* each : {domain.get(), twin.get()}) {
    ASSERT_EQ(tv_domain_compile(each), tv_status_none);
    tv_node_enter_value(tv_domain_get_node_by_name(each, "X1"), 0.25);
    ASSERT_EQ(tv_domain_propagate(each, tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  }
  EXPECT_EQ(describe(domain.get()), describe(twin.get()));
}

}  // namespace
}  // namespace test

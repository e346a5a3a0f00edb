// Which nodes each function of evidence and beliefs accepts, and what it says before compilation.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>

#include "network/domain.h"
#include "support/builders.h"

namespace {

enum Accepts : unsigned { discrete = 1, continuous = 2, utility = 4, real_function = 8 };

struct Function {
  std::string name;
  unsigned accepts;
  tv_status_t before_compilation;  // for an accepted node
  bool refuses_classes;
  std::function<double(tv_node_t*)> call;
  double failure;  // what it returns with any status but none; NaN: the status itself
};

const double kStatus = std::nan("");

const std::vector<Function>& functions() {
  constexpr tv_status_t fine = tv_status_none, late = tv_status_not_compiled;
  static const std::vector<Function> all{
      {"select_state", discrete, fine, true, [](auto* n) { return tv_node_select_state(n, 0); }, kStatus},
      {"enter_finding", discrete, fine, true, [](auto* n) { return tv_node_enter_finding(n, 0, 1); },
       kStatus},
      {"enter_value", continuous, fine, true, [](auto* n) { return tv_node_enter_value(n, 1); }, kStatus},
      {"get_entered_value", continuous, fine, true, [](auto* n) { return tv_node_get_entered_value(n); }, -1},
      {"get_selected_state", discrete, fine, true, [](auto* n) { return tv_node_get_selected_state(n); }, -1},
      {"get_entered_finding", discrete, fine, true, [](auto* n) { return tv_node_get_entered_finding(n, 0); },
       -1},
      {"evidence_is_entered", discrete | continuous, fine, false,
       [](auto* n) { return tv_node_evidence_is_entered(n); }, -1},
      {"likelihood_is_entered", discrete | continuous, fine, true,
       [](auto* n) { return tv_node_likelihood_is_entered(n); }, -1},
      {"retract_findings", discrete | continuous, fine, true,
       [](auto* n) { return tv_node_retract_findings(n); }, kStatus},
      {"get_propagated_finding", discrete, late, false,
       [](auto* n) { return tv_node_get_propagated_finding(n, 0); }, -1},
      {"get_propagated_state", discrete, late, false, [](auto* n) { return tv_node_get_propagated_state(n); },
       -1},
      {"get_propagated_value", continuous, late, false,
       [](auto* n) { return tv_node_get_propagated_value(n); }, -1},
      {"evidence_is_propagated", discrete | continuous, late, false,
       [](auto* n) { return tv_node_evidence_is_propagated(n); }, -1},
      {"likelihood_is_propagated", discrete | continuous, late, false,
       [](auto* n) { return tv_node_likelihood_is_propagated(n); }, -1},
      {"evidence_to_propagate", discrete | continuous, late, false,
       [](auto* n) { return tv_node_evidence_to_propagate(n); }, -1},
      {"get_belief", discrete, late, false, [](auto* n) { return tv_node_get_belief(n, 0); }, -1},
      {"get_entropy", discrete, late, false, [](auto* n) { return tv_node_get_entropy(n); }, -1},
      {"get_mean", continuous, late, false, [](auto* n) { return tv_node_get_mean(n); }, -1},
      {"get_variance", continuous, late, false, [](auto* n) { return tv_node_get_variance(n); }, -1},
      {"get_expected_utility", discrete | utility, late, false,
       [](auto* n) { return tv_node_get_expected_utility(n, 0); }, -1},
      {"get_min_utility", utility, late, false, [](auto* n) { return tv_node_get_min_utility(n); }, -1},
      {"get_max_utility", utility, late, false, [](auto* n) { return tv_node_get_max_utility(n); }, -1},
      {"get_variance_of_utility", utility, late, false,
       [](auto* n) { return tv_node_get_variance_of_utility(n); }, -1},
      {"get_value", real_function, late, false, [](auto* n) { return tv_node_get_value(n); }, -1},
      {"get_mutual_information", discrete, late, false,
       [](auto* n) { return tv_node_get_mutual_information(n, n); }, -1},
      {"get_conflict_clique", discrete | continuous, late, false,
       [](auto* n) { return tv_node_get_conflict_clique(n) ? 1 : 0; }, 0},
  };
  return all;
}

void expect_status(const Function& function, tv_node_t* node, tv_status_t status, const std::string& what) {
  const double result = function.call(node);
  EXPECT_EQ(tv_error_code(), status) << function.name << " of " << what;
  if (status == tv_status_none) return;
  EXPECT_EQ(result, std::isnan(function.failure) ? status : function.failure)
      << function.name << " of " << what;
}

void expect_on_node(tv_node_t* node, unsigned node_is, const std::string& what) {
  for (const Function& function : functions())
    expect_status(function, node, function.accepts & node_is ? function.before_compilation : tv_status_usage,
                  what);
}

TEST(Arguments, EveryFunctionKnowsItsNodes) {
  const test::DomainOwner mixed = test::new_domain(), decisions = test::new_domain();
  const auto make = [](const test::DomainOwner& domain, tv_node_category_t category, tv_node_kind_t kind) {
    return tv_domain_new_node(domain.get(), category, kind);
  };
  expect_on_node(nullptr, 0, "null");
  expect_on_node(make(mixed, tv_category_chance, tv_kind_discrete), discrete, "chance");
  expect_on_node(make(mixed, tv_category_chance, tv_kind_continuous), continuous, "continuous");
  expect_on_node(make(decisions, tv_category_decision, tv_kind_discrete), discrete, "decision");
  expect_on_node(make(decisions, tv_category_utility, tv_kind_other), utility, "utility");
  expect_on_node(make(decisions, tv_category_function, tv_kind_discrete), discrete, "function");
  expect_on_node(make(decisions, tv_category_function, tv_kind_other), real_function, "real-valued function");
}

TEST(Arguments, NodesOfClassesTakeNoEvidence) {
  const test::DomainOwner domain = test::new_domain();
  tv_node_t* nodes[] = {tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_discrete),
                        tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous)};
  domain->is_class = true;
  for (const Function& function : functions())
    for (tv_node_t* node : nodes)
      if (function.refuses_classes) expect_status(function, node, tv_status_usage, "a class");
  domain->is_class = false;
}

TEST(Arguments, StatesMustExist) {
  const test::DomainOwner domain = test::new_domain();
  tv_node_t* node = test::add_node(domain.get(), "A", 2);
  tv_node_t* value = tv_domain_new_node(domain.get(), tv_category_utility, tv_kind_other);
  const auto expect_usage = [](double result) {
    EXPECT_EQ(tv_error_code(), tv_status_usage);
    EXPECT_EQ(result, -1);
  };
  expect_usage(tv_node_get_propagated_finding(node, 2));
  expect_usage(tv_node_get_belief(node, 2));
  expect_usage(tv_node_get_expected_utility(node, 2));
  expect_usage(tv_node_get_expected_utility(value, 1));
  expect_usage(tv_node_get_mutual_information(node, value));
  expect_usage(tv_node_get_mutual_information(node, nullptr));
  expect_usage(tv_node_get_mutual_information(nullptr, nullptr));
}

// The questions to a whole domain or to one tree.
template <class Subject, class... Calls>
void expect_answers(Subject* subject, tv_status_t status, Calls... calls) {
  int which = 0;
  const auto expect = [&](double result) {
    EXPECT_EQ(tv_error_code(), status) << "question " << which++;
    EXPECT_EQ(result, -1);
  };
  (expect(calls(subject)), ...);
}

void expect_of_domain(tv_domain_t* domain, tv_status_t status) {
  expect_answers(
      domain, status, tv_domain_evidence_to_propagate, tv_domain_evidence_is_propagated,
      tv_domain_likelihood_is_propagated, tv_domain_cg_evidence_is_propagated, tv_domain_tables_to_propagate,
      tv_domain_get_normalization_constant, tv_domain_get_log_normalization_constant, tv_domain_get_conflict,
      tv_domain_get_expected_utility, [](auto* d) { return tv_domain_equilibrium_is(d, tv_equilibrium_sum); },
      [](auto* d) { return tv_domain_evidence_mode_is(d, tv_evidence_normal); });
}

void expect_of_tree(tv_junction_tree_t* tree, tv_status_t status) {
  expect_answers(
      tree, status, tv_jt_evidence_to_propagate, tv_jt_evidence_is_propagated, tv_jt_likelihood_is_propagated,
      tv_jt_cg_evidence_is_propagated, tv_jt_tables_to_propagate, tv_jt_get_conflict,
      [](auto* t) { return tv_jt_equilibrium_is(t, tv_equilibrium_sum); },
      [](auto* t) { return tv_jt_evidence_mode_is(t, tv_evidence_normal); });
}

TEST(Arguments, QuestionsToDomainsAndTrees) {
  expect_of_domain(nullptr, tv_status_usage);
  expect_of_tree(nullptr, tv_status_usage);
  EXPECT_EQ(tv_clique_get_conflict(nullptr), -1);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(tv_domain_retract_findings(nullptr), tv_status_usage);

  const test::DomainOwner domain = test::new_domain();
  test::add_node(domain.get(), "A", 2);
  expect_of_domain(domain.get(), tv_status_not_compiled);
  EXPECT_EQ(tv_domain_equilibrium_is(domain.get(), static_cast<tv_equilibrium_t>(13)), -1);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(tv_domain_evidence_mode_is(domain.get(), static_cast<tv_evidence_mode_t>(22)), -1);
  EXPECT_EQ(tv_error_code(), tv_status_usage);

  ASSERT_EQ(tv_domain_triangulate(domain.get(), tv_method_clique_size), tv_status_none);
  expect_of_tree(tv_domain_get_first_junction_tree(domain.get()), tv_status_not_compiled);
  EXPECT_EQ(tv_clique_get_conflict(tv_domain_get_first_clique(domain.get())), -1);
  EXPECT_EQ(tv_error_code(), tv_status_not_compiled);
}

}  // namespace

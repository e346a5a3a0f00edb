// Settings of learners of structures, and what a domain needs before anything is learned from it.
#include <cmath>

#include "learn/structure/constraints/learning_problem.h"
#include "learner_world.h"

namespace test {
namespace {

// A setting that starts as `initial`, takes the values of `good` and refuses those of `bad`.
template <class Value>
void check_setting(tv_status_t (*set)(tv_structure_learner_t*, Value),
                   Value (*get)(const tv_structure_learner_t*), Value initial, const std::vector<Value>& good,
                   const std::vector<Value>& bad, Value failure) {
  const Learner learner;
  EXPECT_EQ(get(learner.get()), initial);
  for (const Value value : good) {
    EXPECT_EQ(set(learner.get(), value), tv_status_none) << value;
    EXPECT_EQ(get(learner.get()), value);
    for (const Value wrong : bad) {
      EXPECT_EQ(set(learner.get(), wrong), tv_status_usage) << wrong;
      EXPECT_STRNE(tv_error_message(), tv_error_description(tv_status_usage));
    }
    EXPECT_EQ(get(learner.get()), value);
  }
  EXPECT_EQ(get(nullptr), failure);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(set(nullptr, initial), tv_status_usage);
}

TEST(Learner, KeepsSettings) {
  const double nan = std::nan(""), huge = HUGE_VAL;
  const size_t none = SIZE_MAX;
#define SETTING(name) tv_structure_learner_set_##name, tv_structure_learner_get_##name
  check_setting<tv_structure_method_t>(SETTING(method), tv_structure_method_tests,
                                       {tv_structure_method_hierarchical, tv_structure_method_tests},
                                       {tv_structure_method_error, tv_structure_method_t(7)},
                                       tv_structure_method_error);
  check_setting<tv_independence_test_t>(
      SETTING(test), tv_independence_test_g_squared, {tv_independence_test_chi_squared},
      {tv_independence_test_error, tv_independence_test_t(2)}, tv_independence_test_error);
  check_setting<double>(SETTING(significance), 0.05, {0.01, 0.999}, {0, 1, -0.1, nan}, -1);
  check_setting<double>(SETTING(cases_per_degree), 1, {0, 10.5}, {-1, nan, huge}, -1);
  check_setting<size_t>(SETTING(max_conditioning_size), none, {0, 3, none}, {}, none);
  check_setting<tv_collider_rule_t>(SETTING(collider_rule), tv_collider_rule_plain,
                                    {tv_collider_rule_majority, tv_collider_rule_conservative},
                                    {tv_collider_rule_error, tv_collider_rule_t(3)}, tv_collider_rule_error);
  check_setting<tv_structure_score_t>(SETTING(score), tv_structure_score_bic, {tv_structure_score_k2},
                                      {tv_structure_score_error, tv_structure_score_t(5)},
                                      tv_structure_score_error);
  check_setting<double>(SETTING(equivalent_sample_size), 1, {0.5, 100}, {0, -1, nan, huge}, -1);
  check_setting<size_t>(SETTING(max_parents), none, {0, 3}, {}, none);
  check_setting<double>(SETTING(max_total_weight), 0, {1000, 0}, {-1, nan}, -1);
  check_setting<size_t>(SETTING(tabu_steps), 100, {0, 100}, {}, none);
  check_setting<size_t>(SETTING(restarts), 0, {5}, {}, none);
  check_setting<uint64_t>(SETTING(seed), 1, {0, 42}, {}, UINT64_MAX);
  check_setting<size_t>(SETTING(concurrency_level), 1, {4}, {0}, none);
  check_setting<int>(SETTING(spanning), 1, {0, 1}, {}, -1);
  check_setting<size_t>(SETTING(max_completions), 0, {20}, {}, none);
#undef SETTING
}

TEST(Learner, KeepsNames) {
  const Learner learner;
  EXPECT_EQ(tv_structure_learner_get_target(learner.get()), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_none);
  tv_structure_learner_set_target(learner.get(), "class");
  // Its own name may be given back to it.
  tv_structure_learner_set_target(learner.get(), tv_structure_learner_get_target(learner.get()));
  EXPECT_STREQ(tv_structure_learner_get_target(learner.get()), "class");
  tv_structure_learner_set_target(learner.get(), nullptr);
  EXPECT_EQ(tv_structure_learner_get_target(learner.get()), nullptr);

  EXPECT_EQ(tv_structure_learner_require_link(learner.get(), "a", "a"), tv_status_usage);
  EXPECT_STREQ(tv_error_message(), "a link from node \"a\" to itself");
  EXPECT_EQ(tv_structure_learner_forbid_adjacency(learner.get(), "a", nullptr), tv_status_usage);
  EXPECT_EQ(tv_structure_learner_set_tier(learner.get(), "a", 3), tv_status_none);
  EXPECT_EQ(tv_structure_learner_set_tier(learner.get(), "a", 4), tv_status_usage);
  EXPECT_STREQ(tv_error_message(), "node \"a\" is in tier 3 already");
  EXPECT_EQ(text_of(learner), "tier 3: a;\n");
  tv_structure_learner_clear_constraints(learner.get());
  EXPECT_EQ(text_of(learner), "");
}

// Cases of b, a, an unnamed node and a continuous one, in that order.
struct FewCases {
  FewCases() {
    for (const char* name : {"b", "a"}) add_node(domain.get(), name, 2);
    tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_discrete);
    value = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
    tv_node_set_name(value, "B");
  }
  tv_status_t state(tv::LearningProblem& problem) {
    return tv::state_problem(*domain, *learner, {}, problem);
  }
  std::string complaint() {
    tv::LearningProblem problem;
    return state(problem) ? tv_error_message() : "";
  }

  DomainOwner domain = new_domain();
  tv_node_t* value;
  Learner learner;
};

TEST(LearningProblem, NeedsCases) {
  FewCases few;
  const std::vector<tv_node_t*> nodes = nodes_of(few.domain.get());
  EXPECT_EQ(few.complaint(), "the domain has no cases");
  tv_domain_set_number_of_cases(few.domain.get(), 2);
  for (size_t v = 0; v < 3; ++v) tv_node_set_case_state(nodes[v], v % 2, 0);
  EXPECT_EQ(few.complaint(), "node \"B\" is known in no case");
  tv_node_set_case_value(few.value, 1, 2.5);
  EXPECT_EQ(few.complaint(), "");
  tv_domain_set_case_count(few.domain.get(), 1, 0);
  EXPECT_EQ(few.complaint(), "node \"B\" is known in no case");
  tv_structure_learner_leave_out_node(few.learner.get(), "B");
  EXPECT_EQ(few.complaint(), "node \"a\" is known in no case");
}

TEST(LearningProblem, OrdersNodesByName) {
  FewCases few;
  tv_domain_set_number_of_cases(few.domain.get(), 1);
  const std::vector<tv_node_t*> nodes = nodes_of(few.domain.get());
  for (size_t v = 0; v < 3; ++v) tv_node_set_case_state(nodes[v], 0, 0);
  tv_node_set_case_value(few.value, 0, 2.5);
  ASSERT_EQ(parse(few.learner, "tier 1: a; tier 2: b; require a - b; forbid a -> B; no links in tier 2;"),
            tv_status_none);
  tv_structure_learner_set_target(few.learner.get(), "b");
  tv::LearningProblem problem;
  ASSERT_EQ(few.state(problem), tv_status_none) << tv_error_message();
  const tv::Structure structure = tv::empty_structure(problem);
  std::string names;
  for (const tv::StructureNode& node : structure.nodes) names += node.name + " ";
  const std::string unnamed = tv_node_get_name(nodes[2]);
  ASSERT_EQ(names, "B " + unnamed + " a b ");
  EXPECT_EQ(problem.target, 3u);
  EXPECT_EQ(problem.knowledge.tiers, (std::vector<size_t>{tv::kNone, tv::kNone, 1, 2}));
  std::string allowed, required;
  for (size_t from = 0; from < 4; ++from)
    for (size_t to = 0; to < 4; ++to) {
      const std::string pair = std::to_string(from) + std::to_string(to) + " ";
      if (problem.knowledge.allows(from, to)) allowed += pair;
      if (problem.knowledge.requires_link(from, to)) required += pair;
    }
  EXPECT_EQ(allowed, "10 12 13 21 23 30 31 ");
  EXPECT_EQ(required, "23 ");
}

}  // namespace
}  // namespace test

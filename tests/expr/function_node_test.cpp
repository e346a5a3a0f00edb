// Function nodes: values computed on demand, tables computed from results, and trees that hang on each other
// through them.

#include <cfloat>
#include <cmath>

#include "expr/expr_world.h"
#include "support/log.h"

namespace test {
namespace {

constexpr auto kSum = tv_equilibrium_sum;
constexpr auto kMax = tv_equilibrium_max;
constexpr auto kNormal = tv_evidence_normal;

class FunctionNodes : public testing::Test {
 protected:
  FunctionNodes() : owner(new_domain()), domain(owner.get()) {}

  tv_node_t* function(const char* name, const std::string& expression, const std::vector<tv_node_t*>& parents,
                      bool has_model = true) {
    tv_node_t* node = add_function(domain, name);
    add_parents(node, parents);
    if (has_model) add_model(node, {expression});
    return node;
  }
  tv_node_t* discrete_function(const char* name, tv_node_subtype_t subtype, const std::vector<double>& values,
                               const std::string& expression, const std::vector<tv_node_t*>& parents) {
    tv_node_t* node = add_typed(domain, name, subtype, values, tv_category_function);
    add_parents(node, parents);
    add_model(node, {expression});
    return node;
  }
  void compile() { ASSERT_EQ(tv_domain_compile(domain), 0) << tv_error_name(tv_error_code()); }
  void propagate() {
    ASSERT_EQ(tv_domain_propagate(domain, kSum, kNormal), 0) << tv_error_name(tv_error_code());
  }
  void expect_failure(tv_node_t* node, tv_status_t status) {
    EXPECT_EQ(tv_node_get_value(node), -1);
    EXPECT_EQ(tv_error_code(), status);
  }

  DomainOwner owner;
  tv_domain_t* domain;
};

TEST_F(FunctionNodes, TakeTheMeansOfWhatTheyHangOn) {
  tv_node_t* n = add_typed(domain, "n", tv_subtype_number, {1, 2, 4});
  set_table(n, {0.5f, 0.25f, 0.25f});
  tv_node_t* x = add_typed(domain, "x", tv_subtype_interval, {0, 2, 6, DBL_MAX});
  set_table(x, {0.25f, 0.75f, 0});
  tv_node_t* colour = add_labelled(domain, "colour", {"red", "green"});
  tv_node_t* f = function("f", "n * x", {n, x});
  tv_node_t* g = function("g", "if (colour == \"red\", f + 1, f - 1)", {colour, f});
  tv_node_t* h = function("h", "#colour", {colour});
  expect_failure(f, tv_status_not_compiled);
  compile();
  EXPECT_DOUBLE_EQ(tv_node_get_value(f), 2.0 * 3.25);
  expect_failure(g, tv_status_computation_failed);  // red or green
  expect_failure(h, tv_status_computation_failed);
  tv_node_select_state(colour, 1);
  tv_node_select_state(n, 2);
  propagate();
  EXPECT_DOUBLE_EQ(tv_node_get_value(f), 4 * 3.25);
  EXPECT_DOUBLE_EQ(tv_node_get_value(g), 12);
  EXPECT_EQ(tv_node_get_value(h), 1);
  EXPECT_EQ(tv_node_get_table(f), nullptr);
  EXPECT_EQ(tv_node_generate_table(f), tv_status_usage);

  expect_failure(function("nothing", "", {}, false), tv_status_not_compiled);
  tv_node_t* empty = function("empty", "", {n});
  tv_node_t* stranger = function("stranger", "x", {n});
  compile();
  expect_failure(tv_domain_get_node_by_name(domain, "nothing"), tv_status_no_value);
  expect_failure(empty, tv_status_invalid_expression);
  expect_failure(stranger, tv_status_invalid_expression);
  tv_domain_propagate(domain, kMax, kNormal);
  expect_failure(f, tv_status_no_equilibrium);  // there are no means
}

TEST_F(FunctionNodes, NeedTheValuesOfParentsThatTheyDoNotMention) {
  tv_node_t* colour = add_labelled(domain, "colour", {"red", "green"});
  tv_node_t* n = add_typed(domain, "n", tv_subtype_number, {1, 3});
  tv_node_t* broken = function("broken", "1 / 0", {});
  tv_node_t* f = function("f", "n", {n, colour, broken});
  tv_node_t* g = function("g", "f + 1", {f});
  compile();
  expect_failure(f, tv_status_computation_failed);  // red or green
  expect_failure(g, tv_status_computation_failed);
  tv_node_select_state(colour, 1);
  propagate();
  EXPECT_EQ(tv_node_get_value(f), 2);
  EXPECT_EQ(tv_node_get_value(g), 3);
  tv_node_set_state_value(n, 1, 0);
  EXPECT_EQ(tv_node_get_value(function("h", "2", {colour, n})), -1);
  ASSERT_EQ(tv_domain_compile(domain), 0);
  expect_failure(tv_domain_get_node_by_name(domain, "h"), tv_status_invalid_state_values);
}

TEST_F(FunctionNodes, ModelNodesChooseTheExpressionByTheirState) {
  tv_node_t* mode = add_node(domain, "mode", 2);
  tv_node_t* n = add_typed(domain, "n", tv_subtype_number, {0, 1});
  tv_node_t* f = function("f", "", {mode, n}, false);
  add_model(f, {"n + 10", "n + 20"}, {mode});
  compile();
  expect_failure(f, tv_status_computation_failed);
  tv_node_select_state(mode, 1);
  propagate();
  EXPECT_EQ(tv_node_get_value(f), 20.5);
}

TEST_F(FunctionNodes, AskForProbabilitiesVariancesAndQuantiles) {
  tv_node_t* n = add_typed(domain, "n", tv_subtype_number, {1, 2, 4});
  set_table(n, {0.5f, 0.25f, 0.25f});
  tv_node_t* x = add_typed(domain, "x", tv_subtype_interval, {0, 2, 6});
  set_table(x, {0.25f, 0.75f});
  tv_node_t* colour = add_labelled(domain, "colour", {"red", "green"});
  set_table(colour, {0.125f, 0.875f});
  tv_node_t* c = tv_domain_new_node(domain, tv_category_chance, tv_kind_continuous);
  tv_node_set_name(c, "c");
  tv_node_set_intercept(c, 0, 3);
  tv_node_set_conditional_variance(c, 0, 4);
  const std::pair<const char*, double> kValues[] = {{"probability (n >= 2)", 0.5},
                                                    {"probability (x < 3)", 0.25 + 0.75 * 6 / 25},
                                                    {"probability (colour == \"green\")", 0.875},
                                                    {"probability (#n == 1)", 0.25},
                                                    {"1 - probability (or (n == 1, n == 4))", 0.25},
                                                    {"variance (n)", 1.5},
                                                    {"variance (c)", 4},
                                                    {"c", 3},
                                                    {"quantile (n, 0.5)", 1},
                                                    {"quantile (n, 0.51)", 2},
                                                    {"quantile (n, 1)", 4},
                                                    {"quantile (x, 0)", 0},
                                                    {"quantile (x, 0.125)", 1},
                                                    {"quantile (x, 0.625)", 4},
                                                    {"quantile (x, 1)", 6},
                                                    {"quantile (c, 0.5)", 3},
                                                    {"max (n, c)", 3}};
  std::vector<tv_node_t*> functions;
  for (const auto& test : kValues) {
    std::vector<tv_node_t*> parents = {n, x, c};
    if (std::string(test.first).find("colour") != std::string::npos) parents.push_back(colour);
    functions.push_back(function(nullptr, test.first, parents));
  }
  tv_node_t* wrong = function("wrong", "quantile (n, 2)", {n});
  tv_node_t* no_node = function("no_node", "variance (n + 1)", {n});
  compile();
  for (size_t i = 0; i < functions.size(); ++i)
    EXPECT_NEAR(tv_node_get_value(functions[i]), kValues[i].second, 1e-6) << kValues[i].first;
  expect_failure(wrong, tv_status_inappropriate_arguments);
  expect_failure(no_node, tv_status_invalid_expression);
  // A node that is no function cannot ask for results.
  tv_node_t* y = add_node(domain, "y", 2);
  add_parents(y, {n});
  add_model(y, {"Distribution (probability (n == 1), 1)"});
  EXPECT_EQ(tv_node_generate_table(y), tv_status_invalid_expression);
}

TEST_F(FunctionNodes, UtilitiesAreTakenAsExpected) {
  tv_node_t* n = add_typed(domain, "n", tv_subtype_number, {1, 5});
  tv_node_t* u = tv_domain_new_node(domain, tv_category_utility, tv_kind_other);
  tv_node_set_name(u, "u");
  add_parents(u, {n});
  add_model(u, {"10 * n"});
  tv_node_t* f = function("f", "u + n", {u, n});
  compile();
  EXPECT_FLOAT_EQ(static_cast<float>(tv_node_get_value(f)), 33);
  tv_node_set_state_value(n, 1, 3);  // reaches the utility's table and the value
  propagate();
  EXPECT_FLOAT_EQ(static_cast<float>(tv_node_get_value(f)), 22);
}

TEST_F(FunctionNodes, ChainsOfFunctionsAreComputedOnce) {
  tv_node_t* n = add_typed(domain, "n", tv_subtype_number, {1, 1.5});
  tv_node_select_state(n, 0);
  tv_node_t* before = function("f0", "n", {n});
  tv_node_t* last = function("f1", "f0", {before});
  for (int i = 2; i < 300; ++i) {  // each is the mean of the two before: 2^300 ways down
    const std::string a = "f" + std::to_string(i - 2), b = "f" + std::to_string(i - 1);
    tv_node_t* next =
        function(("f" + std::to_string(i)).c_str(), "(" + a + " + " + b + ") / 2", {before, last});
    before = last;
    last = next;
  }
  compile();
  propagate();
  EXPECT_DOUBLE_EQ(tv_node_get_value(last), 1);
}

TEST_F(FunctionNodes, ADiscreteFunctionHasATableThatFollowsTheResults) {
  tv_node_t* n = add_typed(domain, "n", tv_subtype_number, {0, 1, 4});
  set_table(n, {0.5f, 0.25f, 0.25f});
  tv_node_t* level = discrete_function("level", tv_subtype_interval, {0, 1, 2, 10}, "2 * n", {n});
  tv_node_t* spread =
      discrete_function("spread", tv_subtype_interval, {-DBL_MAX, 1, DBL_MAX}, "Normal (n, 1)", {n});
  EXPECT_EQ(tv_node_generate_table(level), tv_status_not_compiled);
  compile();
  EXPECT_EQ(numbers_of(level), (std::vector<float>{0, 0, 1}));
  EXPECT_EQ(tv_node_get_belief(level, 2), 1);
  EXPECT_FLOAT_EQ(tv_node_get_belief(spread, 0), static_cast<float>(std::erfc(0.25 / std::sqrt(2.0)) / 2));
  tv_node_select_state(n, 0);
  propagate();
  EXPECT_EQ(tv_node_get_belief(level, 0), 1);
  EXPECT_FLOAT_EQ(tv_node_get_belief(spread, 0), static_cast<float>(std::erfc(-1 / std::sqrt(2.0)) / 2));
  // The most probable configuration has no means: the tables stay as they are.
  tv_node_retract_findings(n);
  propagate();
  EXPECT_EQ(tv_domain_propagate(domain, kMax, kNormal), 0) << tv_error_name(tv_error_code());
  EXPECT_EQ(tv_node_get_belief(level, 2), 1);
  EXPECT_EQ(tv_domain_reset_inference_engine(domain), 0);
  propagate();
  EXPECT_EQ(tv_node_get_belief(level, 2), 1);
}

TEST_F(FunctionNodes, WhatCannotBeEvaluatedIsNamed) {
  tv_node_t* colour = add_labelled(domain, "colour", {"red", "green"});
  tv_node_t* n = add_typed(domain, "n", tv_subtype_number, {0, 1});
  discrete_function("same", tv_subtype_number, {0, 1}, "ceil (n)", {n, colour});
  std::string log =
      log_of(domain, [&] { EXPECT_EQ(tv_domain_compile(domain), tv_status_computation_failed); });
  EXPECT_NE(log.find("Evaluation of parent colour failed\n"), std::string::npos) << log;
  EXPECT_EQ(tv_domain_is_compiled(domain), 0);
  tv_node_select_state(colour, 0);
  compile();

  tv_node_t* inverse = function("inverse", "1 / n", {n});
  tv_node_t* y = add_node(domain, "y", 2);
  add_parents(y, {inverse});
  add_model(y, {"Distribution (inverse, 1)"});
  compile();
  EXPECT_FLOAT_EQ(tv_node_get_belief(y, 0), 2.0f / 3);
  tv_node_select_state(n, 0);
  log = log_of(domain,
               [&] { EXPECT_EQ(tv_domain_propagate(domain, kSum, kNormal), tv_status_division_by_zero); });
  EXPECT_NE(log.find("Evaluation of function node inverse failed\n"), std::string::npos) << log;
  tv_node_select_state(n, 1);
  propagate();
  EXPECT_FLOAT_EQ(tv_node_get_belief(y, 0), 0.5);
}

// Two trees, the second of which hangs on the first through functions of functions.
TEST_F(FunctionNodes, TreesArePropagatedInTheOrderInWhichTheyHangOnEachOther) {
  tv_node_t* y = add_node(domain, "y", 2);  // its tree is created first
  tv_node_t* z = add_node(domain, "z", 2, {y}, {0.9f, 0.1f, 0.2f, 0.8f});
  tv_node_t* n = add_typed(domain, "n", tv_subtype_number, {1, 2, 3});
  tv_node_t* m = add_node(domain, "m", 2, {n}, {0.5f, 0.5f, 0.25f, 0.75f, 0.125f, 0.875f});
  tv_node_t* f = function("f", "n ^ 2", {n});
  tv_node_t* g = function("g", "f + 1", {f});
  add_parents(y, {g});
  add_model(y, {"Distribution (g, 1)"});
  compile();
  tv_node_t* const nodes[] = {m, z, n, nullptr};
  for (int round = 0; round < 40; ++round) {
    tv_node_t* node = nodes[round % 3];
    if (round % 4 == 3)
      tv_node_retract_findings(node);
    else
      tv_node_select_state(node, static_cast<size_t>(round / 3) % 2);
    propagate();
    const double mean =
        tv_node_get_belief(n, 0) + 2 * tv_node_get_belief(n, 1) + 3 * tv_node_get_belief(n, 2);
    const double weight = mean * mean + 1;
    EXPECT_NEAR(tv_node_get_value(g), weight, 1e-6);
    double prior[] = {weight / (weight + 1), 1 / (weight + 1)};
    if (tv_node_get_propagated_state(z) == 0) {
      prior[0] *= 0.9;
      prior[1] *= 0.2;
    } else if (tv_node_get_propagated_state(z) == 1) {
      prior[0] *= 0.1;
      prior[1] *= 0.8;
    }
    ASSERT_NEAR(tv_node_get_belief(y, 0), prior[0] / (prior[0] + prior[1]), 1e-6) << "round " << round;
  }
  EXPECT_EQ(tv_node_get_mutual_information(y, n), 9);
  EXPECT_EQ(tv_error_code(), tv_status_functional_dependency);
}

TEST_F(FunctionNodes, AggregatesAreConvolutions) {
  tv_node_t* count = add_typed(domain, "count", tv_subtype_number, {0, 1, 3});
  set_table(count, {0.25f, 0.25f, 0.5f});
  tv_node_t* x = add_typed(domain, "x", tv_subtype_interval, {0, 1, 2, 4});
  set_table(x, {0.5f, 0.25f, 0.25f});
  const std::vector<double> bounds{0, 0.5, 1, 3, 7, 12};
  tv_node_t* sum = discrete_function("sum", tv_subtype_interval, bounds, "aggregate (count, x)", {count, x});
  compile();
  // All ways to choose the copies, each spread evenly over its span.
  const double low[] = {0, 1, 2}, high[] = {1, 2, 4}, p[] = {0.5, 0.25, 0.25};
  std::vector<double> expected(5, 0);
  const auto hand_out = [&](double from, double to, double mass) {
    for (size_t i = 0; i < 5; ++i) {
      const double part = std::min(to, bounds[i + 1]) - std::max(from, bounds[i]);
      if (part > 0) expected[i] += mass * part / (to - from);
    }
  };
  expected[0] += 0.25;  // no copies: zero, on the first bound
  for (int i = 0; i < 3; ++i) {
    hand_out(low[i], high[i], 0.25 * p[i]);
    for (int j = 0; j < 3; ++j)
      for (int k = 0; k < 3; ++k)
        hand_out(low[i] + low[j] + low[k], high[i] + high[j] + high[k], 0.5 * p[i] * p[j] * p[k]);
  }
  for (size_t i = 0; i < 5; ++i) EXPECT_NEAR(tv_node_get_belief(sum, i), expected[i], 1e-6) << i;
  tv_node_select_state(count, 1);
  propagate();
  EXPECT_NEAR(tv_node_get_belief(sum, 2), 0.25 + 0.125, 1e-6);

  // Many copies of unequal intervals stay affordable and keep their mean.
  tv_node_retract_findings(count);
  tv_node_set_state_value(count, 2, 60);
  for (size_t i = 0; i < 4; ++i)
    tv_node_set_state_value(x, i, std::sqrt(2 + 3.0 * static_cast<double>(i)) - 1);
  tv_node_set_state_value(sum, 0, 0);
  for (size_t i = 1; i < 5; ++i) tv_node_set_state_value(sum, i, 60 * (0.7 + 0.1 * static_cast<double>(i)));
  tv_node_set_state_value(sum, 5, 400);
  tv_node_select_state(count, 2);
  propagate();
  double whole = 0;
  for (size_t i = 0; i < 5; ++i) whole += tv_node_get_belief(sum, i);
  EXPECT_NEAR(whole, 1, 1e-5);
}

TEST_F(FunctionNodes, AggregatesSayWhatIsWrongWithThem) {
  tv_node_t* count = add_typed(domain, "count", tv_subtype_number, {0, 3});
  tv_node_t* x = add_typed(domain, "x", tv_subtype_interval, {0, 1});
  tv_node_t* half = add_typed(domain, "half", tv_subtype_number, {0, 0.5});
  tv_node_t* chance = add_typed(domain, "chance", tv_subtype_interval, {0, 10});
  add_parents(chance, {count, x});
  add_model(chance, {"Uniform (0, 10)"});
  tv_node_t* sum = discrete_function("sum", tv_subtype_interval, {0, 2}, "Uniform (0, 2)", {count, x, half});
  tv_node_t* number = discrete_function("number", tv_subtype_number, {0, 1}, "0", {count, x});
  compile();
  const auto refusal = [&](const char* text, tv_node_t* node) {
    tv_model_set_expression(tv_node_get_model(node), 0, parse(domain, text).release());
    char* log = nullptr;
    size_t size = 0;
    std::FILE* stream = open_memstream(&log, &size);
    tv_domain_set_log_file(domain, stream);
    const tv_status_t status = tv_node_generate_table(node);
    tv_domain_set_log_file(domain, nullptr);
    std::fclose(stream);
    std::string said(log);
    std::free(log);
    said.erase(0, said.find('\n') + 1);
    return tv_error_name(static_cast<unsigned>(status)) + (": " + said);
  };
  const std::string kind = "Aggregate distributions are only valid for interval discrete function nodes\n";
  EXPECT_EQ(refusal("aggregate (count, x)", chance), "invalid_expression: " + kind);
  EXPECT_EQ(refusal("aggregate (count, x)", number), "invalid_expression: " + kind);
  EXPECT_EQ(refusal("aggregate (x, x)", sum),
            "invalid_expression: Aggregate distribution: `x' must be a numbered node.\n");
  EXPECT_EQ(refusal("aggregate (count, count)", sum),
            "invalid_expression: Aggregate distribution: `count' must be an interval node.\n");
  EXPECT_EQ(refusal("aggregate (half, x)", sum), "invalid_state_values: ");
  EXPECT_EQ(refusal("truncate (aggregate (count, x), 2)", sum),
            "invalid_expression: Truncation is not supported for the aggregate distribution\n");
  EXPECT_EQ(
      refusal("aggregate (count, x)", sum),
      "insufficient_state_range: Node sum: State range must include [0, 3] for aggregate distribution\n");
}

}  // namespace
}  // namespace test

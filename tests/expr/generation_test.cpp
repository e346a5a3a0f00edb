// Tables from models: which expression, which values, which samples; and when a table is generated again.

#include <cfloat>
#include <cmath>
#include <functional>

#include "expr/expr_world.h"

namespace test {
namespace {

const double kInfinity = HUGE_VAL;
constexpr auto kSum = tv_equilibrium_sum;
constexpr auto kNormal = tv_evidence_normal;

class Generation : public testing::Test {
 protected:
  Generation() : owner(new_domain()), domain(owner.get()) {}
  ~Generation() override {
    tv_domain_set_log_file(domain, nullptr);
    if (stream) std::fclose(stream);
    std::free(log);
  }

  void start_log() {
    stream = open_memstream(&log, &size);
    tv_domain_set_log_file(domain, stream);
  }
  std::string logged() {
    std::fflush(stream);
    std::string text(log, size);
    std::rewind(stream);
    return text;
  }

  tv_node_t* child(const char* name, tv_node_subtype_t subtype, const std::vector<double>& values,
                   const std::vector<tv_node_t*>& parents) {
    tv_node_t* node = add_typed(domain, name, subtype, values);
    add_parents(node, parents);
    return node;
  }

  DomainOwner owner;
  tv_domain_t* domain;
  std::FILE* stream = nullptr;
  char* log = nullptr;
  size_t size = 0;
};

double phi(double x) { return std::erfc(-x / std::sqrt(2.0)) / 2; }

TEST_F(Generation, AStandardNormalOverFourIntervals) {
  tv_node_t* x = child("x", tv_subtype_interval, {-DBL_MAX, -1, 0, 1, DBL_MAX}, {});
  add_model(x, {"Normal (0, 1)"});
  ASSERT_EQ(tv_node_generate_table(x), 0);
  EXPECT_EQ(numbers_of(x), (std::vector<float>{0.158655254f, 0.341344746f, 0.341344746f, 0.158655254f}));
}

TEST_F(Generation, ParentsGiveNumbersLabelsTruthValuesAndIndexes) {
  tv_node_t* n = add_typed(domain, "n", tv_subtype_number, {0, 2, 5});
  tv_node_t* colour = add_labelled(domain, "colour", {"red", "green"});
  tv_node_t* b = add_boolean(domain, "b");
  tv_node_t* y = child("y", tv_subtype_number, {0, 1, 2, 3, 4, 5, 6, 7, 8}, {n, colour, b});
  add_model(y, {"if (colour == \"red\", n, 0) + if (b, 1, #n) + #colour"});
  ASSERT_EQ(tv_node_generate_table(y), 0);
  const std::vector<float> table = numbers_of(y);
  const double values[] = {0, 2, 5};
  for (size_t i = 0, entry = 0; i < 3; ++i)
    for (size_t c = 0; c < 2; ++c)
      for (size_t t = 0; t < 2; ++t) {
        const double expected =
            (c == 0 ? values[i] : 0) + (t ? 1 : static_cast<double>(i)) + static_cast<double>(c);
        for (double k = 0; k < 9; ++k) EXPECT_EQ(table[entry++], k == expected ? 1 : 0);
      }

  tv_node_t* shade = add_labelled(domain, "shade", {"green", "dark", "red"});
  add_parents(shade, {colour, b});
  add_model(shade, {"if (b, colour, \"dark\")"});
  ASSERT_EQ(tv_node_generate_table(shade), 0);
  EXPECT_EQ(numbers_of(shade), (std::vector<float>{0, 1, 0, 0, 0, 1, 0, 1, 0, 1, 0, 0}));

  tv_node_t* either = add_boolean(domain, "either");
  add_parents(either, {b, n});
  add_model(either, {"or (b, and (n >= 2, n < 5), not (n != 5))"});
  ASSERT_EQ(tv_node_generate_table(either), 0);
  EXPECT_EQ(numbers_of(either), (std::vector<float>{1, 0, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1}));
}

TEST_F(Generation, TheExpressionIsChosenByTheModelNodesAlone) {
  tv_node_t* a = add_node(domain, "a", 2);
  tv_node_t* b = add_typed(domain, "b", tv_subtype_number, {1, 2, 3});
  tv_node_t* c = add_node(domain, "c", 2);
  tv_node_t* y = add_node(domain, "y", 2);
  add_parents(y, {a, b, c});
  // The order of the model nodes is not that of the parents.
  add_model(y, {"Distribution (b, 1)", "Distribution (b, 2)", "Distribution (3, b)", "Distribution (4, b)"},
            {c, a});
  ASSERT_EQ(tv_node_generate_table(y), 0);
  const std::vector<float> table = numbers_of(y);
  for (size_t i = 0; i < 2; ++i)
    for (size_t j = 0; j < 3; ++j)
      for (size_t k = 0; k < 2; ++k) {
        const double value = static_cast<double>(j) + 1;
        const double weights[4][2] = {{value, 1}, {value, 2}, {3, value}, {4, value}};
        const double* w = weights[2 * k + i];
        EXPECT_FLOAT_EQ(table[((i * 3 + j) * 2 + k) * 2], static_cast<float>(w[0] / (w[0] + w[1])));
      }
  // The host's own order of the table's nodes is kept.
  tv_node_t* order[] = {c, b, a, y, nullptr};
  tv_table_reorder_nodes(tv_node_get_table(y), order);
  const std::vector<float> reordered = numbers_of(y);
  tv_model_set_number_of_samples_per_interval(tv_node_get_model(y), 3);
  ASSERT_EQ(tv_node_generate_table(y), 0);
  EXPECT_EQ(numbers_of(y), reordered);
}

TEST_F(Generation, IntervalsOfParentsAreSampled) {
  tv_node_t* u = add_typed(domain, "u", tv_subtype_interval, {0, 10, 12});
  tv_node_t* v = add_typed(domain, "v", tv_subtype_interval, {1, 2, 4, 8});
  tv_node_t* x = child("x", tv_subtype_interval, {-DBL_MAX, 0, 5, 20, DBL_MAX}, {u, v});
  tv_model_t* model = add_model(x, {"Normal (u - v, v ^ 2)"});
  tv_model_set_number_of_samples_per_interval(model, 7);
  ASSERT_EQ(tv_node_generate_table(x), 0);
  const std::vector<float> table = numbers_of(x);
  const double us[] = {0, 10, 12}, vs[] = {1, 2, 4, 8}, xs[] = {-kInfinity, 0, 5, 20, kInfinity};
  for (size_t i = 0; i < 2; ++i)
    for (size_t j = 0; j < 3; ++j)
      for (size_t k = 0; k < 4; ++k) {
        double sum = 0;
        for (int p = 0; p < 7; ++p)
          for (int q = 0; q < 7; ++q) {
            const double uu = us[i] + (p + 0.5) / 7 * (us[i + 1] - us[i]);
            const double vv = vs[j] + (q + 0.5) / 7 * (vs[j + 1] - vs[j]);
            sum += phi((xs[k + 1] - uu + vv) / vv) - phi((xs[k] - uu + vv) / vv);
          }
        EXPECT_NEAR(table[(i * 3 + j) * 4 + k], sum / 49, 1e-7);
      }
}

TEST_F(Generation, SamplesAndTheirSpreadAreLogged) {
  start_log();
  tv_node_t* u = add_typed(domain, "u", tv_subtype_interval, {0, 10});
  tv_node_t* w = add_node(domain, "w", 2);
  tv_node_t* x = child("x", tv_subtype_interval, {0, 0.3, 9.7, 10}, {w, u});
  add_model(x, {"u"});  // at 0.2, 0.6, ... 9.8
  ASSERT_EQ(tv_node_generate_table(x), 0);
  EXPECT_EQ(logged(),
            "Using model for x to generate a conditional probability table\n"
            "(0,0,0): 0.04 (min=0, max=1)\n(0,0,1): 0.92 (min=0, max=1)\n(0,0,2): 0.04 (min=0, max=1)\n"
            "(1,0,0): 0.04 (min=0, max=1)\n(1,0,1): 0.92 (min=0, max=1)\n(1,0,2): 0.04 (min=0, max=1)\n");
}

TEST_F(Generation, IntervalsWithoutAnEndHaveOnePointThatStandsForThem) {
  const auto point = [&](double low, double high) {
    const DomainOwner world = new_domain();
    tv_node_t* u = add_typed(world.get(), "u", tv_subtype_interval, {low, high});
    tv_node_t* y = tv_domain_new_node(world.get(), tv_category_utility, tv_kind_other);
    add_parents(y, {u});
    add_model(y, {"u"});
    EXPECT_EQ(tv_node_generate_table(y), 0);
    return numbers_of(y)[0];
  };
  EXPECT_EQ(point(-kInfinity, kInfinity), 0);
  EXPECT_EQ(point(2, kInfinity), 2.002f);
  EXPECT_EQ(point(0, DBL_MAX), 1);
  EXPECT_EQ(point(-2, DBL_MAX), -1.998f);
  EXPECT_EQ(point(-DBL_MAX, 2), 1.998f);
  EXPECT_EQ(point(-DBL_MAX, 0), -1);
  EXPECT_EQ(point(-DBL_MAX, -2), -2.002f);
  EXPECT_EQ(point(2, 4), 3);
}

TEST_F(Generation, UtilitiesAndPoliciesComeFromModelsToo) {
  start_log();
  tv_node_t* d = tv_domain_new_node(domain, tv_category_decision, tv_kind_discrete);
  tv_node_set_name(d, "d");
  tv_node_set_number_of_states(d, 2);
  tv_node_t* n = add_typed(domain, "n", tv_subtype_number, {-1, 4});
  tv_node_t* u = tv_domain_new_node(domain, tv_category_utility, tv_kind_other);
  tv_node_set_name(u, "u");
  add_parents(u, {d, n});
  add_parents(d, {n});
  add_model(u, {"n * 10 - #d"});
  add_model(d, {"if (n > 0, Distribution (0, 1), Distribution (1, 0))"});
  ASSERT_EQ(tv_domain_generate_tables(domain), 0);
  EXPECT_EQ(logged(),
            "Using model for u to generate a utility table\nUsing model for d to generate a policy table\n");
  EXPECT_EQ(numbers_of(u), (std::vector<float>{-10, 40, -11, 39}));
  EXPECT_EQ(numbers_of(d), (std::vector<float>{1, 0, 0, 1}));
}

TEST_F(Generation, NoisyOrMultipliesWhatInhibitsTheTrueCauses) {
  tv_node_t* a = add_boolean(domain, "a");
  tv_node_t* b = add_boolean(domain, "b");
  tv_node_t* y = add_boolean(domain, "y");
  add_parents(y, {a, b});
  add_model(y, {"NoisyOR (a, 0.2, b, 0.5, true, 0.9)"});
  ASSERT_EQ(tv_node_generate_table(y), 0);
  const std::vector<float> table = numbers_of(y);
  const float inhibited[] = {0.9f, 0.45f, 0.18f, 0.09f};
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_FLOAT_EQ(table[2 * i], inhibited[i]);
    EXPECT_FLOAT_EQ(table[2 * i + 1], 1 - inhibited[i]);
  }
  tv_model_set_expression(tv_node_get_model(y), 0, parse(domain, "NoisyOR (a, 1.5)").release());
  EXPECT_EQ(tv_node_generate_table(y), tv_status_inappropriate_arguments);
  EXPECT_EQ(numbers_of(y), table);  // what failed changes nothing
}

TEST_F(Generation, OnlyTheBranchThatIsTakenIsEvaluated) {
  tv_node_t* n = add_typed(domain, "n", tv_subtype_number, {-1, 0, 4});
  tv_node_t* u = tv_domain_new_node(domain, tv_category_utility, tv_kind_other);
  add_parents(u, {n});
  add_model(u, {"if (n > 0, sqrt (n) / n, if (n == 0, 7, log (-n)))"});
  ASSERT_EQ(tv_node_generate_table(u), 0);
  EXPECT_EQ(numbers_of(u), (std::vector<float>{0, 7, 0.5f}));
}

TEST_F(Generation, FunctionsOfNumbers) {
  const std::pair<const char*, double> kValues[] = {{"min (3, 1, 2) + max (3, 1, 2)", 4},
                                                    {"log (exp (2)) + log2 (8) + log10 (1000)", 8},
                                                    {"sin (1) ^ 2 + cos (1) ^ 2", 1},
                                                    {"tan (0.5) * cos (0.5) - sin (0.5)", 0},
                                                    {"cosh (1) ^ 2 - sinh (1) ^ 2", 1},
                                                    {"tanh (1) * cosh (1) - sinh (1)", 0},
                                                    {"sqrt (2) ^ 2", 2},
                                                    {"abs (-3) + floor (-1.5) + ceil (-1.5)", 0},
                                                    {"mod (-7, 3)", -1},
                                                    {"mod (7.5, -2)", 1.5},
                                                    {"2 ^ 3 ^ 2", 512},
                                                    {"-2 ^ 2", -4},
                                                    {"7 - 2 - 1", 4},
                                                    {"if (1 <= 2, 3, 4)", 3},
                                                    {"if (\"a\" < \"b\", 1, 2)", 1},
                                                    {"if (\"b\" == \"a\", 1, 2)", 2},
                                                    {"if (and (), 1, 2)", 1},
                                                    {"if (or (), 1, 2)", 2},
                                                    {"if (true > false, 1, 2)", 1}};
  for (const auto& [text, value] : kValues) {
    tv_node_t* u = tv_domain_new_node(domain, tv_category_utility, tv_kind_other);
    add_model(u, {text});
    ASSERT_EQ(tv_node_generate_table(u), 0) << text;
    EXPECT_NEAR(numbers_of(u)[0], value, 1e-6) << text;
  }
}

TEST_F(Generation, AModelWithoutExpressionsOrWithGapsSaysSo) {
  start_log();
  tv_node_t* a = add_node(domain, "a", 3);
  tv_node_t* other = add_typed(domain, "other", tv_subtype_number, {0, 1});
  tv_node_t* y = add_node(domain, "y", 2);
  add_parents(y, {a});
  tv_model_t* model = add_model(y, {}, {a});
  EXPECT_EQ(tv_node_generate_table(y), tv_status_invalid_expression);
  EXPECT_EQ(logged(), "Model for y is unspecified\n");
  tv_model_set_expression(model, 1, parse(domain, "Distribution (other, 1)").release());
  EXPECT_EQ(tv_node_generate_table(y), tv_status_invalid_expression);
  EXPECT_EQ(logged().substr(0, 150),
            "Using model for y to generate a conditional probability table\nNo expression at index 0\n"
            "Invalid expression at index 1\nNo expression at index 2\n");
  tv_node_add_parent(y, other);
  for (size_t i : {0, 2}) tv_model_set_expression(model, i, parse(domain, "Distribution (1, 1)").release());
  EXPECT_EQ(tv_node_generate_table(y), tv_status_none);
  EXPECT_EQ(tv_domain_compile(domain), tv_status_none);
}

TEST_F(Generation, ModelsHaveRules) {
  tv_node_t* a = add_node(domain, "a", 3);
  tv_node_t* y = add_node(domain, "y", 2, {a});
  tv_node_t* c = tv_domain_new_node(domain, tv_category_chance, tv_kind_continuous);
  const auto attempt = [&](tv_node_t* node, std::vector<tv_node_t*> nodes) {
    nodes.push_back(nullptr);
    tv_model_t* model = tv_node_new_model(node, nodes.data());
    EXPECT_EQ(tv_error_code(), model ? tv_status_none : tv_status_usage);
    return model;
  };
  EXPECT_EQ(attempt(a, {y}), nullptr);
  EXPECT_EQ(attempt(y, {a, a}), nullptr);
  EXPECT_EQ(attempt(c, {}), nullptr);
  tv_model_t* model = attempt(y, {a});
  ASSERT_NE(model, nullptr);
  EXPECT_EQ(attempt(y, {}), nullptr);
  EXPECT_EQ(tv_model_get_size(model), 3u);
  EXPECT_EQ(tv_model_get_nodes(model)[0], a);
  EXPECT_EQ(tv_node_get_model(y), model);
  EXPECT_EQ(tv_model_set_expression(model, 3, nullptr), tv_status_usage);
  EXPECT_EQ(tv_model_get_expression(model, 3), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(tv_model_set_number_of_samples_per_interval(model, 0), tv_status_usage);
  EXPECT_EQ(tv_model_get_number_of_samples_per_interval(model), 25u);
  EXPECT_EQ(tv_node_set_category(y, tv_category_decision), tv_status_usage);
  EXPECT_EQ(tv_node_reverse_edge(a, y), tv_status_usage);
  EXPECT_EQ(tv_node_generate_table(a), tv_status_usage);
  const DomainOwner foreign = new_domain();
  const ExpressionHandle stranger(tv_node_make_expression(add_node(foreign.get(), "s", 2)));
  EXPECT_EQ(tv_model_set_expression(model, 0, stranger.get()), tv_status_usage);

  tv_expression_t* one = tv_number_make_expression(1);
  tv_model_set_expression(model, 0, one);
  tv_model_set_expression(model, 2, one);
  EXPECT_EQ(tv_expression_delete(one), tv_status_none);  // held
  EXPECT_EQ(tv_model_get_expression(model, 2), one);
  EXPECT_EQ(tv_model_delete(model), tv_status_none);
  EXPECT_EQ(tv_node_get_model(y), nullptr);
}

// ---- Following the network ----

std::string texts(tv_model_t* model) {
  std::string all;
  for (size_t i = 0; i < tv_model_get_size(model); ++i) {
    const tv_expression_t* expression = tv_model_get_expression(model, i);
    all += (expression ? print(expression) : "-") + "; ";
  }
  return all;
}

class Following : public Generation {
 protected:
  Following() {
    a = add_typed(domain, "a", tv_subtype_number, {0, 1});
    b = add_typed(domain, "b", tv_subtype_number, {0, 1, 2});
    y = add_node(domain, "y", 2);
    add_parents(y, {a, b});
    model = add_model(y,
                      {"Distribution (1, a)", "Distribution (2, 1)", "Distribution (3, 1)",
                       "Distribution (4, b + 1)", "Distribution (5, 1)", "Distribution (6, 1)"},
                      {a, b});
  }
  tv_node_t *a, *b, *y;
  tv_model_t* model;
};

TEST_F(Following, StatesComeAndGo) {
  tv_node_set_number_of_states(b, 2);
  EXPECT_EQ(texts(model),
            "Distribution (1, a); Distribution (2, 1); Distribution (4, b + 1); Distribution (5, 1); ");
  tv_node_set_number_of_states(a, 3);
  EXPECT_EQ(texts(model),
            "Distribution (1, a); Distribution (2, 1); Distribution (4, b + 1); Distribution (5, 1); -; -; ");
}

TEST_F(Following, StatesAreReordered) {
  ASSERT_EQ(tv_node_generate_table(y), 0);
  const std::vector<float> before = numbers_of(y);
  const size_t order[] = {2, 0, 1};
  tv_node_reorder_states(b, order);
  EXPECT_EQ(texts(model).substr(0, 20), "Distribution (3, 1);");
  const size_t swap[] = {1, 0};
  tv_node_reorder_states(y, swap);
  EXPECT_EQ(texts(model).substr(0, 20), "Distribution (1, 3);");
  const std::vector<float> followed = numbers_of(y);
  for (size_t i = 0; i < 2; ++i)
    for (size_t j = 0; j < 3; ++j)
      for (size_t k = 0; k < 2; ++k)
        EXPECT_EQ(followed[(i * 3 + j) * 2 + k], before[(i * 3 + order[j]) * 2 + swap[k]]);
  // The values of b follow its states and no longer increase.
  ASSERT_EQ(tv_domain_compile(domain), tv_status_invalid_state_values);
  tv_node_set_subtype(b, tv_subtype_label);
  for (size_t i = 0; i < 6; ++i)
    tv_model_set_expression(model, i, parse(domain, "Distribution (1, 1)").release());
  ASSERT_EQ(tv_domain_compile(domain), 0);
  EXPECT_NE(numbers_of(y), followed);
}

TEST_F(Following, ParentsAreRemovedSwitchedAndDeleted) {
  tv_node_t* twin = add_typed(domain, "twin", tv_subtype_number, {0, 1, 2});
  ASSERT_EQ(tv_node_switch_parent(y, b, twin), 0);
  EXPECT_NE(texts(model).find("Distribution (4, twin + 1)"), std::string::npos);
  EXPECT_EQ(tv_model_get_nodes(model)[1], twin);
  ASSERT_EQ(tv_node_remove_parent(y, twin), 0);
  EXPECT_EQ(texts(model), "Distribution (1, a); -; ");
  ASSERT_EQ(tv_node_delete(a), 0);
  EXPECT_EQ(texts(model), "-; ");
  EXPECT_EQ(tv_model_get_nodes(model)[0], nullptr);
}

TEST_F(Following, CopiesHaveModelsOfTheirOwn) {
  ASSERT_EQ(tv_domain_generate_tables(domain), 0);
  const DomainOwner copy(tv_domain_clone(domain));
  tv_node_t* twin = tv_domain_get_node_by_name(copy.get(), "y");
  EXPECT_EQ(texts(tv_node_get_model(twin)), texts(model));
  EXPECT_EQ(tv_model_get_nodes(tv_node_get_model(twin))[0], tv_domain_get_node_by_name(copy.get(), "a"));
  tv_node_t* clone = tv_node_clone(y);
  tv_model_set_expression(model, 0, nullptr);
  EXPECT_EQ(texts(tv_node_get_model(clone)), texts(tv_node_get_model(twin)));
  tv_node_delete(y);
  EXPECT_EQ(tv_node_generate_table(clone), 0);
}

TEST_F(Following, EveryChangeReachesTheBeliefs) {
  const auto belief = [&] {
    if (tv_domain_is_compiled(domain) == 0) {
      EXPECT_EQ(tv_domain_compile(domain), 0);
    }
    EXPECT_EQ(tv_domain_propagate(domain, kSum, kNormal), 0) << tv_error_name(tv_error_code());
    return tv_node_get_belief(y, 0);
  };
  for (size_t i = 0; i < 6; ++i)
    tv_model_set_expression(model, i, parse(domain, "Distribution (a + b, 1)").release());
  const auto expected = [&] {
    double sum = 0;
    for (size_t i = 0; i < 2; ++i)
      for (size_t j = 0; j < 3; ++j) {
        const double w = tv_node_get_state_value(a, i) + tv_node_get_state_value(b, j);
        sum += w / (w + 1) / 6;
      }
    return static_cast<float>(sum);
  };
  EXPECT_FLOAT_EQ(belief(), expected());
  tv_node_set_state_value(b, 2, 9);
  EXPECT_EQ(tv_domain_is_compiled(domain), 1);
  EXPECT_EQ(tv_domain_tables_to_propagate(domain), 1);
  EXPECT_FLOAT_EQ(belief(), expected());
  tv_domain_save_to_memory(domain);
  tv_node_set_state_value(a, 1, 3);
  EXPECT_FLOAT_EQ(belief(), expected());
  tv_model_set_expression(model, 0, parse(domain, "Distribution (1, 0)").release());
  const float changed = belief();
  EXPECT_FLOAT_EQ(changed, expected() + 1.0f / 6);
  tv_node_set_state_value(a, 0, -7);  // gives negative weights
  EXPECT_EQ(tv_domain_propagate(domain, kSum, kNormal), tv_status_inappropriate_arguments);
  tv_node_set_state_value(a, 0, 0);
  EXPECT_FLOAT_EQ(belief(), changed);
  tv_node_select_state(y, 1);
  EXPECT_EQ(belief(), 0);

  tv_node_t* z = add_labelled(domain, "z", {"low", "high"});
  tv_node_t* q = add_labelled(domain, "q", {"yes", "no"});
  add_parents(q, {z});
  add_model(q, {"if (z == \"low\", \"yes\", \"no\")"});
  belief();
  EXPECT_EQ(tv_node_get_belief(q, 0), 0.5);
  tv_node_set_state_label(z, 0, "lowest");
  belief();
  EXPECT_EQ(tv_node_get_belief(q, 0), 0);
}

TEST_F(Following, AFailedLogLeavesTheTableAndFails) {
  std::FILE* full = std::fopen("/dev/full", "w");
  ASSERT_NE(full, nullptr);
  tv_domain_set_log_file(domain, full);
  const std::vector<float> before = numbers_of(y);
  EXPECT_EQ(tv_node_generate_table(y), tv_status_io);
  EXPECT_EQ(numbers_of(y), before);
  tv_domain_set_log_file(domain, nullptr);
  std::fclose(full);
  EXPECT_EQ(tv_node_generate_table(y), 0);
  EXPECT_NE(numbers_of(y), before);
}

}  // namespace
}  // namespace test

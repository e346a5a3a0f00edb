// Learning from cases with missing cells, against enumeration.
#include <algorithm>

#include "em_world.h"
#include "support/log.h"
#include "support/other_ways.h"

namespace test {
namespace {

void expect_near(const Distribution& found, const Distribution& expected, const std::string& what) {
  const auto compare = [&](const std::vector<double>& a, const std::vector<double>& b, double tolerance) {
    ASSERT_EQ(a.size(), b.size()) << what;
    for (size_t i = 0; i < a.size(); ++i)
      EXPECT_NEAR(a[i], b[i], tolerance * (1.0 + std::abs(b[i]))) << what << " " << i;
  };
  compare(found.numbers, expected.numbers, 2e-5);
  compare(found.intercepts, expected.intercepts, 1e-4);
  compare(found.variances, expected.variances, 1e-4);
  for (size_t p = 0; p < expected.coefficients.size(); ++p)
    compare(found.coefficients[p], expected.coefficients[p], 1e-4);
}

// Learns for so many iterations, and compares tables, log-likelihood and experience.
void compare(const DomainOwner& domain, const std::vector<Row>& rows, const std::vector<double>& weights,
             size_t iterations, size_t threads = 1) {
  const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
  Enumeration expected(nodes, rows, weights);
  store(domain.get(), nodes, rows, weights);
  bool is_complete = true;
  for (const Row& row : rows)
    for (const double cell : row) is_complete = is_complete && !std::isnan(cell);
  for (size_t i = 0; i < (is_complete ? 1 : iterations); ++i) expected.iterate();
  tv_domain_set_max_number_of_em_iterations(domain.get(), iterations);
  tv_domain_set_log_likelihood_tolerance(domain.get(), 0.0);
  tv_domain_set_em_concurrency_level(domain.get(), threads);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  ASSERT_EQ(tv_domain_learn_tables(domain.get()), tv_status_none) << tv_error_message();
  for (size_t v = 0; v < nodes.size(); ++v) {
    const Distribution found = distribution_of(nodes[v]);
    expect_near(found, expected.distributions()[v], tv_node_get_name(nodes[v]));
    for (size_t c = 0; c < found.experience.size(); ++c)
      EXPECT_NEAR(found.experience[c], expected.experience_after(v, c), 1e-3) << tv_node_get_name(nodes[v]);
  }
  expected.iterate();
  EXPECT_NEAR(tv_domain_get_log_likelihood(domain.get()), expected.log_likelihood,
              2e-5 * (1.0 + std::abs(expected.log_likelihood)));
}

TEST(Em, AgreesWithEnumerationOnDiscreteNetworks) {
  Generator random(1);
  const KeptLimits kept;
  for (int round = 0; round < 200 && !testing::Test::HasFailure(); ++round) {
    tv::limits.block_cases = round % 3 == 0 ? 4 : 65536;
    tv::limits.split_cases = round % 2 == 0 ? 2 : 8192;
    const DomainOwner domain = random_network(random, Values::positive, {6, 300, 4, 3, 0.5});
    const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
    normalize(nodes);
    give_experience(random, nodes);
    const std::vector<Row> rows =
        random_rows(random, nodes, 1 + random.below(30), round % 4 == 0 ? 0.0 : 0.3);
    std::vector<double> weights;
    for (size_t r = 0; r < rows.size(); ++r)
      weights.push_back(round % 2 ? 1.0 : 0.5 * static_cast<double>(random.below(5)));
    weights[0] = 1.0;
    compare(domain, rows, weights, 1 + random.below(4), 1 + random.below(3));
  }
}

std::string learning_log(tv_domain_t* domain, tv_status_t expected) {
  return log_of(domain, [&] { EXPECT_EQ(tv_domain_learn_tables(domain), expected); });
}

// A coin, seen five times, and its copy, which one case lacks.
struct Coins {
  DomainOwner domain = new_domain();
  tv_node_t* coin = add_node(domain.get(), "coin", 2);
  tv_node_t* copy = add_node(domain.get(), "copy", 2, {coin}, {0.5f, 0.5f, 0.5f, 0.5f});

  Coins() {
    for (tv_node_t* node : {coin, copy}) tv_node_get_experience_table(node);
    for (size_t r = 0; r < 5; ++r) {
      tv_domain_new_case(domain.get());
      tv_node_set_case_state(coin, r, r < 2);
      tv_node_set_case_state(copy, r, r < 2);
    }
  }
};

TEST(Em, WritesATraceAndStopsWhereTheDataAreComplete) {
  Coins coins;
  ASSERT_EQ(tv_domain_compile(coins.domain.get()), tv_status_none);
  // 5 ln 0.25 before, 3 ln 0.6 + 2 ln 0.4 after; three parameters.
  EXPECT_EQ(learning_log(coins.domain.get(), tv_status_none),
            "\n\nEM learning with 5 cases:\n\n"
            "    Log-likelihood for iteration 1: -6.93147\n"
            "\nEM learning - final results:\n\n"
            "    Log-likelihood: -3.36506\n"
            "    AIC: -6.36506\n"
            "    BIC: -5.77922\n");
  EXPECT_NEAR(tv_domain_get_AIC(coins.domain.get()), -6.365058, 1e-5);
  EXPECT_NEAR(tv_domain_get_BIC(coins.domain.get()), -5.779215, 1e-5);
  EXPECT_FLOAT_EQ(tv_table_get_data(tv_node_get_experience_table(coins.copy))[0], 3.0f);
  // Counts that are no whole numbers are written as they are; a case that counts for nothing is left out.
  ASSERT_EQ(tv_domain_propagate(coins.domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  tv_domain_set_case_count(coins.domain.get(), 0, 0.5f);
  tv_domain_set_case_count(coins.domain.get(), 1, 0.0f);
  EXPECT_EQ(learning_log(coins.domain.get(), tv_status_none).substr(0, 34),
            "\n\nEM learning with 3.5 cases:\n\n   ");
}

TEST(Em, IterationsEndByNumberToleranceAndProgress) {
  const auto iterations = [](Coins& coins) {
    const std::string log = learning_log(coins.domain.get(), tv_status_none);
    size_t count = 0;
    for (size_t place = 0; (place = log.find("for iteration", place)) != log.npos; ++place) ++count;
    return count;
  };
  const auto prepared = [] {
    Coins coins;
    tv_node_unset_case(coins.copy, 4);
    EXPECT_EQ(tv_domain_compile(coins.domain.get()), tv_status_none);
    return coins;
  };
  Coins by_number = prepared();
  tv_domain_set_max_number_of_em_iterations(by_number.domain.get(), 2);
  EXPECT_EQ(iterations(by_number), 2u);
  Coins by_tolerance = prepared();
  tv_domain_set_log_likelihood_tolerance(by_tolerance.domain.get(), 0.01);
  const size_t loose = iterations(by_tolerance);
  Coins to_the_end = prepared();
  tv_domain_set_log_likelihood_tolerance(to_the_end.domain.get(), 0.0);
  EXPECT_GT(iterations(to_the_end), loose);
  EXPECT_NEAR(tv_table_get_data(tv_node_get_table(to_the_end.copy))[0], 1.0f, 1e-3);
  Coins stopped = prepared();
  tv_domain_set_progress_handler(
      stopped.domain.get(),
      [](const char* task, double, void*) { return std::string(task) == "learning" ? 1 : 0; }, nullptr);
  EXPECT_EQ(iterations(stopped), 1u);
}

TEST(Em, RefusesWhatItCannotLearnFrom) {
  const DomainOwner empty = new_domain();
  EXPECT_EQ(tv_domain_learn_tables(nullptr), tv_status_usage);
  EXPECT_EQ(tv_domain_learn_tables(empty.get()), tv_status_usage);
  EXPECT_EQ(tv_domain_get_log_likelihood(empty.get()), 0.0);
  EXPECT_EQ(tv_domain_get_BIC(empty.get()), 1.0);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(tv_domain_get_log_likelihood(nullptr), 1.0);
  EXPECT_EQ(tv_domain_set_log_likelihood_tolerance(empty.get(), -1.0), tv_status_usage);
  EXPECT_EQ(tv_domain_get_log_likelihood_tolerance(empty.get()), 0.0001);
  EXPECT_EQ(tv_domain_get_max_number_of_em_iterations(empty.get()), 0u);
  Coins coins;
  tv_domain_t* domain = coins.domain.get();
  EXPECT_EQ(tv_domain_learn_tables(domain), tv_status_not_compiled);
  EXPECT_EQ(tv_domain_get_AIC(domain), 1.0);
  EXPECT_EQ(tv_error_code(), tv_status_not_compiled);
  ASSERT_EQ(tv_domain_compile(domain), tv_status_none);
  tv_node_select_state(coins.coin, 0);
  ASSERT_EQ(tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  EXPECT_EQ(tv_domain_learn_tables(domain), tv_status_usage);
  ASSERT_EQ(tv_domain_initialize(domain), tv_status_none);
  ASSERT_EQ(tv_domain_propagate(domain, tv_equilibrium_max, tv_evidence_normal), tv_status_none);
  EXPECT_EQ(tv_domain_learn_tables(domain), tv_status_usage);
  ASSERT_EQ(tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  for (tv_node_t* node : {coins.coin, coins.copy}) {
    tv_table_t* experience = tv_node_get_experience_table(node);
    std::fill_n(tv_table_get_data(experience), tv_table_get_size(experience), -1.0f);
  }
  EXPECT_EQ(tv_domain_learn_tables(domain), tv_status_usage);
}

// The log takes what the first iteration writes, and not what the second one does, when tables have changed.
TEST(Em, AFullLogGivesTheTablesBack) {
  Coins coins;
  tv_node_unset_case(coins.copy, 4);
  ASSERT_EQ(tv_domain_compile(coins.domain.get()), tv_status_none);
  char text[90];
  std::FILE* stream = fmemopen(text, sizeof text, "w");
  std::setvbuf(stream, nullptr, _IONBF, 0);
  tv_domain_set_log_file(coins.domain.get(), stream);
  EXPECT_EQ(tv_domain_learn_tables(coins.domain.get()), tv_status_io);
  tv_domain_set_log_file(coins.domain.get(), nullptr);
  std::fclose(stream);
  EXPECT_NE(std::string(text, sizeof text).find("iteration 1"), std::string::npos);
  for (tv_node_t* node : {coins.coin, coins.copy})
    EXPECT_EQ(tv_table_get_data(tv_node_get_table(node))[0], 0.5f);
  EXPECT_EQ(tv_node_get_belief(coins.coin, 0), 0.5f);  // its results stand, too
}

TEST(Em, AFailureGivesTheTablesBack) {
  const DomainOwner domain = new_domain();
  tv_node_t* a = add_node(domain.get(), "a", 2, {}, {1.0f, 0.0f});
  tv_node_t* b = add_node(domain.get(), "b", 2, {a}, {0.5f, 0.5f, 0.5f, 0.5f});
  tv_node_t* c = add_node(domain.get(), "c", 2, {b}, {1.0f, 0.0f, 1.0f, 0.0f});
  for (tv_node_t* node : {a, b}) tv_node_get_experience_table(node);
  for (size_t r = 0; r < 2; ++r) tv_domain_new_case(domain.get());
  tv_node_set_case_state(b, 0, 1);
  tv_node_set_case_state(c, 1, 1);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  EXPECT_EQ(tv_domain_learn_tables(domain.get()), tv_status_inconsistency_or_underflow);
  for (size_t i = 0; i < 4; ++i) EXPECT_EQ(tv_table_get_data(tv_node_get_table(b))[i], 0.5f);
  EXPECT_EQ(tv_table_get_data(tv_node_get_experience_table(b))[0], 0.0f);
  EXPECT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  EXPECT_EQ(tv_domain_get_log_likelihood(domain.get()), 1.0);
  EXPECT_EQ(tv_error_code(), tv_status_inconsistency_or_underflow);
}

// Whatever the log-likelihood depends on makes it be computed anew.
TEST(Em, LogLikelihoodsFollowCasesAndTables) {
  Coins coins;
  tv_domain_t* domain = coins.domain.get();
  ASSERT_EQ(tv_domain_compile(domain), tv_status_none);
  const auto expect_likelihood = [&](double expected) {
    ASSERT_EQ(tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    EXPECT_NEAR(tv_domain_get_log_likelihood(domain), expected, 1e-5);
  };
  expect_likelihood(10 * std::log(0.5));
  tv_node_unset_case(coins.copy, 0);
  expect_likelihood(9 * std::log(0.5));
  tv_domain_set_case_count(domain, 1, 3.0f);
  expect_likelihood(13 * std::log(0.5));
  set_table(coins.coin, {0.25f, 0.75f});
  expect_likelihood(6 * std::log(0.5) + 4 * std::log(0.75) + 3 * std::log(0.25));
  tv_domain_set_number_of_cases(domain, 1);
  expect_likelihood(std::log(0.75));
}

// A class that is never seen, with values below it, and a regression whose line depends on the class.
TEST(Em, AgreesWithEnumerationOnMixedNetworks) {
  Generator random(2);
  const KeptLimits kept;
  for (int round = 0; round < 40 && !testing::Test::HasFailure(); ++round) {
    tv::limits.block_cases = round % 2 == 0 ? 3 : 65536;
    const DomainOwner domain = new_domain();
    tv_node_t* kind = add_node(domain.get(), "kind", 2, {}, {0.4f, 0.6f});
    tv_node_t* sign = add_node(domain.get(), "sign", 3, {kind}, {0.2f, 0.3f, 0.5f, 0.6f, 0.1f, 0.3f});
    tv_node_t* x = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
    tv_node_t* y = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
    tv_node_set_name(x, "x");
    tv_node_set_name(y, "y");
    tv_node_add_parent(x, kind);
    tv_node_add_parent(y, x);
    tv_node_add_parent(y, kind);
    for (size_t c = 0; c < 2; ++c) {
      EXPECT_EQ(tv_node_set_intercept(x, c, static_cast<double>(c) * 3.0 - 1.0), tv_status_none);
      tv_node_set_conditional_variance(x, c, 4.0);
      tv_node_set_intercept(y, c, 1.0);
      EXPECT_EQ(tv_node_set_coefficient(y, x, c, c ? 0.5 : -0.5), tv_status_none);
      tv_node_set_conditional_variance(y, c, 9.0);
    }
    for (tv_node_t* node : {kind, sign, x, y}) tv_node_get_experience_table(node);
    const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
    std::vector<Row> rows = random_rows(random, nodes, round % 4 == 0 ? 7 : 40, round % 5 == 0 ? 0.0 : 0.5);
    if (round % 3 == 0)
      for (Row& row : rows) row[0] = NAN;
    compare(domain, rows, std::vector<double>(rows.size(), 1.0), 1 + random.below(3), 1 + random.below(3));
  }
}

// y = a + x + noise, y missing in half the cases: those say nothing of the line, and count its own noise for
// the variance, so that the estimates are those of the complete half.
void expect_regression_of_the_others(size_t block_cases) {
  const KeptLimits kept;
  tv::limits.block_cases = block_cases;
  Generator random(3);
  const DomainOwner domain = new_domain();
  tv_node_t* x = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
  tv_node_t* y = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
  tv_node_add_parent(y, x);
  for (tv_node_t* node : {x, y}) tv_node_get_experience_table(node);
  tv_node_set_intercept(x, 0, 1005.0);  // near the data, or their density would be no normal number
  tv_node_set_coefficient(y, x, 0, 1.0);
  tv_node_set_conditional_variance(x, 0, 25.0);
  tv_node_set_conditional_variance(y, 0, 25.0);
  double n = 0, sx = 0, sy = 0, sxx = 0, sxy = 0, syy = 0;
  for (size_t r = 0; r < 60; ++r) {
    tv_domain_new_case(domain.get());
    const double value = 1000.0 + 10.0 * random.uniform(), noise = random.uniform() - 0.5;
    tv_node_set_case_value(x, r, value);
    if (r % 2) continue;
    const double result = 3.0 + value + noise, u = value - 1000.0, v = result - 1000.0;
    tv_node_set_case_value(y, r, result);
    ++n, sx += u, sy += v, sxx += u * u, sxy += u * v, syy += v * v;
  }
  tv_domain_set_log_likelihood_tolerance(domain.get(), 1e-12);
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  ASSERT_EQ(tv_domain_learn_tables(domain.get()), tv_status_none) << tv_error_message();
  const double slope = (sxy - sx * sy / n) / (sxx - sx * sx / n);
  const double variance = (syy - sy * sy / n - slope * (sxy - sx * sy / n)) / n;
  EXPECT_NEAR(tv_node_get_coefficient(y, x, 0), slope, 1e-4);
  EXPECT_NEAR(tv_node_get_intercept(y, 0), 1000.0 + sy / n - slope * (1000.0 + sx / n), 0.1);
  EXPECT_NEAR(tv_node_get_conditional_variance(y, 0), variance, 1e-4);
  EXPECT_NEAR(tv_table_get_data(tv_node_get_experience_table(y))[0], 60.0, 1e-4);
}

// In blocks of one case some know nothing of y, and each has moments about another value.
TEST(Em, MissingValuesLeaveARegressionToTheOthers) {
  for (const size_t block_cases : {65536, 7, 1}) expect_regression_of_the_others(block_cases);
}

// The parents stand in another order there than in the node's own table.
TEST(Em, ExperienceMayBeInAnotherOrder) {
  for (const bool is_swapped : {false, true}) {
    const DomainOwner domain = new_domain();
    tv_node_t* a = add_node(domain.get(), "a", 2);
    tv_node_t* b = add_node(domain.get(), "b", 3);
    tv_node_t* c = add_node(domain.get(), "c", 2, {a, b});
    tv_table_t* const table = tv_node_get_experience_table(c);
    tv_node_t* const first = tv_table_get_nodes(table)[0];
    tv_node_t* swapped[] = {first == a ? b : a, first, nullptr};
    EXPECT_EQ(is_swapped ? tv_table_reorder_nodes(table, swapped) : tv_status_none, tv_status_none);
    const size_t stride_a = (first == a) != is_swapped ? 3 : 1, stride_b = stride_a == 3 ? 1 : 2;
    tv_table_get_data(table)[stride_a + 2 * stride_b] = -1.0f;  // a = 1, b = 2
    tv_table_get_data(table)[stride_b] = 3.0f;                  // a = 0, b = 1
    store(domain.get(), {a, b, c}, {{1, 2, 0}, {0, 1, 0}, {1, 0, 0}}, {1, 1, 1});
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    ASSERT_EQ(tv_domain_learn_tables(domain.get()), tv_status_none);
    const float* const numbers = tv_table_get_data(tv_node_get_table(c));
    const size_t own_a = tv_table_get_nodes(tv_node_get_table(c))[0] == a ? 6 : 2, own_b = own_a == 6 ? 2 : 4;
    EXPECT_EQ(numbers[own_a + 2 * own_b], 0.5f);
    EXPECT_EQ(numbers[own_b], 2.5f / 4);
    EXPECT_EQ(numbers[own_a], 1.0f);
    EXPECT_EQ(tv_table_get_data(table)[stride_a + 2 * stride_b], -1.0f);
    EXPECT_EQ(tv_table_get_data(table)[stride_b], 4.0f);
    EXPECT_EQ(tv_table_get_data(table)[stride_a], 1.0f);
  }
}

// A hidden class whose children are missing, too; with small limits such cases are propagated.
TEST(Em, GroupsMayBeWide) {
  for (const auto& [nodes_together, joint] : {std::pair(64, 4096), std::pair(3, 4096), std::pair(64, 3)}) {
    const size_t usual_nodes = std::exchange(tv::limits.group_nodes, static_cast<size_t>(nodes_together));
    const size_t usual_joint = std::exchange(tv::limits.joint_states, static_cast<size_t>(joint));
    Generator random(4);
    const DomainOwner domain = new_domain();
    tv_node_t* kind = add_node(domain.get(), "kind", 2, {}, {0.3f, 0.7f});
    for (int i = 0; i < 13; ++i)
      add_node(domain.get(), ("sign" + std::to_string(i)).c_str(), 2, {kind}, {0.6f, 0.4f, 0.3f, 0.7f});
    add_node(domain.get(), "apart", 2);
    const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
    for (tv_node_t* node : nodes) tv_node_get_experience_table(node);
    std::vector<Row> rows = random_rows(random, nodes, 6, 0.2);
    rows[0].assign(nodes.size(), NAN);
    rows[0][3] = 1.0;
    rows[0].back() = 0.0;  // a family of which nothing is missing
    rows[2][0] = NAN;
    compare(domain, rows, {1, 2, 3, 0.5, 1, 1}, 3);
    tv::limits.group_nodes = usual_nodes;
    tv::limits.joint_states = usual_joint;
  }
}

// Also of a continuous node, whose prior has a weight of its own in the moments.
TEST(Em, ExperienceGrowsByTheCases) {
  const DomainOwner domain = new_domain();
  tv_node_t* const kind = add_node(domain.get(), "kind", 2, {}, {1.0f, 0.0f});
  tv_node_t* const x = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
  tv_node_add_parent(x, kind);
  for (size_t c = 0; c < 2; ++c) tv_node_set_conditional_variance(x, c, 1.0);
  float* const counts = tv_table_get_data(tv_node_get_experience_table(x));
  counts[0] = 3.0f;
  counts[1] = 5.0f;  // of a configuration that has no weight
  for (size_t r = 0; r < 4; ++r) {
    tv_domain_new_case(domain.get());
    tv_node_set_case_state(kind, r, 0);
    tv_node_set_case_value(x, r, 7.0);
  }
  ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  ASSERT_EQ(tv_domain_learn_tables(domain.get()), tv_status_none) << tv_error_message();
  EXPECT_EQ(counts[0], 7.0f);
  EXPECT_EQ(counts[1], 5.0f);
  EXPECT_NEAR(tv_node_get_intercept(x, 0), 4.0, 1e-9);  // four cases at 7 and three around 0
}

// Neither what a hidden node observes nor what is missing in a row of nodes fits a double.
TEST(Em, FaintCasesAreNotImpossible) {
  for (const bool is_chain : {false, true}) {
    const DomainOwner domain = new_domain();
    tv_node_t* first = add_node(domain.get(), "first", 2, {}, {0.5f, 0.5f});
    tv_node_t* last = first;
    tv_domain_set_number_of_cases(domain.get(), 1);
    for (int i = 0; i < 60; ++i) {
      if (is_chain && i > 0)
        last =
            add_node(domain.get(), ("link" + std::to_string(i)).c_str(), 2, {last}, {0.5f, 0.5f, 0.5f, 0.5f});
      tv_node_t* sign =
          add_node(domain.get(), ("sign" + std::to_string(i)).c_str(), 2, {last}, {1e-9f, 1.0f, 3e-9f, 1.0f});
      tv_node_set_case_state(sign, 0, 0);
    }
    tv_node_get_experience_table(first);
    ASSERT_EQ(tv_domain_compile(domain.get()), tv_status_none);
    const double per_sign = std::log(is_chain ? 2e-9 : 3e-9);
    const double expected = 60 * per_sign + (is_chain ? 0.0 : std::log(0.5));
    EXPECT_NEAR(tv_domain_get_log_likelihood(domain.get()), expected, 1e-4);
    ASSERT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
    ASSERT_EQ(tv_domain_learn_tables(domain.get()), tv_status_none) << tv_error_message();
    EXPECT_NEAR(tv_table_get_data(tv_node_get_table(first))[1], is_chain ? 0.75 : 1.0,
                is_chain ? 0.25 : 1e-6);
  }
}

// Tables, and a sum in double precision, which tells more.
std::vector<double> learned_bits(size_t threads, size_t block_cases) {
  const KeptLimits kept;
  tv::limits.block_cases = block_cases;
  Generator random(5);
  const DomainOwner domain = new_domain();
  std::vector<tv_node_t*> nodes;
  for (int i = 0; i < 12; ++i) {
    nodes.push_back(add_node(domain.get(), ("n" + std::to_string(i)).c_str(), 3));
    if (i > 0) tv_node_add_parent(nodes[i], nodes[i - 1]);
    if (i > 3) tv_node_add_parent(nodes[i], nodes[i / 2]);
    set_random_table(random, nodes.back(), Values::positive);
  }
  const std::vector<Row> rows = random_rows(random, nodes, 3000, 0.4);
  store(domain.get(), nodes, rows, std::vector<double>(rows.size(), 1.0));
  for (tv_node_t* node : nodes) tv_node_get_experience_table(node);
  tv_domain_set_max_number_of_em_iterations(domain.get(), 3);
  tv_domain_set_em_concurrency_level(domain.get(), threads);
  EXPECT_EQ(tv_domain_compile(domain.get()), tv_status_none);
  EXPECT_EQ(tv_domain_learn_tables(domain.get()), tv_status_none);
  EXPECT_EQ(tv_domain_propagate(domain.get(), tv_equilibrium_sum, tv_evidence_normal), tv_status_none);
  std::vector<double> bits{tv_domain_get_log_likelihood(domain.get())};
  for (tv_node_t* node : nodes) {
    tv_table_t* table = tv_node_get_table(node);
    bits.insert(bits.end(), tv_table_get_data(table), tv_table_get_data(table) + tv_table_get_size(table));
  }
  return bits;
}

// Also where few groups keep their maps, so that most are made again and again, and where most are
// propagated.
TEST(Em, HasTheSameBitsForEveryNumberOfThreads) {
  const KeptLimits kept;
  const std::vector<double> bits = learned_bits(1, 65536);
  for (const size_t threads : {2, 3, 7}) EXPECT_EQ(learned_bits(threads, 65536), bits);
  tv::limits.kept_places = 100;
  for (const size_t threads : {1, 3}) EXPECT_EQ(learned_bits(threads, 65536), bits);
  tv::limits.split_cases = 50;
  for (const size_t joint_states : {4096, 20}) {
    tv::limits.joint_states = joint_states;
    const std::vector<double> in_blocks = learned_bits(1, 700);
    EXPECT_NE(in_blocks, bits);  // their sums are rounded elsewhere
    for (const size_t threads : {2, 3}) EXPECT_EQ(learned_bits(threads, 700), in_blocks);
  }
}

}  // namespace
}  // namespace test

// Tests of independence against statistics that are computed cell by cell, or by regression.
#include "learn/structure/independence/independence.h"

#include "structure_world.h"

namespace test {
namespace {

struct Tester {
  Tester(tv_domain_t* domain, const Learner& learner)
      : read(domain, learner),
        logarithms(read.columns.total(), !read.columns.is_weighted()),
        tester(read.columns, logarithms, learner->settings) {}
  Columns read;
  tv::CountLogarithms logarithms;
  tv::IndependenceTester tester;
};

struct Plain {
  double g_squared = 0.0, chi_squared = 0.0, degrees = 0.0;
};

Plain plain_test(const tv::CaseColumns& columns, uint32_t a, uint32_t b, const std::vector<uint32_t>& given) {
  std::map<std::vector<size_t>, std::map<std::pair<size_t, size_t>, double>> tables;
  for (size_t row = 0; row < columns.rows(); ++row) {
    bool is_known = columns.is_known(a, row) && columns.is_known(b, row);
    std::vector<size_t> key;
    for (const uint32_t node : given) {
      key.push_back(columns[node].discrete.codes[row]);
      is_known &= columns.is_known(node, row);
    }
    if (is_known)
      tables[key][{columns[a].discrete.codes[row], columns[b].discrete.codes[row]}] += columns.weight(row);
  }
  Plain result;
  for (const auto& [key, table] : tables) {
    std::map<size_t, double> of_a, of_b;
    double total = 0.0;
    for (const auto& [cell, n] : table) {
      of_a[cell.first] += n;
      of_b[cell.second] += n;
      total += n;
    }
    result.degrees += static_cast<double>((of_a.size() - 1) * (of_b.size() - 1));
    for (const auto& [i, left] : of_a)
      for (const auto& [j, right] : of_b) {
        const auto found = table.find({i, j});
        const double n = found == table.end() ? 0.0 : found->second, expected = left * right / total;
        if (n > 0) result.g_squared += 2.0 * n * std::log(n / expected);
        result.chi_squared += (n - expected) * (n - expected) / expected;
      }
  }
  return result;
}

TEST(Independence, OfStatesIsComputedCellByCell) {
  for (const bool is_weighted : {false, true}) {
    Generator random(5 + is_weighted);
    const DomainOwner domain = strong_network(random_dag(random, 5, 0.6), random, 3);
    draw_cases(domain.get(), random, 700, 0.03);
    for (size_t row = 0; is_weighted && row < 700; ++row)
      tv_domain_set_case_count(domain.get(), row, 0.5f + static_cast<float>(random.below(3)));
    for (const tv_independence_test_t kind :
         {tv_independence_test_g_squared, tv_independence_test_chi_squared}) {
      const Learner learner;
      tv_structure_learner_set_cases_per_degree(learner.get(), 0);
      tv_structure_learner_set_test(learner.get(), kind);
      Tester tester(domain.get(), learner);
      for (const std::vector<uint32_t>& given :
           std::vector<std::vector<uint32_t>>{{}, {2}, {2, 4}, {2, 3, 4}}) {
        const tv::TestResult result = tester.tester.test(0, 1, given);
        const Plain expected = plain_test(tester.read.columns, 0, 1, given);
        EXPECT_EQ(result.degrees, expected.degrees);
        EXPECT_NEAR(result.statistic,
                    kind == tv_independence_test_g_squared ? expected.g_squared : expected.chi_squared, 1e-7);
      }
    }
  }
}

// Of the standard tables: the 95% points of the distribution with 1 and 4 degrees of freedom.
TEST(Independence, HasThePValueOfChiSquare) {
  const DomainOwner domain = new_domain();
  add_node(domain.get(), "a", 2);
  add_node(domain.get(), "b", 2);
  const std::vector<tv_node_t*> nodes = nodes_of(domain.get());
  tv_domain_set_number_of_cases(domain.get(), 4);
  const float counts[] = {30, 20, 20, 30};  // chi-square is 4: a p-value of 0.0455
  for (size_t row = 0; row < 4; ++row) {
    tv_node_set_case_state(nodes[0], row, row / 2);
    tv_node_set_case_state(nodes[1], row, row % 2);
    tv_domain_set_case_count(domain.get(), row, counts[row]);
  }
  const Learner learner;
  tv_structure_learner_set_test(learner.get(), tv_independence_test_chi_squared);
  Tester tester(domain.get(), learner);
  const tv::TestResult result = tester.tester.test(0, 1, {});
  EXPECT_NEAR(result.statistic, 4.0, 1e-9);
  EXPECT_EQ(result.degrees, 1.0);
  EXPECT_NEAR(result.p_value, 0.04550026389635842, 1e-12);
  tv_structure_learner_set_cases_per_degree(learner.get(), 101);
  Tester strict(domain.get(), learner);
  EXPECT_TRUE(strict.tester.test(0, 1, {}).is_refused);
}

// A network of one discrete node with two continuous children and a third one below.
DomainOwner mixed_network(Generator& random, size_t cases, double missing = 0.0) {
  DomainOwner domain = new_domain();
  tv_node_t* const d = add_node(domain.get(), "d", 3, {}, {0.3f, 0.3f, 0.4f});
  for (const char* name : {"x", "y", "z"}) {
    tv_node_t* const node = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_continuous);
    tv_node_set_name(node, name);
  }
  const auto node = [&](const char* name) { return tv_domain_get_node_by_name(domain.get(), name); };
  tv_node_add_parent(node("x"), d);
  tv_node_add_parent(node("y"), node("x"));
  tv_node_add_parent(node("z"), node("y"));
  for (size_t c = 0; c < 3; ++c) {
    tv_node_set_intercept(node("x"), c, 3.0 * static_cast<double>(c));
    tv_node_set_conditional_variance(node("x"), c, 1.0 + static_cast<double>(c));
  }
  for (const char* name : {"y", "z"}) {
    tv_node_set_intercept(node(name), 0, 100.0);
    tv_node_set_conditional_variance(node(name), 0, 4.0);
  }
  tv_node_set_coefficient(node("y"), node("x"), 0, 1.0);
  tv_node_set_coefficient(node("z"), node("y"), 0, -0.5);
  draw_cases(domain.get(), random, cases, missing);
  return domain;
}

// The sum of squared residuals of the last column on the ones before it and a constant, by Gram and Schmidt.
double residual(std::vector<std::vector<double>> columns) {
  columns.insert(columns.begin(), std::vector<double>(columns[0].size(), 1.0));
  for (size_t i = 0; i < columns.size(); ++i)
    for (size_t j = 0; j < i; ++j) {
      double product = 0.0, square = 0.0;
      for (size_t row = 0; row < columns[0].size(); ++row) {
        product += columns[i][row] * columns[j][row];
        square += columns[j][row] * columns[j][row];
      }
      for (size_t row = 0; row < columns[0].size(); ++row)
        columns[i][row] -= product / square * columns[j][row];
    }
  double sum = 0.0;
  for (const double value : columns.back()) sum += value * value;
  return sum;
}

TEST(Independence, OfValuesComparesRegressions) {
  Generator random(17);
  const DomainOwner domain = mixed_network(random, 400);
  const Learner learner;
  Tester tester(domain.get(), learner);  // d, x, y, z
  const auto values = [&](const char* name, int state) {
    std::vector<double> result;
    for (size_t row = 0; row < 400; ++row) {
      tv_node_t* const d = tv_domain_get_node_by_name(domain.get(), "d");
      if (state >= 0 && tv_node_get_case_state(d, row) != static_cast<size_t>(state)) continue;
      result.push_back(tv_node_get_case_value(tv_domain_get_node_by_name(domain.get(), name), row));
    }
    return result;
  };
  // Two continuous nodes given a continuous one, in all cases and in each state of d.
  const auto ratio = [&](int state) {
    return static_cast<double>(values("x", state).size()) *
           std::log(residual({values("y", state), values("z", state)}) /
                    residual({values("y", state), values("x", state), values("z", state)}));
  };
  const uint32_t y[] = {2}, d_and_y[] = {0, 2};
  const tv::TestResult plain = tester.tester.test(1, 3, y);
  EXPECT_NEAR(plain.statistic, ratio(-1), 1e-8);
  EXPECT_EQ(plain.degrees, 1.0);
  const tv::TestResult by_state = tester.tester.test(1, 3, d_and_y);
  EXPECT_NEAR(by_state.statistic, ratio(0) + ratio(1) + ratio(2), 1e-8);
  EXPECT_EQ(by_state.degrees, 3.0);
  EXPECT_GT(by_state.p_value, 0.01);

  // A discrete node and a continuous one: regressions in each state against one for all.
  double expected = 400.0 * std::log(residual({values("x", -1), values("y", -1)}) / 400.0);
  for (int state = 0; state < 3; ++state) {
    const double n = static_cast<double>(values("x", state).size());
    expected -= n * std::log(residual({values("x", state), values("y", state)}) / n);
  }
  const uint32_t x[] = {1};
  const tv::TestResult of_state = tester.tester.test(0, 2, x);
  EXPECT_NEAR(of_state.statistic, expected, 1e-8);
  EXPECT_EQ(of_state.degrees, 6.0);  // two regressions more, of a constant, a coefficient and a variance
  EXPECT_GT(of_state.p_value, 0.01);
  EXPECT_LT(tester.tester.test(0, 2, {}).p_value, 1e-6);
}

TEST(Independence, LearnsMixedNetworks) {
  Generator random(23);
  const DomainOwner domain = mixed_network(random, 2000, 0.01);
  const Learner learner;
  tv_structure_learner_set_significance(learner.get(), 0.01);
  const StructureOwner structure = learn(domain.get(), learner);
  EXPECT_EQ(shown(graph_of(structure)), "0->1 1->2 2->3 ");
  EXPECT_EQ(tv_domain_set_structure(domain.get(), structure.get()), tv_status_none);
}

}  // namespace
}  // namespace test

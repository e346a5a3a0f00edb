// The algebra of blocks: what must not depend on the order of the work, and joint distributions computed
// twice.
#include "tables/cg_block.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "support/cg_builders.h"

namespace test {
namespace {

using Real = long double;

struct Form {
  std::vector<double> coefficients;
  double constant, variance;
};

struct Combined {
  std::vector<double> regressions;
  tv::CgDensity density;
};

Combined combine(const std::vector<Form>& forms, const std::vector<size_t>& order, size_t count) {
  Combined result{std::vector<double>(tv::cg_size_for(count)), {}};
  tv::clear_regressions(result.regressions.data(), count);
  for (size_t f : order) {
    Form copy = forms[f];
    tv::combine_form(result.regressions.data(), count,
                     {copy.coefficients.data(), copy.constant, copy.variance}, result.density);
  }
  return result;
}

std::vector<double> factors_of(const Combined& combined, size_t count) {
  std::vector<double> factors(tv::cg_size_for(count));
  tv::expand_regressions(combined.regressions.data(), 0, count, factors.data());
  return factors;
}

void expect_near(double found, double expected, double size, double tolerance, const char* what) {
  EXPECT_NEAR(found, expected, tolerance * size) << what;
}

// A prior for each node and some more forms: observations of sums.
std::vector<Form> random_forms(Generator& random, size_t count, size_t more, int exponents) {
  std::vector<Form> forms;
  for (size_t f = 0; f < count + more; ++f) {
    Form form{std::vector<double>(count, 0.0), 4 * random.uniform() - 2,
              std::pow(10.0, exponents * (2 * random.uniform() - 1))};
    const size_t last = f < count ? f : count - 1;
    for (size_t k = 0; k < last + (f >= count); ++k)
      if (random.chance(0.7)) form.coefficients[k] = 2 * random.uniform() - 1;
    if (f < count) form.coefficients[f] = 1;
    forms.push_back(std::move(form));
  }
  return forms;
}

TEST(Regressions, DoNotDependOnTheOrderOfTheForms) {
  Generator random(11);
  for (int round = 0; round < 200; ++round) {
    SCOPED_TRACE(round);
    const size_t count = 1 + random.below(5);
    const std::vector<Form> forms = random_forms(random, count, random.below(4), round % 3 == 0 ? 3 : 1);
    std::vector<size_t> order(forms.size());
    std::iota(order.begin(), order.end(), size_t{0});
    const Combined first = combine(forms, order, count);
    for (size_t i = order.size(); i > 1; --i) std::swap(order[i - 1], order[random.below(i)]);
    const Combined second = combine(forms, order, count);
    const std::vector<double> a = factors_of(first, count), b = factors_of(second, count);
    for (size_t i = 0; i < count; ++i) {
      const double variance = tv::factor_covariance(a.data(), i, i);
      expect_near(tv::factor_covariance(b.data(), i, i), variance, variance, 1e-9, "variance");
      expect_near(b[tv::cg_mean_index(i)], a[tv::cg_mean_index(i)], std::sqrt(variance), 1e-8, "mean");
    }
    expect_near(second.density.logarithm, first.density.logarithm, 1 + std::fabs(first.density.logarithm),
                1e-9, "density");
  }
}

TEST(Regressions, OfCertainNodesLearnNothingAndTeachExactly) {
  const std::vector<Form> forms = {
      {{1, 0}, 2, 0},    // X is 2
      {{-3, 1}, 1, 0},   // Y is 1 + 3 X
      {{1, 1}, 9.5, 4},  // X + Y was seen at 9.5
  };
  const Combined all = combine(forms, {0, 1, 2}, 2);
  const std::vector<double> factors = factors_of(all, 2);
  EXPECT_EQ(factors, (std::vector<double>{2, 0, 7, 3, 0}));
  EXPECT_NEAR(all.density.logarithm, -0.5 * std::log(8 * M_PI) - 0.5 * 0.25 / 4, 1e-15);
  EXPECT_FALSE(all.density.vanishing_variance);

  const Combined observed = combine({forms[0], {{1, 0}, 2, 0}}, {0, 1}, 2);
  EXPECT_TRUE(observed.density.vanishing_variance);
  const Combined far = combine({{{1}, 0, 1}, {{1}, 40, 0}}, {0, 1}, 1);
  EXPECT_TRUE(far.density.low);
}

// Two certain sums of the same nodes in the same proportion: the second tells nothing, however they round.
TEST(Regressions, SeeThatRelationsRepeatThemselves) {
  Generator random(5);
  for (int round = 0; round < 100; ++round) {
    const double a = random.uniform(), b = random.uniform(), c = random.uniform() + 0.1;
    const std::vector<Form> forms = {{{1, 0}, 0, 1}, {{0, 1}, 0, 1}, {{a, b}, 1, 0}, {{c * a, c * b}, c, 0}};
    EXPECT_TRUE(combine(forms, {0, 1, 2, 3}, 2).density.vanishing_variance) << round;
  }
}

TEST(Reversal, KeepsTheJointAndUndoesItself) {
  Generator random(3);
  for (int round = 0; round < 100; ++round) {
    SCOPED_TRACE(round);
    const auto number = [&] { return 2 * random.uniform() - 1; };
    const auto variance = [&] { return std::pow(10.0, 6 * number()); };
    const std::vector<double> x{number(), number(), number(), variance()};
    const std::vector<double> y{number(), number(), number(), variance()};
    const double b = number();
    std::vector<double> new_x = x, new_y = y;
    double new_b = b;
    tv::reverse_regressions(new_x.data(), new_y.data(), new_b, 2);
    // The joint given tails at 0.3 and -2: means, variances and covariance.
    const auto mean = [](const std::vector<double>& run) { return run[0] + 0.3 * run[1] - 2 * run[2]; };
    expect_near(mean(new_y), mean(y) + b * mean(x), 1, 1e-14, "mean of Y");
    expect_near(new_y[3], y[3] + b * b * x[3], new_y[3], 1e-14, "variance of Y");
    expect_near(new_b * new_y[3], b * x[3], std::fabs(b) * x[3], 1e-14, "covariance");
    expect_near(mean(new_x) + new_b * mean(new_y), mean(x), 1, 1e-9, "mean of X");
    expect_near(new_x[3] + new_b * new_b * new_y[3], x[3], x[3], 1e-14, "variance of X");
    tv::reverse_regressions(new_y.data(), new_x.data(), new_b, 2);
    expect_near(new_y[3], y[3], y[3], 1e-13, "variance of Y and back");
    expect_near(new_b, b, std::fabs(b), 1e-13, "coefficient and back");
  }
  std::vector<double> x{1, 0}, y{2, 0};  // both certain
  double b = 3;
  tv::reverse_regressions(x.data(), y.data(), b, 0);
  EXPECT_EQ(x, (std::vector<double>{1, 0}));
  EXPECT_EQ(y, (std::vector<double>{5, 0}));
  EXPECT_EQ(b, 0);
}

// Disturbances of very different sizes, some of them along others.
TEST(Factors, AddUpToTheSumOfTheirInnovations) {
  Generator random(8);
  for (int round = 0; round < 200; ++round) {
    SCOPED_TRACE(round);
    const size_t count = 1 + random.below(5);
    std::vector<double> factors(tv::cg_size_for(count), 0.0);
    std::vector<std::vector<Real>> expected(count, std::vector<Real>(count, 0));
    std::vector<double> loadings(count), earlier(count, 1.0);
    const size_t innovations = 1 + random.below(8);
    for (size_t n = 0; n < innovations; ++n) {
      const bool along = random.chance(0.3);
      for (size_t i = 0; i < count; ++i) {
        loadings[i] = along ? 0.1 * earlier[i] : random.chance(0.2) ? 0.0 : 2 * random.uniform() - 1;
        if (random.chance(0.1)) loadings[i] *= 1e-16;
      }
      earlier = loadings;
      const double variance = std::pow(10.0, 3 * (2 * random.uniform() - 1));
      for (size_t i = 0; i < count; ++i)
        for (size_t j = 0; j < count; ++j)
          expected[i][j] += static_cast<Real>(variance) * loadings[i] * loadings[j];
      tv::add_innovation(factors.data(), count, loadings.data(), variance);
    }
    for (size_t i = 0; i < count; ++i)
      for (size_t j = 0; j <= i; ++j) {
        const Real size = std::sqrt(expected[i][i] * expected[j][j]);
        EXPECT_NEAR(tv::factor_covariance(factors.data(), i, j), static_cast<double>(expected[i][j]),
                    static_cast<double>(1e-13L * size))
            << i << " " << j;
      }
  }
}

}  // namespace
}  // namespace test

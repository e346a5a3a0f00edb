// The special functions against values computed with forty digits, and every distribution against an
// integral of its density or a sum of its probabilities, which share nothing with the library.

#include <cfloat>
#include <cmath>
#include <functional>
#include <numbers>

#include "expr/expr_world.h"
#include "expr/special_functions.h"
#include "support/log.h"

namespace test {
namespace {

const double kInfinity = HUGE_VAL;

#define EXPECT_CLOSE(value, expected) EXPECT_NEAR((value) / (expected), 1, 1e-13) << (value)

tv::Tails gamma(double a, double x) {
  tv::Tails tails;
  EXPECT_TRUE(tv::gamma_tails(a, x, tails));
  return tails;
}

tv::Tails beta(double a, double b, double x, double y) {
  tv::Tails tails;
  EXPECT_TRUE(tv::beta_tails(a, b, x, y, tails));
  return tails;
}

TEST(SpecialFunctions, AreRightToTheLastDigitsAlsoFarOut) {
  EXPECT_CLOSE(tv::normal_tails(-1).below, 0.15865525393145705142);
  EXPECT_CLOSE(tv::normal_tails(37).above, 5.7255712225245768227e-300);
  EXPECT_CLOSE(tv::normal_tails(37).below, 1.0);
  EXPECT_CLOSE(gamma(0.5, 2).below, 0.9544997361036415856);
  EXPECT_CLOSE(gamma(0.5, 2).above, 0.045500263896358414401);
  EXPECT_CLOSE(gamma(1e-10, 0.1).above, 1.8229239583260837997e-10);
  EXPECT_CLOSE(gamma(0.01, 0.5).above, 0.005626756193967184147);
  EXPECT_CLOSE(gamma(2.5, 30).above, 1.2154569777183038948e-11);
  EXPECT_CLOSE(gamma(2.5, 1e-3).below, 9.5085345986079493189e-9);
  EXPECT_CLOSE(gamma(3, 200).above, 2.7956093736608834857e-83);
  EXPECT_CLOSE(gamma(100, 40).below, 1.2062542053086513474e-15);
  EXPECT_CLOSE(gamma(100, 200).above, 1.8438936497115741514e-15);
  EXPECT_CLOSE(gamma(1000, 1010).below, 0.62767894473699472753);
  EXPECT_CLOSE(beta(2, 3, 0.25, 0.75).below, 0.26171875);
  EXPECT_CLOSE(beta(2, 3, 0.999, 0.001).above, 3.997e-9);
  EXPECT_CLOSE(beta(0.5, 0.5, 0.001, 0.999).below, 0.020135041633377490972);
  EXPECT_CLOSE(beta(30, 50, 0.1, 0.9).below, 3.8429419346622074097e-11);
  EXPECT_CLOSE(beta(400, 600, 0.42, 0.58).below, 0.9011957646338762145);
  EXPECT_CLOSE(beta(0.1, 20, 1e-6, 1 - 1e-6).below, 0.35544952413858320957);
  EXPECT_CLOSE(tv::poisson_density(10, 3.5), 0.0022955498270153578915);
  EXPECT_CLOSE(tv::binomial_density(3, 10, 0.3, 0.7), 0.266827932);
  EXPECT_CLOSE(tv::binomial_density(400, 1000, 0.3, 0.7), 4.0111506602899440031e-12);
}

// Gauss-Legendre with two points on many pieces.
double integral(const std::function<double(double)>& density, double from, double to) {
  constexpr int pieces = 20000;
  const double h = (to - from) / pieces, off = h / (2 * std::sqrt(3.0));
  double sum = 0;
  for (int i = 0; i < pieces; ++i) {
    const double middle = from + (i + 0.5) * h;
    sum += density(middle - off) + density(middle + off);
  }
  return sum * h / 2;
}

// The column that an expression gives for intervals with these bounds.
std::vector<float> column(const std::string& expression, const std::vector<double>& bounds,
                          tv_node_subtype_t subtype = tv_subtype_interval) {
  const DomainOwner domain = new_domain();
  tv_node_t* node = add_typed(domain.get(), "x", subtype, bounds);
  add_model(node, {expression});
  EXPECT_EQ(tv_node_generate_table(node), 0) << expression << ": " << tv_error_name(tv_error_code());
  return numbers_of(node);
}

struct Law {
  const char* expression;
  double low, high;                       // for the integral, beyond which there is nothing to speak of
  std::function<double(double)> density;  // up to a constant
  std::vector<double> bounds;             // inside
};

TEST(ContinuousDistributions, GiveTheIntegralsOfTheirDensities) {
  const auto power = [](double x, double y) { return std::pow(x, y); };
  const Law kLaws[] = {
      {"Normal (1, 4)",
       -20,
       22,
       [](double x) { return std::exp(-(x - 1) * (x - 1) / 8); },
       {-2, 0, 1, 1.5, 6}},
      {"LogNormal (0.5, 0.25)",
       1e-6,
       60,
       [](double x) { return std::exp(-2 * std::pow(std::log(x) - 0.5, 2)) / x; },
       {0.5, 1, 2, 3, 8}},
      {"LogNormal (0.5, 0.25, -3)",
       -3 + 1e-6,
       57,
       [](double x) { return std::exp(-2 * std::pow(std::log(x + 3) - 0.5, 2)) / (x + 3); },
       {-2.5, -2, 0}},
      {"Beta (2, 3.5)", 0, 1, [=](double x) { return x * power(1 - x, 2.5); }, {0.1, 0.25, 0.5, 0.9}},
      {"Beta (2, 3.5, -1, 3)", -1, 3, [=](double x) { return (x + 1) * power(3 - x, 2.5); }, {0, 1, 2.5}},
      {"Gamma (2.5, 2)", 0, 120, [=](double x) { return power(x, 1.5) * std::exp(-x / 2); }, {1, 3, 5, 20}},
      {"Gamma (40, 0.1, 2)",
       2,
       14,
       [=](double x) { return power(x - 2, 39) * std::exp(-(x - 2) * 10); },
       {4, 5, 6, 7}},
      {"Exponential (2)", 0, 30, [](double x) { return std::exp(-2 * x); }, {0.1, 0.5, 3}},
      {"Exponential (2, 5)", 5, 35, [](double x) { return std::exp(-2 * x); }, {5.1, 5.5, 8}},
      {"Weibull (3, 2)", 0, 10, [=](double x) { return x * x * std::exp(-power(x / 2, 3)); }, {0.5, 1, 2, 4}},
      {"Weibull (3, 2, 1)",
       1,
       11,
       [=](double x) { return (x - 1) * (x - 1) * std::exp(-power((x - 1) / 2, 3)); },
       {1.5, 2, 4}},
      {"Uniform (-1, 3)", -1, 3, [](double) { return 1; }, {0, 0.5, 2}},
      {"Triangular (0, 1, 4)", 0, 4, [](double x) { return x < 1 ? x : (4 - x) / 3; }, {0.5, 1.5, 3}},
      {"Triangular (0, 4, 4)", 0, 4, [](double x) { return x; }, {0.5, 1.5, 3}},
      {"PERT (0, 1, 4)", 0, 4, [=](double x) { return x * power(4 - x, 3); }, {0.5, 1, 2, 3}},
      {"PERT (0, 1, 4, 8)", 0, 4, [=](double x) { return x * x * power(4 - x, 6); }, {0.5, 1, 2, 3}},
      {"truncate (0, Normal (1, 4), 3)",
       0,
       3,
       [](double x) { return std::exp(-(x - 1) * (x - 1) / 8); },
       {0.5, 2, 2.5}},
      {"truncate (Gamma (2.5, 2), 3)",
       0,
       3,
       [=](double x) { return power(x, 1.5) * std::exp(-x / 2); },
       {1, 2}}};
  for (const Law& law : kLaws) {
    std::vector<double> bounds = law.bounds, inner = law.bounds;
    bounds.insert(bounds.begin(), -kInfinity);
    bounds.push_back(DBL_MAX);
    inner.insert(inner.begin(), law.low);
    inner.push_back(law.high);
    const std::vector<float> probabilities = column(law.expression, bounds);
    const double whole = integral(law.density, law.low, law.high);
    for (size_t i = 0; i + 1 < inner.size(); ++i)
      EXPECT_NEAR(probabilities[i], integral(law.density, inner[i], inner[i + 1]) / whole, 2e-7)
          << law.expression << " in " << inner[i] << " to " << inner[i + 1];
  }
}

TEST(ContinuousDistributions, CutFarOutKeepTheirShape) {
  const std::vector<float> far = column("truncate (30, Normal (0, 1), 31)", {30, 30.1, 31});
  const double ratio = tv::normal_tails(30.1).above / tv::normal_tails(30).above;
  EXPECT_FLOAT_EQ(far[1], static_cast<float>(ratio));
  const std::vector<float> low = column("truncate (-31, Normal (0, 1), -30)", {-31, -30.1, -30});
  EXPECT_FLOAT_EQ(low[0], static_cast<float>(ratio));
  EXPECT_FLOAT_EQ(column("truncate (200, Exponential (3), 300)", {200, 201, 300})[1],
                  static_cast<float>(std::exp(-3.0)));
}

double binomial(double n, double k) {
  double product = 1;
  for (double i = 1; i <= k; ++i) product *= (n - k + i) / i;
  return product;
}

TEST(CountingDistributions, GiveTheSumsOfTheirProbabilities) {
  const struct {
    const char* expression;
    std::function<double(double)> probability;
    double last;
  } kLaws[] = {
      {"Binomial (12, 0.3)",
       [](double k) { return binomial(12, k) * std::pow(0.3, k) * std::pow(0.7, 12 - k); }, 12},
      {"Poisson (4.5)", [](double k) { return std::exp(-4.5) * std::pow(4.5, k) / std::tgamma(k + 1); }, 120},
      {"NegativeBinomial (2.5, 0.4)",
       [](double k) {
         return std::exp(std::lgamma(k + 2.5) - std::lgamma(k + 1) - std::lgamma(2.5)) * std::pow(0.4, 2.5) *
                std::pow(0.6, k);
       },
       150},
      {"Geometric (0.25)", [](double k) { return 0.25 * std::pow(0.75, k); }, 300}};
  for (const auto& law : kLaws) {
    // An interval holds its lower bound but not its upper one.
    const std::vector<double> bounds{-1, 0, 1, 2.5, 7, 8, DBL_MAX};
    const std::vector<float> masses = column(law.expression, bounds);
    std::vector<double> expected(masses.size(), 0);
    for (double k = 0; k <= law.last; ++k) {
      size_t state = 0;
      while (state + 1 < masses.size() && bounds[state + 1] <= k) ++state;
      expected[state] += law.probability(k);
    }
    for (size_t i = 0; i < masses.size(); ++i)
      EXPECT_NEAR(masses[i], expected[i], 1e-7) << law.expression << " interval " << i;
    // Numbered states take the probabilities of their numbers.
    std::vector<double> numbers;
    const std::string cut = std::string("truncate (") + law.expression + ", 6)";
    double whole = 0;
    for (double k = 0; k <= 6; ++k) {
      numbers.push_back(k);
      whole += law.probability(k);
    }
    const std::vector<float> numbered = column(cut, numbers, tv_subtype_number);
    for (size_t k = 0; k <= 6; ++k)
      EXPECT_NEAR(numbered[k], law.probability(static_cast<double>(k)) / whole, 1e-7) << law.expression;
  }
  EXPECT_FLOAT_EQ(column("Binomial (2, 0.5)", {0, 1, 2})[0], 0.25f);  // 0, then 1 and 2
  EXPECT_FLOAT_EQ(column("Binomial (2000, 0.5)", {0, 1000, 2001})[1], 0.508919505f);
  EXPECT_FLOAT_EQ(column("Poisson (0)", {0, 1}, tv_subtype_number)[0], 1);
}

// What is wrong with a model of one node: the status and the log, without its first line.
std::string refusal(const std::string& expression, const std::vector<double>& values,
                    tv_node_subtype_t subtype = tv_subtype_interval) {
  const DomainOwner domain = new_domain();
  tv_node_t* node = add_typed(domain.get(), "x", subtype, values);
  add_model(node, {expression});
  tv_status_t status = tv_status_none;
  const std::string said = log_of(domain.get(), [&] { status = tv_node_generate_table(node); });
  const std::string heading = "Using model for x to generate a conditional probability table\n";
  EXPECT_EQ(said.substr(0, heading.size()), heading);
  return std::string(tv_error_name(static_cast<unsigned>(status))) + ": " +
         said.substr(std::min(said.size(), heading.size()));
}

TEST(Distributions, SayWhatIsWrongWithThem) {
  const std::vector<double> all{-kInfinity, 0, kInfinity}, unit{0, 0.5, 1};
  const auto expect = [](const std::string& said, const std::string& expected) { EXPECT_EQ(said, expected); };
  const std::string arguments = "inappropriate_arguments: ", invalid = "invalid_expression: ",
                    range = "insufficient_state_range: ";
  expect(refusal("Normal (0, 0)", all),
         arguments + "Variance for a Normal distribution must be positive (observed: 0)\n");
  expect(refusal("LogNormal (0, -1)", all),
         arguments + "The variance parameter of a LogNormal distribution must be positive (observed: -1)\n");
  expect(refusal("Beta (0, 1)", all),
         arguments + "Beta distribution (shape) parameters must be positive (observed: 0 and 1)\n");
  expect(refusal("Beta (1, 1, 2, 2)", all),
         arguments + "Beta distribution: Interval must have positive length (observed: [2, 2])\n");
  expect(refusal("Gamma (-1, 2)", all),
         arguments + "Gamma distribution parameters must be positive (observed: shape = -1, scale = 2)\n");
  expect(
      refusal("Gamma (1E+15, 1E-15)", {0, 1, kInfinity}),
      "computation_failed: Computation failed for gamma distribution with parameters: shape = 1e+15, scale "
      "= 1e-15\n");
  expect(refusal("Exponential (0)", all),
         arguments + "Exponential distribution parameter must be positive (observed: 0)\n");
  expect(refusal("Weibull (1, 0)", all),
         arguments + "Weibull distribution parameters must be positive (observed: a = 1, b = 0)\n");
  expect(refusal("Uniform (1, 1)", all),
         arguments + "Uniform distribution: Interval must have positive length (observed: [1, 1])\n");
  expect(refusal("Triangular (0, 2, 1)", all), arguments +
                                                   "Triangular distribution parameters must obey a <= m <= b "
                                                   "and a < b (observed: a = 0, m = 2, b = 1)\n");
  expect(refusal("PERT (0, 0, 1)", all),
         arguments + "PERT parameters must obey a < m < b (observed: a = 0, m = 0, b = 1)\n");
  expect(refusal("PERT (0, 0.5, 1, 0)", all),
         arguments + "The fourth parameter of a PERT distribution must be positive (observed: 0)\n");
  expect(refusal("Binomial (1.5, 0.5)", all).substr(0, 24), arguments.substr(0, 24));
  expect(refusal("Distribution (1, 2, 3)", all),
         invalid + "The number of arguments of a Distribution expression must match the number of states\n");
  expect(refusal("Distribution (1, -2)", all),
         arguments + "Negative value in Distribution expression (state 1)\n");
  expect(refusal("Distribution (0, 0)", all),
         arguments + "At least one argument of a Distribution expression must be positive\n");
  expect(refusal("NoisyOR (true, 0.5)", all),
         invalid + "A NoisyOR distribution can only be applied to boolean nodes\n");
  expect(refusal("truncate (0, NoisyOR (true, 0.5))", all),
         invalid + "Truncation is not supported for the NoisyOR distribution\n");
  expect(refusal("Normal (0, 1)", {0, 1}, tv_subtype_number),
         invalid + "The Normal distribution can only be applied to interval nodes\n");
  expect(refusal("Poisson (1)", {0, 1}, tv_subtype_label),
         invalid + "The Poisson distribution can only be applied to numbered or interval nodes\n");
  expect(refusal("truncate (3, Uniform (0, 1))", all),
         invalid + "Invalid truncation of the Uniform distribution (insufficient probability mass)\n");
  expect(refusal("truncate (40, Normal (0, 1))", all),
         invalid + "Invalid truncation of the Normal distribution (insufficient probability mass)\n");
  expect(refusal("Normal (0, 1)", {-1, 0, 1}),
         range + "Node x: State range must include (-inf, inf) for Normal distribution\n");
  expect(refusal("truncate (-2, Normal (0, 1), 0.5)", {-1, 0, 1}),
         range + "Node x: State range must include [-2, 0.5] for truncated Normal distribution\n");
  expect(refusal("Gamma (1, 1)", unit),
         range + "Node x: State range must include [0, inf) for Gamma distribution\n");
  expect(refusal("Poisson (1)", {0, 1, 2, 3}, tv_subtype_number),
         range + "Node x: State range must include [0, inf) for Poisson distribution\n");
  expect(refusal("Binomial (3, 0.5)", {0, 1, 2.5, 3}, tv_subtype_number),
         range + "Node x: State range must include [0, 3] for Binomial distribution\n");
  expect(refusal("truncate (1, Binomial (3, 0.5))", {0, 1, 2.5}),
         range + "Node x: State range must include [1, 3] for truncated Binomial distribution\n");
  expect(refusal("aggregate (x, x)", all), "invalid_expression: Invalid expression at index 0\n");
  expect(refusal("2", {0, 1}, tv_subtype_number), invalid + "Node x does not have a state with value 2\n");
  expect(refusal("2", unit), invalid + "Value for node x is out of bounds: 2\n");
  expect(refusal("\"red\"", {0, 1}, tv_subtype_label),
         invalid + "Node x does not have a (unique) state labeled `red'\n");
  expect(refusal("\"red\"", {0, 1}, tv_subtype_number), invalid + "Invalid expression at index 0\n");
  expect(refusal("1", {1, 0}, tv_subtype_number),
         "invalid_state_values: The state values of node x do not form an increasing sequence.\n");
  expect(refusal("1", {0, kInfinity, kInfinity}),
         "invalid_state_values: The state values of node x do not form an increasing sequence.\n");
  expect(refusal("1", {-DBL_MAX, 0}, tv_subtype_number),
         "invalid_state_values: The state values of node x use infinite values incorrectly.\n");
  for (const auto& [expression, name] : std::initializer_list<std::pair<const char*, const char*>>{
           {"Uniform (0, 1 / 0)", "division_by_zero"},
           {"mod (1, 0)", "division_by_zero"},
           {"0 ^ (-1)", "division_by_zero"},
           {"log (0)", "inappropriate_arguments"},
           {"sqrt (-1)", "inappropriate_arguments"},
           {"(-8) ^ (1 / 3)", "inappropriate_arguments"},
           {"exp (1000)", "computation_failed"},
           {"Normal (1E+300 * 1E+300, 1)", "computation_failed"}})
    expect(refusal(expression, unit), std::string(name) + ": ");
}

}  // namespace
}  // namespace test

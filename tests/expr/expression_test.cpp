// Expressions: building, holding and releasing them, reading and printing them.

#include <cmath>

#include "expr/expr_world.h"

namespace test {
namespace {

class Expressions : public testing::Test {
 protected:
  Expressions() : owner(new_domain()), domain(owner.get()) {
    a = add_typed(domain, "a", tv_subtype_number, {0, 1, 2});
    x = add_typed(domain, "x", tv_subtype_interval, {0, 1, 2});
    b = add_boolean(domain, "b");
    colour = add_labelled(domain, "colour", {"red", "green"});
    f = add_function(domain, "f");
  }

  std::string reprinted(const std::string& text) {
    std::string said;
    const ExpressionHandle expression = parse(domain, text, &said);
    return expression ? print(expression.get()) : said;
  }

  // Of a text that is no expression: the status and what the handler was told.
  std::string refusal(const std::string& text) {
    std::string said;
    EXPECT_EQ(parse(domain, text, &said), nullptr) << text;
    return std::string(tv_error_name(static_cast<unsigned>(tv_error_code()))) + " " + said;
  }

  DomainOwner owner;
  tv_domain_t* domain;
  tv_node_t *a, *x, *b, *colour, *f;
};

tv_expression_t* composite(tv_operator_t op, std::vector<tv_expression_t*> operands) {
  operands.push_back(nullptr);
  return tv_make_composite_expression(op, operands.data());
}

TEST_F(Expressions, ArePrintedWithTheFewestParentheses) {
  const char* const kSame[] = {"Normal (0, 1)",
                               "a + x - f",
                               "a - (x - f)",
                               "a - (x + f)",
                               "a + (-x)",
                               "a * (x + f)",
                               "(a + x) * f",
                               "a / (x * f)",
                               "a * x / f",
                               "-a + x",
                               "-(a + x)",
                               "-(-a)",
                               "-(-2)",
                               "(-2) * a",
                               "-2 * a",
                               "-a * x",
                               "(-a) * x",
                               "-2 ^ 2",
                               "(-2) ^ 2",
                               "2 ^ 3 ^ 2",
                               "(2 ^ 3) ^ 2",
                               "2 ^ (-1)",
                               "(a * x) ^ f",
                               "2 ^ (a * x)",
                               "#a ^ 2",
                               "a < x + 1",
                               "(a < x) == (x > 2)",
                               "(a < x) == b",
                               "colour == \"red\"",
                               "if (b, Beta (2, 3), Uniform (0, 1))",
                               "and (b, not (b), a != x)",
                               "or ()",
                               "true",
                               "false",
                               "min (1, 2, a)",
                               "truncate (0, Normal (a, 1), 2)",
                               "truncate (Poisson (3), 10)",
                               "NoisyOR (b, 0.1, a > 1, 0.2)",
                               "aggregate (a, x)",
                               "probability (a <= 1)",
                               "quantile (x, 0.5)",
                               "mod (a, 2) + floor (x)",
                               "1E-10",
                               "1.5E+20",
                               "\"a\\\"b\\\\c\\n\\1\""};
  for (const char* text : kSame) EXPECT_EQ(reprinted(text), text);

  const std::pair<const char*, const char*> kOthers[] = {
      {"((a))", "a"},           {"+a", "a"},
      {"a=x", "a == x"},        {"a<>x", "a != x"},
      {"a+(x*f)", "a + x * f"}, {"2^(3^2)", "2 ^ 3 ^ 2"},
      {"-(2*a)", "-2 * a"},     {"-(2)", "-2"},
      {"1-2", "1 - 2"},         {"1-(-2)", "1 - (-2)"},
      {"0.10000000001", "0.1"}, {" a % comment\n + x", "a + x"}};
  for (const auto& [text, printed] : kOthers) EXPECT_EQ(reprinted(text), printed) << text;
}

TEST_F(Expressions, ATextThatIsNoneIsRefusedWithItsPosition) {
  EXPECT_EQ(refusal("a < x < 2"), "syntax 7: unexpected token\n");
  EXPECT_EQ(refusal("(a + x"), "syntax 6: `)' expected\n");
  EXPECT_EQ(refusal("#(a + 1)"), "syntax 8: `#' must be followed by the name of a discrete node\n");
  EXPECT_EQ(refusal("#f"), "syntax 2: `#' must be followed by the name of a discrete node\n");
  EXPECT_EQ(refusal("min (a x)"), "syntax 8: `,' or `)' expected\n");
  EXPECT_EQ(refusal("sinus (a)"), "syntax 7: unknown operator `sinus'\n");
  EXPECT_EQ(refusal("a + y"), "syntax 5: no such node: y\n");
  EXPECT_EQ(refusal("a + i.y"), "syntax 7: no such node: i.y\n");
  EXPECT_EQ(refusal("a ! x"), "syntax 3: `!' must be followed by `='\n");
  EXPECT_EQ(refusal("a +"), "syntax 3: unexpected token\n");
  EXPECT_EQ(refusal("1 - -2"), "syntax 5: unexpected token\n");
  EXPECT_EQ(refusal(""), "syntax 0: unexpected token\n");
  EXPECT_EQ(refusal("a & x"), "syntax 3: unexpected character: `&'\n");
  EXPECT_EQ(refusal("\"red"), "syntax 4: string did not end\n");
  EXPECT_EQ(refusal("1e999"), "syntax 5: number is too large\n");
  const std::string deep(20000, '(');
  EXPECT_EQ(refusal(deep).substr(0, 7), "syntax ");
  EXPECT_EQ(refusal("Normal (0)"),
            "invalid_expression 10: API error: The supplied expression is invalid (e.g., wrong type).\n");
  for (const char* text : {"Normal (0, b == b)",
                           "Beta (1, 2, 3)",
                           "NoisyOR (b, 0.1, b)",
                           "NoisyOR (1, 0.1)",
                           "\"red\" + 1",
                           "truncate (0, 1)",
                           "truncate (Normal (0, 1), 1, 2)",
                           "aggregate (a, 1)",
                           "aggregate (a, f)",
                           "not (1)",
                           "if (1, 2, 3)",
                           "if (b, 2, \"red\")",
                           "if (b, 2, Uniform (0, 1))",
                           "1 == \"red\"",
                           "Uniform (0, 1) == Uniform (0, 1)",
                           "probability (1 == 1)",
                           "probability (a == x)",
                           "probability (f == 1)",
                           "probability (a == probability (a == 1))",
                           "-b + not (b)",
                           "min ()"})
    EXPECT_EQ(refusal(text).substr(0, 18), "invalid_expression") << text;
  EXPECT_EQ(tv_string_to_expression(nullptr, domain, nullptr, nullptr), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
}

TEST_F(Expressions, NodesGoBeforeTruthValuesAndSignsBelongToNumbers) {
  EXPECT_EQ(tv_expression_get_operator(parse(domain, "true").get()), tv_operator_boolean);
  add_node(domain, "true", 2);
  EXPECT_EQ(tv_expression_get_operator(parse(domain, "true").get()), tv_operator_node);
  tv_node_set_name(a, "part.a");
  EXPECT_EQ(tv_expression_get_node(parse(domain, "part.a").get()), a);
  const ExpressionHandle number = parse(domain, "-2");
  EXPECT_EQ(tv_expression_get_number(number.get()), -2);
  EXPECT_EQ(tv_expression_get_operator(parse(domain, "-x").get()), tv_operator_negate);
}

TEST_F(Expressions, CompositesHoldTheirOperands) {
  tv_expression_t* leaf = tv_number_make_expression(1);
  tv_expression_t* sum = composite(tv_operator_add, {leaf, leaf});
  const ExpressionHandle product(composite(tv_operator_multiply, {leaf, sum}));
  EXPECT_EQ(tv_expression_delete(leaf), tv_status_none);  // does nothing
  EXPECT_EQ(tv_expression_delete(sum), tv_status_none);
  EXPECT_EQ(print(product.get()), "1 * (1 + 1)");
  const ExpressionHandle copy(tv_expression_clone(product.get()));
  EXPECT_EQ(print(copy.get()), "1 * (1 + 1)");
  EXPECT_EQ(tv_expression_get_operands(product.get())[0], leaf);
  EXPECT_NE(tv_expression_get_operands(copy.get())[0], leaf);
  EXPECT_EQ(tv_expression_get_operands(copy.get())[2], nullptr);

  EXPECT_EQ(composite(tv_operator_normal, {leaf}), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_invalid_expression);
  EXPECT_EQ(composite(tv_operator_number, {}), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(composite(118, {leaf}), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
}

TEST_F(Expressions, LeavesTellWhatTheyHold) {
  const ExpressionHandle number(tv_number_make_expression(2.5)), truth(tv_boolean_make_expression(7)),
      label(tv_label_make_expression("red")), node(tv_node_make_expression(a));
  EXPECT_EQ(tv_expression_get_number(number.get()), 2.5);
  EXPECT_EQ(tv_expression_get_boolean(truth.get()), 1);
  EXPECT_STREQ(tv_expression_get_label(label.get()), "red");
  EXPECT_EQ(tv_expression_get_node(node.get()), a);
  EXPECT_EQ(tv_expression_is_composite(node.get()), 0);
  EXPECT_EQ(tv_expression_get_number(node.get()), -1);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(tv_expression_get_operands(node.get()), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
  EXPECT_EQ(tv_label_make_expression(nullptr), nullptr);
  EXPECT_EQ(tv_error_code(), tv_status_usage);
}

// ---- Random expressions ----

bool equal(const tv_expression_t* one, const tv_expression_t* other) {
  const tv_operator_t op = tv_expression_get_operator(one);
  if (op != tv_expression_get_operator(other)) return false;
  if (op == tv_operator_number) return tv_expression_get_number(one) == tv_expression_get_number(other);
  if (op == tv_operator_boolean) return tv_expression_get_boolean(one) == tv_expression_get_boolean(other);
  if (op == tv_operator_node) return tv_expression_get_node(one) == tv_expression_get_node(other);
  if (op == tv_operator_label)
    return std::string(tv_expression_get_label(one)) == tv_expression_get_label(other);
  tv_expression_t** left = tv_expression_get_operands(one);
  tv_expression_t** right = tv_expression_get_operands(other);
  for (; *left && *right; ++left, ++right)
    if (!equal(*left, *right)) return false;
  return !*left && !*right;
}

class RandomExpressions : public Expressions {
 protected:
  tv_expression_t* number(int depth) {
    if (depth == 0 || random.chance(0.2)) {
      if (random.chance(0.5)) return tv_node_make_expression(random.chance(0.5) ? a : f);
      return tv_number_make_expression((static_cast<double>(random.below(2001)) - 1000) / 8);
    }
    if (random.chance(0.1)) {  // the minus of a nonnegative number is its literal
      tv_expression_t* operand = number(depth - 1);
      const bool literal = tv_expression_get_operator(operand) == tv_operator_number;
      return literal ? operand : composite(tv_operator_negate, {operand});
    }
    if (random.chance(0.1))
      return composite(tv_operator_if, {truth(depth - 1), number(depth - 1), number(depth - 1)});
    if (random.chance(0.1)) return composite(tv_operator_max, {number(depth - 1), number(depth - 1)});
    const tv_operator_t op = tv_operator_add + static_cast<int>(random.below(5));
    return composite(op, {number(depth - 1), number(depth - 1)});
  }

  tv_expression_t* truth(int depth) {
    if (depth == 0) return random.chance(0.5) ? tv_node_make_expression(b) : tv_boolean_make_expression(1);
    if (random.chance(0.2)) return composite(tv_operator_and, {truth(depth - 1), truth(depth - 1)});
    const tv_operator_t op = tv_operator_equals + static_cast<int>(random.below(6));
    if (random.chance(0.3)) return composite(op, {truth(depth - 1), truth(depth - 1)});
    return composite(op, {number(depth - 1), number(depth - 1)});
  }

  Generator random{5};
};

TEST_F(RandomExpressions, AreReadBackAsTheyWere) {
  for (int i = 0; i < 3000; ++i) {
    const ExpressionHandle expression(random.chance(0.5) ? number(5) : truth(5));
    const std::string text = print(expression.get());
    std::string said;
    const ExpressionHandle again = parse(domain, text, &said);
    ASSERT_NE(again, nullptr) << text << "\n" << said;
    ASSERT_EQ(print(again.get()), text);
    ASSERT_TRUE(equal(expression.get(), again.get())) << text;
  }
}

}  // namespace
}  // namespace test

// Expressions as text. Parentheses stand only where the grammar would otherwise read something else.
#include <algorithm>
#include <cmath>

#include "api/boundary.h"
#include "api/memory.h"
#include "expr/expression.h"
#include "network/node_operations.h"
#include "text/state_text.h"
#include "text/trace.h"

namespace tv {
namespace {

// What an operand looks like to the operator next to it.
bool is_sum(const Expression& operand) noexcept {
  return operand.op == tv_operator_add || operand.op == tv_operator_subtract ||
         operand.op == tv_operator_negate ||
         (operand.op == tv_operator_number && std::signbit(operand.number));
}

bool is_product(const Expression& operand) noexcept {
  return operand.op == tv_operator_multiply || operand.op == tv_operator_divide;
}

bool is_power(const Expression& operand) noexcept { return operand.op == tv_operator_power; }

bool needs_parentheses(const Expression& operand, tv_operator_t op, bool on_the_right) noexcept {
  switch (op) {
    case tv_operator_add:
    case tv_operator_subtract:
      return on_the_right && is_sum(operand);
    case tv_operator_multiply:
    case tv_operator_divide:
      return is_sum(operand) || (on_the_right && is_product(operand));
    case tv_operator_power:
      return is_sum(operand) || is_product(operand) || (!on_the_right && is_power(operand));
    case tv_operator_negate:
      return is_sum(operand);
    default:
      return is_comparison(op) && is_comparison(operand.op);
  }
}

class Printer {
 public:
  explicit Printer(std::string& text) noexcept : text_(text) {}

  void print(const Expression& expression) {
    if (is_leaf(expression.op))
      print_leaf(expression);
    else if (is_named(expression.op))
      print_call(expression);
    else if (expression.operand_count() == 1)
      print_prefix(expression);
    else
      print_infix(expression);
  }

 private:
  void print_leaf(const Expression& leaf) {
    if (leaf.op == tv_operator_number) {
      text_ += NumberText(leaf.number, 6, true).c_str();
    } else if (leaf.op == tv_operator_label) {
      text_ += quoted_text(leaf.label);
    } else if (leaf.op == tv_operator_boolean) {
      text_ += leaf.number != 0 ? "true" : "false";
    } else {
      const char* name = name_of(*leaf.node);
      if (!name) throw std::bad_alloc();  // an automatic name could not be made
      text_ += name;
    }
  }

  void print_call(const Expression& call) {
    text_ += operator_info(call.op).name;
    text_ += " (";
    for (size_t i = 0; i < call.operand_count(); ++i) {
      if (i > 0) text_ += ", ";
      print(*call.operands[i]);
    }
    text_ += ')';
  }

  void print_prefix(const Expression& expression) {
    text_ += operator_info(expression.op).name;
    print_operand(expression, false);
  }

  void print_infix(const Expression& expression) {
    print_operand(expression, false);
    text_ += ' ';
    text_ += operator_info(expression.op).name;
    text_ += ' ';
    print_operand(expression, true);
  }

  void print_operand(const Expression& expression, bool on_the_right) {
    const Expression& operand = *expression.operands[on_the_right];
    const bool enclosed = needs_parentheses(operand, expression.op, on_the_right);
    if (enclosed) text_ += '(';
    print(operand);
    if (enclosed) text_ += ')';
  }

  std::string& text_;
};

}  // namespace

size_t nesting_of_text(const Expression& expression) noexcept {
  if (expression.height < kMaxNesting) return expression.height;  // it cannot be more
  size_t deepest = 0;
  for (size_t i = 0; i < expression.operand_count(); ++i) {
    const Expression& operand = *expression.operands[i];
    const bool goes_deeper = is_named(expression.op) || expression.op == tv_operator_state_index ||
                             needs_parentheses(operand, expression.op, i == 1);
    deepest = std::max(deepest, nesting_of_text(operand) + goes_deeper);
  }
  return std::max<size_t>(deepest, 1);
}

std::string expression_text(const Expression& expression) {
  if (expression.count > kMaxCount) throw std::bad_alloc();
  std::string text;
  Printer(text).print(expression);
  return text;
}

}  // namespace tv

char* tv_expression_to_string(const tv_expression_t* expression) {
  return tv::guarded(static_cast<char*>(nullptr), [&]() -> char* {
    return tv::check(expression) ? tv::_tv_allocate_string(tv::expression_text(*expression).c_str())
                                 : nullptr;
  });
}

// Expressions: trees (or, where operands are shared, graphs without cycles) of operators over numbers,
// labels, truth values and nodes. They are counted: a composite holds its operands, a model holds what it
// uses, and what nobody holds is the host's to delete.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "expr/operators.h"
#include "network/node.h"

struct tv_expression_s {
  tv_operator_t op = tv_operator_number;
  tv::ValueType type = tv::ValueType::numeric;  // unknown where it hangs on the subtype of a node
  size_t references = 0;                        // composites and models that hold this expression
  size_t height = 1;                            // longest way down to a leaf
  size_t count = 1;                             // leaves and operators, shared ones as often as they stand

  double number = 0;                      // of a number leaf; 0 or 1 of a boolean one
  std::string label;                      // of a label leaf
  tv::Node* node = nullptr;               // of a node leaf
  std::vector<tv::Expression*> operands;  // of a composite, with a null behind the last

  size_t operand_count() const noexcept { return operands.empty() ? 0 : operands.size() - 1; }
};

namespace tv {

// Work on expressions is recursive, so their height has a limit.
inline constexpr size_t kMaxHeight = 2000;

// Reading a text is recursive, too, and takes several calls for each parenthesis and each operator with a
// name.
inline constexpr size_t kMaxNesting = 500;

// Shared operands can unfold to more than any memory holds; nothing larger than this is unfolded.
inline constexpr size_t kMaxCount = size_t{1} << 28;

// Gives up one reference, or what was never held: frees the expression when none is left.
void release(Expression* expression) noexcept;

inline Expression* retain(Expression* expression) noexcept {
  if (expression) ++expression->references;
  return expression;
}

// Frees an expression that nobody holds; leaves any other alone.
void delete_unheld(Expression* expression) noexcept;

struct DeleteUnheld {
  void operator()(Expression* expression) const noexcept { delete_unheld(expression); }
};
using ExpressionOwner = std::unique_ptr<Expression, DeleteUnheld>;

ExpressionOwner make_number(double number);
ExpressionOwner make_boolean(bool value);
ExpressionOwner make_label(std::string_view label);
ExpressionOwner make_node(Node& node);

// Takes hold of the operands; null with `invalid_expression` when they do not suit the operator. The
// operator is none of the leaves.
ExpressionOwner make_composite(tv_operator_t op, const std::vector<Expression*>& operands);
ExpressionOwner make_composite(tv_operator_t op, std::vector<ExpressionOwner>&& operands);

// A deep copy, with its nodes replaced as `map` says if there is one. Throws std::bad_alloc when shared
// operands would make it larger than memory.
ExpressionOwner clone_expression(const Expression& expression, const NodeMap& map = {});

// Calls visit(part) for the expression and all below it, shared parts once for each holder.
template <class Visit>
void for_each_part(const Expression& expression, Visit visit) {
  visit(expression);
  for (size_t i = 0; i < expression.operand_count(); ++i) for_each_part(*expression.operands[i], visit);
}

bool mentions(const Expression& expression, const Node* node);

// The type that the expression has now that the subtypes of its nodes count; false when they do not suit
// the operators.
bool resolve_type(const Expression& expression, ValueType& type);
ValueType type_of_states(const Node& node) noexcept;  // of a discrete node

// Printed with the fewest parentheses, so that parsing it gives the same expression (but for digits that
// "%G" drops).
std::string expression_text(const Expression& expression);

// How deep a parser has to go into that text; it reads no more than kMaxNesting.
size_t nesting_of_text(const Expression& expression) noexcept;

}  // namespace tv

// Building, copying and deleting expressions, and the checks of their types.
#include "expr/expression.h"

#include <algorithm>
#include <new>

#include "api/boundary.h"
#include "api/memory.h"
#include "network/node.h"

namespace tv {
namespace {

ExpressionOwner make_leaf(tv_operator_t op, ValueType type) {
  ExpressionOwner leaf(new Expression);
  leaf->op = op;
  leaf->type = type;
  return leaf;
}

bool is_discrete_node_leaf(const Expression& expression) noexcept {
  return expression.op == tv_operator_node && is_discrete(*expression.node);
}

// What the argument of `probability` speaks of.
struct Subject {
  const Node* node = nullptr;
  bool is_clear = true;  // no second node, and no probability of a probability
};

void find_subject(const Expression& expression, Subject& subject) {
  for_each_part(expression, [&](const Expression& part) {
    if (part.op == tv_operator_probability) subject.is_clear = false;
    if (part.op != tv_operator_node) return;
    if (subject.node && subject.node != part.node) subject.is_clear = false;
    subject.node = part.node;
  });
}

bool is_probable(const Expression& condition) {
  if (condition.count > kMaxCount) return false;
  Subject subject;
  find_subject(condition, subject);
  return subject.is_clear && subject.node && is_discrete(*subject.node);
}

// The rules about operands that go beyond their types.
bool suit(tv_operator_t op, const std::vector<Expression*>& operands) {
  if (op == tv_operator_probability) return is_probable(*operands[0]);
  if (op != tv_operator_aggregate && op != tv_operator_state_index) return true;
  return std::all_of(operands.begin(), operands.end(),
                     [](const Expression* operand) { return is_discrete_node_leaf(*operand); });
}

ExpressionOwner refuse() noexcept {
  store_status(tv_status_invalid_expression);
  return nullptr;
}

ExpressionOwner clone_leaf(const Expression& leaf, const NodeMap& map) {
  ExpressionOwner copy = make_leaf(leaf.op, leaf.type);
  copy->number = leaf.number;
  copy->label = leaf.label;
  copy->node = leaf.node && map ? map(leaf.node) : leaf.node;
  return copy;
}

ExpressionOwner clone_part(const Expression& expression, const NodeMap& map) {
  if (is_leaf(expression.op)) return clone_leaf(expression, map);
  std::vector<ExpressionOwner> owners;
  owners.reserve(expression.operand_count());
  for (size_t i = 0; i < expression.operand_count(); ++i)
    owners.push_back(clone_part(*expression.operands[i], map));
  ExpressionOwner copy = make_leaf(expression.op, expression.type);
  copy->height = expression.height;
  copy->count = expression.count;
  copy->operands.reserve(owners.size() + 1);
  for (ExpressionOwner& owner : owners) copy->operands.push_back(retain(owner.release()));
  copy->operands.push_back(nullptr);
  return copy;
}

}  // namespace

void release(Expression* expression) noexcept {
  if (!expression) return;
  if (expression->references > 0) --expression->references;
  delete_unheld(expression);
}

void delete_unheld(Expression* expression) noexcept {
  if (!expression || expression->references > 0) return;
  for (size_t i = 0; i < expression->operand_count(); ++i) release(expression->operands[i]);
  delete expression;
}

ExpressionOwner make_number(double number) {
  ExpressionOwner leaf = make_leaf(tv_operator_number, ValueType::numeric);
  leaf->number = number;
  return leaf;
}

ExpressionOwner make_boolean(bool value) {
  ExpressionOwner leaf = make_leaf(tv_operator_boolean, ValueType::boolean);
  leaf->number = value;
  return leaf;
}

ExpressionOwner make_label(std::string_view label) {
  ExpressionOwner leaf = make_leaf(tv_operator_label, ValueType::label);
  leaf->label = label;
  return leaf;
}

ExpressionOwner make_node(Node& node) {
  ExpressionOwner leaf =
      make_leaf(tv_operator_node, is_discrete(node) ? ValueType::unknown : ValueType::numeric);
  leaf->node = &node;
  return leaf;
}

ExpressionOwner make_composite(tv_operator_t op, const std::vector<Expression*>& operands) {
  std::vector<ValueType> types;
  types.reserve(operands.size());
  for (const Expression* operand : operands) types.push_back(operand->type);
  if (!accepts(op, types.data(), types.size()) || !suit(op, operands)) return refuse();

  ExpressionOwner composite = make_leaf(op, result_type(op, types.data()));
  composite->operands.reserve(operands.size() + 1);
  for (Expression* operand : operands) {
    composite->height = std::max(composite->height, operand->height + 1);
    composite->count = size_add(composite->count, operand->count);
  }
  if (composite->height > kMaxHeight) return refuse();
  for (Expression* operand : operands) composite->operands.push_back(retain(operand));
  composite->operands.push_back(nullptr);
  return composite;
}

ExpressionOwner make_composite(tv_operator_t op, std::vector<ExpressionOwner>&& operands) {
  std::vector<Expression*> list;
  list.reserve(operands.size());
  for (const ExpressionOwner& operand : operands) list.push_back(operand.get());
  ExpressionOwner composite = make_composite(op, list);
  if (composite)
    for (ExpressionOwner& operand : operands) operand.release();  // held by the composite now
  return composite;
}

ExpressionOwner clone_expression(const Expression& expression, const NodeMap& map) {
  if (expression.count > kMaxCount) throw std::bad_alloc();
  return clone_part(expression, map);
}

bool mentions(const Expression& expression, const Node* node) {
  if (expression.op == tv_operator_node) return expression.node == node;
  for (size_t i = 0; i < expression.operand_count(); ++i)
    if (mentions(*expression.operands[i], node)) return true;
  return false;
}

ValueType type_of_states(const Node& node) noexcept {
  if (node.subtype == tv_subtype_label) return ValueType::label;
  return node.subtype == tv_subtype_boolean ? ValueType::boolean : ValueType::numeric;
}

bool resolve_type(const Expression& expression, ValueType& type) {
  type = expression.type;
  if (expression.op == tv_operator_node && is_discrete(*expression.node))
    type = type_of_states(*expression.node);
  if (is_leaf(expression.op)) return true;
  std::vector<ValueType> types(expression.operand_count());
  for (size_t i = 0; i < types.size(); ++i)
    if (!resolve_type(*expression.operands[i], types[i])) return false;
  if (!accepts(expression.op, types.data(), types.size())) return false;
  type = result_type(expression.op, types.data());
  return true;
}

}  // namespace tv

namespace {

using tv::Expression;
using tv::guarded;

// The way of all functions that make an expression: null on failure.
template <class Make>
Expression* made(bool arguments_are_valid, Make make) {
  return guarded(static_cast<Expression*>(nullptr), [&]() -> Expression* {
    return tv::check(arguments_are_valid) ? make().release() : nullptr;
  });
}

bool is_composite(const Expression& expression) noexcept { return !tv::is_leaf(expression.op); }

bool has_operator(const Expression* expression, tv_operator_t op) noexcept {
  return expression && expression->op == op;
}

}  // namespace

tv_expression_t* tv_number_make_expression(double number) {
  return made(true, [&] { return tv::make_number(number); });
}

tv_expression_t* tv_boolean_make_expression(int value) {
  return made(true, [&] { return tv::make_boolean(value != 0); });
}

tv_expression_t* tv_label_make_expression(const char* label) {
  return made(label, [&] { return tv::make_label(label); });
}

tv_expression_t* tv_node_make_expression(tv_node_t* node) {
  return made(node && node->category != tv_category_instance, [&] { return tv::make_node(*node); });
}

tv_expression_t* tv_make_composite_expression(tv_operator_t op, tv_expression_t** operands) {
  return made(operands && tv::is_operator(op) && !tv::is_leaf(op), [&] {
    std::vector<Expression*> list;
    for (; *operands; ++operands) list.push_back(*operands);
    return tv::make_composite(op, list);
  });
}

int tv_expression_is_composite(const tv_expression_t* expression) {
  return tv::check(expression) ? is_composite(*expression) : -1;
}

tv_operator_t tv_expression_get_operator(const tv_expression_t* expression) {
  return tv::check(expression) ? expression->op : -1;
}

tv_expression_t** tv_expression_get_operands(const tv_expression_t* expression) {
  if (!tv::check(expression && is_composite(*expression))) return nullptr;
  return const_cast<Expression**>(expression->operands.data());
}

tv_node_t* tv_expression_get_node(const tv_expression_t* expression) {
  return tv::check(has_operator(expression, tv_operator_node)) ? expression->node : nullptr;
}

double tv_expression_get_number(const tv_expression_t* expression) {
  return tv::check(has_operator(expression, tv_operator_number)) ? expression->number : -1.0;
}

const char* tv_expression_get_label(const tv_expression_t* expression) {
  return tv::check(has_operator(expression, tv_operator_label)) ? expression->label.c_str() : nullptr;
}

int tv_expression_get_boolean(const tv_expression_t* expression) {
  return tv::check(has_operator(expression, tv_operator_boolean)) ? expression->number != 0 : -1;
}

tv_expression_t* tv_expression_clone(const tv_expression_t* expression) {
  return made(expression, [&] { return tv::clone_expression(*expression); });
}

tv_status_t tv_expression_delete(tv_expression_t* expression) {
  if (!tv::check(expression)) return tv_status_usage;
  tv::delete_unheld(expression);
  return tv_status_none;
}

#include "expr/function_value.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "expr/evaluator.h"
#include "expr/model.h"
#include "network/node.h"

namespace tv {
namespace {

bool asks_for_results(tv_operator_t op) noexcept {
  return op == tv_operator_probability || op == tv_operator_variance || op == tv_operator_quantile;
}

// Only parents occur, in a way in which they have a value.
bool is_known_to(const Expression& part, const Node& node) {
  if (part.op == tv_operator_variance || part.op == tv_operator_quantile)
    if (part.operands[0]->op != tv_operator_node) return false;
  if (asks_for_results(part.op) && node.category != tv_category_function) return false;
  return part.op != tv_operator_node || node.parents.contains(part.node);
}

}  // namespace

bool suits(const Expression& expression, const Node& node) {
  bool all_known = true;
  for_each_part(expression,
                [&](const Expression& part) { all_known = all_known && is_known_to(part, node); });
  ValueType type;
  if (!all_known || !resolve_type(expression, type)) return false;
  if (!is_discrete(node)) return type == ValueType::numeric;
  return type == ValueType::distribution || type == type_of_states(node);
}

bool occurs(const Model& model, const Node* node) {
  return std::any_of(
      model.expressions.begin(), model.expressions.end(),
      [node](const Expression* expression) { return expression && mentions(*expression, node); });
}

tv_status_t known_model_index(const Model& model, const FunctionValues& values, size_t& index) {
  index = 0;
  for (const Node* node : model.nodes) {
    size_t state;
    if (tv_status_t status = values.results_of(*node).state(*node, state)) return status;
    index = index * node->number_of_states + state;
  }
  return tv_status_none;
}

tv_status_t FunctionValues::number(Node& node, double& number) {
  if (!is_real_valued_function(node)) return results_of(node).number(node, number);
  const Outcome& outcome = function(node);
  number = outcome.value;
  return outcome.status;
}

tv_status_t FunctionValues::evaluate_parent(Node& parent) {
  double number;
  size_t state;
  const PropagationResults& results = results_of(parent);
  if (!is_discrete(parent) || type_of_states(parent) == ValueType::numeric)
    return results.number(parent, number);
  return results.state(parent, state);
}

// Functions among the parents first, without recursion however long the chain is.
const FunctionValues::Outcome& FunctionValues::function(Node& node) {
  std::vector<Node*> open{&node};
  while (!open.empty()) {
    Node& next = *open.back();
    for (Node* parent : next.parents)
      if (is_real_valued_function(*parent) && !known_.count(parent)) open.push_back(parent);
    if (open.back() != &next) continue;
    open.pop_back();
    if (!known_.count(&next)) known_.emplace(&next, compute(next));
  }
  return known_.find(&node)->second;
}

FunctionValues::Outcome FunctionValues::compute(Node& node) {
  if (!node.model) return {tv_status_no_value};
  const Model& model = *node.model;
  if (model.expressions.empty()) return {tv_status_invalid_expression};
  size_t index;
  if (tv_status_t status = known_model_index(model, *this, index)) return {status};
  const Expression* expression = model.expressions[index];
  if (!expression || !suits(*expression, node)) return {tv_status_invalid_expression};
  // What is mentioned is evaluated as the expression asks; the value hangs on all other parents, too.
  for (Node* parent : node.parents) {
    if (is_real_valued_function(*parent) || occurs(model, parent)) continue;
    if (tv_status_t status = evaluate_parent(*parent)) return {status};
  }
  Outcome outcome;
  outcome.status = Evaluator(*expression, Evaluator::Mode::results, model.samples_per_interval, *this)
                       .evaluate(outcome.value);
  if (!outcome.status && !std::isfinite(outcome.value)) outcome.status = tv_status_computation_failed;
  return outcome;
}

}  // namespace tv

#include "expr/evaluator.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "expr/results.h"
#include "network/node_operations.h"

namespace tv {

void LabelNumbers::finish() {
  std::sort(labels_.begin(), labels_.end());
  labels_.erase(std::unique(labels_.begin(), labels_.end()), labels_.end());
}

double LabelNumbers::number(std::string_view label) const noexcept {
  return static_cast<double>(std::lower_bound(labels_.begin(), labels_.end(), label) - labels_.begin());
}

// ---- Making the steps ----

Evaluator::Evaluator(const Expression& expression, Mode mode, size_t samples, FunctionValues& results)
    : mode_(mode), samples_(samples), results_(&results) {
  collect_labels(expression);
  labels_.finish();
  resolve_type(expression, type_);
  add_expression(expression);
  levels_changed();
}

void Evaluator::collect_labels(const Expression& expression) {
  for_each_part(expression, [this](const Expression& part) {
    if (part.op == tv_operator_label) labels_.add(part.label);
    const Node* node = part.node;
    if (!node || !is_discrete(*node) || node->subtype != tv_subtype_label) return;
    for (size_t state = 0; state < node->number_of_states; ++state) labels_.add(state_label(*node, state));
  });
}

// A step that equals an earlier one is not added again.
size_t Evaluator::add_step(Step step, const std::vector<size_t>& operands) {
  size_t hash = std::hash<double>()(step.value);
  const auto mix = [&](size_t part) { hash = hash * 0x9E3779B97F4A7C15u + part + (hash >> 29); };
  mix(static_cast<size_t>(step.op));
  mix(step.variable);
  mix(std::hash<const Expression*>()(step.source));
  for (const size_t operand : operands) mix(operand);

  step.count = operands.size();
  const auto [first, last] = by_hash_.equal_range(hash);
  for (auto found = first; found != last; ++found) {
    const Step& other = steps_[found->second];
    const bool same = other.op == step.op && other.count == step.count && other.variable == step.variable &&
                      other.source == step.source &&
                      std::memcmp(&other.value, &step.value, sizeof other.value) == 0 &&
                      std::equal(operands.begin(), operands.end(), operands_.begin() + other.first);
    if (same) return found->second;
  }
  step.first = operands_.size();
  operands_.insert(operands_.end(), operands.begin(), operands.end());
  by_hash_.emplace(hash, steps_.size());
  steps_.push_back(step);
  return steps_.size() - 1;
}

size_t Evaluator::add_variable(Node& node, NodeUse use) {
  for (size_t i = 0; i < variables_.size(); ++i)
    if (variables_[i].node == &node && variables_[i].use == use) return i;
  variables_.push_back({&node, use});
  return variables_.size() - 1;
}

size_t Evaluator::add_leaf(const Expression& leaf) {
  Step step{leaf.op};
  if (leaf.op == tv_operator_node)
    step.variable = add_variable(*leaf.node, NodeUse::value);
  else
    step.value = leaf.op == tv_operator_label ? labels_.number(leaf.label) : leaf.number;
  return add_step(step, {});
}

size_t Evaluator::add_expression(const Expression& expression) {
  if (is_leaf(expression.op)) return add_leaf(expression);
  Step step{expression.op};
  step.distributes = expression.type == ValueType::distribution;
  if (expression.op == tv_operator_state_index) {
    step.variable = add_variable(*expression.operands[0]->node, NodeUse::index);
    return add_step(step, {});
  }
  std::vector<size_t> operands;
  const bool is_query = expression.op == tv_operator_probability || expression.op == tv_operator_variance ||
                        expression.op == tv_operator_quantile || expression.op == tv_operator_aggregate;
  if (is_query) step.source = &expression;
  if (expression.op == tv_operator_quantile)
    operands.push_back(add_expression(*expression.operands[1]));
  else if (!is_query)
    for (size_t i = 0; i < expression.operand_count(); ++i)
      operands.push_back(add_expression(*expression.operands[i]));
  return add_step(step, operands);
}

void Evaluator::levels_changed() {
  size_t highest = 0;
  for (Step& step : steps_) {
    step.level = step.variable == kNoVariable ? 0 : variables_[step.variable].level;
    for (size_t i = 0; i < step.count; ++i) step.level = std::max(step.level, steps_[operand(step, i)].level);
    highest = std::max(highest, step.level);
  }
  for (const Variable& variable : variables_) highest = std::max(highest, variable.level);
  epochs_.assign(highest + 1, ++clock_);
  stale_level_ = 0;
}

// ---- Evaluation ----

void Evaluator::start() noexcept {
  status_ = tv_status_none;
  for (; stale_level_ < epochs_.size(); ++stale_level_) epochs_[stale_level_] = clock_ + 1;
  ++clock_;
}

double Evaluator::fail(tv_status_t status) noexcept {
  if (!status_) status_ = status;
  return std::numeric_limits<double>::quiet_NaN();
}

double Evaluator::checked(double result) noexcept {
  return std::isfinite(result) ? result : fail(tv_status_computation_failed);
}

tv_status_t Evaluator::evaluate(double& result) {
  start();
  result = value(steps_.size() - 1);
  return status_;
}

tv_status_t Evaluator::evaluate(DistributionValue& distribution) {
  start();
  distribution.parameters.clear();
  distribution.low = -std::numeric_limits<double>::infinity();
  distribution.high = std::numeric_limits<double>::infinity();
  distribution.truncated = false;
  fill_distribution(steps_.back(), distribution);
  return status_;
}

double Evaluator::value(size_t index) {
  if (status_) return 0;
  Step& step = steps_[index];
  if (is_leaf(step.op) && step.variable == kNoVariable) return step.value;
  if (step.epoch == epochs_[step.level]) return step.value;
  const double result = compute(step);
  if (status_) return 0;
  step.value = result;
  step.epoch = epochs_[step.level];
  return result;
}

double Evaluator::compute(const Step& step) {
  if (step.variable != kNoVariable && mode_ == Mode::variables) return variables_[step.variable].value;
  if (step.variable != kNoVariable || step.source) return compute_result(step);
  switch (step.op) {
    case tv_operator_min:
    case tv_operator_max:
      return compute_fold(step);
    case tv_operator_if:
      return value(operand(step, value(operand(step, 0)) != 0 ? 1 : 2));
    case tv_operator_and:
    case tv_operator_or:
      return compute_connective(step);
    default:
      return compute_function(step);
  }
}

double Evaluator::compute_fold(const Step& step) {
  double best = value(operand(step, 0));
  for (size_t i = 1; i < step.count; ++i) {
    const double next = value(operand(step, i));
    best = step.op == tv_operator_min ? std::min(best, next) : std::max(best, next);
  }
  return best;
}

// Stops at the first operand that decides.
double Evaluator::compute_connective(const Step& step) {
  const bool decisive = step.op == tv_operator_or;
  for (size_t i = 0; i < step.count; ++i)
    if ((value(operand(step, i)) != 0) == decisive) return decisive;
  return !decisive;
}

// Operators of one or two operands, all of which are needed.
double Evaluator::compute_function(const Step& step) {
  const double a = value(operand(step, 0));
  const double b = step.count > 1 ? value(operand(step, 1)) : 0;
  if (status_) return 0;
  const auto positive = [&](double result) {
    return a > 0 ? result : fail(tv_status_inappropriate_arguments);
  };
  switch (step.op) {
    case tv_operator_log:
      return positive(std::log(a));
    case tv_operator_log2:
      return positive(std::log2(a));
    case tv_operator_log10:
      return positive(std::log10(a));
    case tv_operator_exp:
      return checked(std::exp(a));
    case tv_operator_sin:
      return checked(std::sin(a));
    case tv_operator_cos:
      return checked(std::cos(a));
    case tv_operator_tan:
      return checked(std::tan(a));
    case tv_operator_sinh:
      return checked(std::sinh(a));
    case tv_operator_cosh:
      return checked(std::cosh(a));
    case tv_operator_tanh:
      return std::tanh(a);
    case tv_operator_sqrt:
      return a >= 0 ? std::sqrt(a) : fail(tv_status_inappropriate_arguments);
    case tv_operator_abs:
      return std::fabs(a);
    case tv_operator_floor:
      return std::floor(a);
    case tv_operator_ceil:
      return std::ceil(a);
    case tv_operator_mod:
      return b == 0 ? fail(tv_status_division_by_zero) : checked(std::fmod(a, b));
    case tv_operator_not:
      return a == 0;
    case tv_operator_add:
      return checked(a + b);
    case tv_operator_subtract:
      return checked(a - b);
    case tv_operator_multiply:
      return checked(a * b);
    case tv_operator_divide:
      return b == 0 ? fail(tv_status_division_by_zero) : checked(a / b);
    case tv_operator_power:
      if (a == 0 && b < 0) return fail(tv_status_division_by_zero);
      if (a < 0 && b != std::floor(b)) return fail(tv_status_inappropriate_arguments);
      return checked(std::pow(a, b));
    case tv_operator_negate:
      return -a;
    case tv_operator_equals:
      return a == b;
    case tv_operator_less_than:
      return a < b;
    case tv_operator_greater_than:
      return a > b;
    case tv_operator_not_equals:
      return a != b;
    case tv_operator_less_than_or_equals:
      return a <= b;
    case tv_operator_greater_than_or_equals:
      return a >= b;
    default:
      return fail(tv_status_invalid_expression);
  }
}

void Evaluator::fill_distribution(const Step& step, DistributionValue& distribution) {
  if (step.op == tv_operator_if) {
    const size_t taken = value(operand(step, 0)) != 0 ? 1 : 2;
    if (!status_) fill_distribution(steps_[operand(step, taken)], distribution);
  } else if (step.op == tv_operator_truncate) {
    fill_truncated(step, distribution);
  } else if (step.op == tv_operator_aggregate) {
    distribution.op = step.op;
    distribution.number = step.source->operands[0]->node;
    distribution.summand = step.source->operands[1]->node;
  } else {
    distribution.op = step.op;
    for (size_t i = 0; i < step.count; ++i) distribution.parameters.push_back(value(operand(step, i)));
  }
}

void Evaluator::fill_truncated(const Step& step, DistributionValue& distribution) {
  const size_t middle = steps_[operand(step, 0)].distributes ? 0 : 1;
  fill_distribution(steps_[operand(step, middle)], distribution);
  distribution.truncated = true;
  if (middle == 1) distribution.low = std::max(distribution.low, with_infinity(value(operand(step, 0))));
  if (middle + 1 < step.count)
    distribution.high = std::min(distribution.high, with_infinity(value(operand(step, middle + 1))));
}

// ---- Over the results of propagation ----

double Evaluator::operand_of_state(const Node& node, NodeUse use, size_t state) const noexcept {
  if (use == NodeUse::index || node.subtype == tv_subtype_boolean) return static_cast<double>(state);
  return node.subtype == tv_subtype_label ? labels_.number(state_label(node, state))
                                          : state_value(node, state);
}

double Evaluator::compute_result(const Step& step) {
  if (mode_ == Mode::variables) return fail(tv_status_invalid_expression);
  double result = 0;
  const auto answer = [&](tv_status_t status) { return status ? fail(status) : result; };
  if (step.op == tv_operator_probability) return compute_probability(*step.source->operands[0]);
  if (step.source) {
    Node* node = step.source->operands[0]->node;
    if (!node) return fail(tv_status_invalid_expression);  // of a number rather than a node
    if (step.op == tv_operator_variance) return answer(results_->results_of(*node).variance(*node, result));
    const double p = value(operand(step, 0));
    if (status_) return 0;
    return p >= 0 && p <= 1 ? answer(results_->results_of(*node).quantile(*node, p, result))
                            : fail(tv_status_inappropriate_arguments);
  }
  const Variable& variable = variables_[step.variable];
  const bool is_number = !is_discrete(*variable.node) || type_of_states(*variable.node) == ValueType::numeric;
  if (is_number && variable.use == NodeUse::value) return answer(results_->number(*variable.node, result));
  size_t state = 0;
  if (tv_status_t status = results_->results_of(*variable.node).state(*variable.node, state))
    return fail(status);
  return operand_of_state(*variable.node, variable.use, state);
}

// The condition speaks of one discrete node: how much of its states fulfils it.
double Evaluator::compute_probability(const Expression& condition) {
  Evaluator evaluator(condition, Mode::variables, samples_, *results_);
  const Node& node = *evaluator.variables_.front().node;
  std::vector<double> beliefs;
  if (tv_status_t status = results_->results_of(node).beliefs(node, beliefs)) return fail(status);
  double sum = 0;
  for (size_t state = 0; state < beliefs.size(); ++state) {
    if (!(beliefs[state] > 0)) continue;
    const SamplePoints points = sample_points(node, state, samples_);
    size_t fulfilled = 0;
    for (size_t k = 0; k < points.count(); ++k) {
      for (size_t v = 0; v < evaluator.variables_.size(); ++v) {
        const bool is_sampled =
            evaluator.variables_[v].use == NodeUse::value && node.subtype == tv_subtype_interval;
        evaluator.set(
            v, is_sampled ? points[k] : evaluator.operand_of_state(node, evaluator.variables_[v].use, state));
      }
      double truth = 0;
      if (tv_status_t status = evaluator.evaluate(truth)) return fail(status);
      fulfilled += truth != 0;
    }
    sum += beliefs[state] * static_cast<double>(fulfilled) / static_cast<double>(points.count());
  }
  return sum;
}

// ---- Samples ----

namespace {

// A point inside an interval that lacks one end or both.
double representative(double low, double high) noexcept {
  if (std::isinf(low) && std::isinf(high)) return 0;
  if (std::isinf(high)) return low > 0 ? low * 1.001 : low < 0 ? low * 0.999 : 1;
  return high > 0 ? high * 0.999 : high < 0 ? high * 1.001 : -1;
}

}  // namespace

SamplePoints::SamplePoints(double low, double high, size_t samples) noexcept
    : start_(low), step_(0), count_(1) {
  if (std::isinf(low) || std::isinf(high)) {
    start_ = representative(low, high);
    return;
  }
  step_ = high / static_cast<double>(samples) - low / static_cast<double>(samples);
  if (step_ != 0) count_ = samples;
}

SamplePoints sample_points(const Node& node, size_t state, size_t samples) noexcept {
  if (node.subtype != tv_subtype_interval) return SamplePoints(0, 0, 1);
  return SamplePoints(with_infinity(state_value(node, state)), with_infinity(state_value(node, state + 1)),
                      samples);
}

}  // namespace tv

// An expression made ready for being evaluated many times: a list of steps in which equal subexpressions
// occur once. Each step remembers its value for as long as nothing that it depends on has changed, and a
// step that is not needed (the branch that an `if` does not take) is not evaluated.
//
// Labels are represented by numbers that increase in the order of their texts, and truth values by 0 and 1,
// so that all values are numbers. An expression is evaluated either for values that the caller sets, when a
// table is generated, or over the results of propagation, for a function node.
#pragma once

#include <limits>
#include <string>
#include <unordered_map>
#include <vector>

#include "expr/distributions.h"
#include "expr/expression.h"
#include "expr/function_value.h"

namespace tv {

// The labels that occur in an expression and among the states of some label nodes, with the numbers that
// stand for them.
class LabelNumbers {
 public:
  void add(std::string_view label) { labels_.emplace_back(label); }
  void finish();  // when all are added
  double number(std::string_view label) const noexcept;
  std::string_view label(double number) const noexcept { return labels_[static_cast<size_t>(number)]; }

 private:
  std::vector<std::string> labels_;  // sorted
};

// What a node stands for in an expression.
enum class NodeUse { value, index };

struct Variable {
  Node* node;
  NodeUse use;
  size_t level = 0;  // of the loop that sets it: variables of higher levels change more often
  double value = std::numeric_limits<double>::quiet_NaN();
};

class Evaluator {
 public:
  // How node leaves get their values.
  enum class Mode { variables, results };

  // The types of the expression have been resolved. `samples` is the number of points for intervals in
  // `probability`; `results` gives the numbers for Mode::results.
  Evaluator(const Expression& expression, Mode mode, size_t samples, FunctionValues& results);

  ValueType type() const noexcept { return type_; }
  const LabelNumbers& labels() const noexcept { return labels_; }

  // What a discrete node in this state stands for; its label or value, or the index. Not for intervals.
  double operand_of_state(const Node& node, NodeUse use, size_t state) const noexcept;

  std::vector<Variable>& variables() noexcept { return variables_; }
  void levels_changed();  // after the caller has given levels to variables

  void set(size_t variable, double value) noexcept {
    if (variables_[variable].value == value) return;
    variables_[variable].value = value;
    if (variables_[variable].level < stale_level_) stale_level_ = variables_[variable].level;
  }

  // Of an expression that is no distribution: a number, the number of a label, or a truth value.
  tv_status_t evaluate(double& value);

  // Of an expression that is one.
  tv_status_t evaluate(DistributionValue& value);

 private:
  struct Step {
    tv_operator_t op;
    size_t first = 0, count = 0;  // operands, in `operands_`
    size_t variable = kNoVariable;
    const Expression* source = nullptr;  // of steps over results
    bool distributes = false;
    size_t level = 0;
    double value = 0;
    unsigned long long epoch = 0;  // of its level when it was evaluated
  };
  static constexpr size_t kNoVariable = static_cast<size_t>(-1);

  void collect_labels(const Expression& expression);
  size_t add_expression(const Expression& expression);
  size_t add_leaf(const Expression& leaf);
  size_t add_variable(Node& node, NodeUse use);
  size_t add_step(Step step, const std::vector<size_t>& operands);

  size_t operand(const Step& step, size_t i) const noexcept { return operands_[step.first + i]; }
  void start() noexcept;
  double value(size_t step);
  double compute(const Step& step);
  double compute_fold(const Step& step);
  double compute_connective(const Step& step);
  double compute_function(const Step& step);
  double compute_result(const Step& step);
  double compute_probability(const Expression& condition);
  void fill_distribution(const Step& step, DistributionValue& distribution);
  void fill_truncated(const Step& step, DistributionValue& distribution);
  double checked(double result) noexcept;
  double fail(tv_status_t status) noexcept;

  Mode mode_;
  size_t samples_;
  FunctionValues* results_;
  ValueType type_ = ValueType::unknown;
  LabelNumbers labels_;
  std::vector<Step> steps_;
  std::vector<size_t> operands_;
  std::unordered_multimap<size_t, size_t> by_hash_;  // the steps
  std::vector<Variable> variables_;
  std::vector<unsigned long long> epochs_;  // by level
  unsigned long long clock_ = 0;
  size_t stale_level_ = 0;  // variables of this level and above have changed
  tv_status_t status_ = tv_status_none;
};

// Where the expression is evaluated for an interval: the middles of `samples` equal parts, or one point that
// stands for an interval without an end.
class SamplePoints {
 public:
  SamplePoints(double low, double high, size_t samples) noexcept;
  size_t count() const noexcept { return count_; }
  double operator[](size_t k) const noexcept { return start_ + (static_cast<double>(k) + 0.5) * step_; }

 private:
  double start_, step_;
  size_t count_;
};
SamplePoints sample_points(const Node& node, size_t state, size_t samples) noexcept;

}  // namespace tv

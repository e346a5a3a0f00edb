// The values of real-valued function nodes, computed on demand from their parents.
#pragma once

#include <unordered_map>

#include "expr/expression.h"
#include "expr/results.h"

namespace tv {

// What has been computed for one purpose, so that functions of functions are computed once. A failure
// counts only where the value is needed.
class FunctionValues {
 public:
  // Computed from the results of the last propagation, or from others.
  explicit FunctionValues(const PropagationResults* results = nullptr) noexcept : results_(results) {}

  const PropagationResults& results_of(const Node& node) const noexcept {
    return results_ ? *results_ : tv::results_of(node);
  }

  // Of a node that stands for a number: a function's own value, or the result of any other node.
  tv_status_t number(Node& node, double& number);

  // Whether a parent of a function node, not a real-valued function itself, has the value that its kind asks
  // for.
  tv_status_t evaluate_parent(Node& parent);

 private:
  struct Outcome {
    tv_status_t status = tv_status_none;
    double value = 0;
  };

  const Outcome& function(Node& node);
  Outcome compute(Node& node);

  const PropagationResults* results_;
  std::unordered_map<const Node*, Outcome> known_;
};

// Whether an expression can state the table or the value of the node: it has the right type, and mentions
// only parents of the node.
bool suits(const Expression& expression, const Node& node);

// Whether any expression of the model mentions the node.
bool occurs(const Model& model, const Node* node);

// The index of the expression that a function node uses, by the states in which the results leave the model
// nodes.
tv_status_t known_model_index(const Model& model, const FunctionValues& values, size_t& index);

}  // namespace tv

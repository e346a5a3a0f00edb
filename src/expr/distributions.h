// The distributions that an expression can give, turned into the probabilities of the states of a node.
#pragma once

#include <vector>

#include "expr/operators.h"
#include "text/trace.h"

namespace tv {

// A standard distribution with its parameters, as one evaluation of an expression gave it.
struct DistributionValue {
  tv_operator_t op = tv_operator_normal;
  std::vector<double> parameters;  // in the order of the expression, those left out not there
  double low, high;                // where it is truncated
  bool truncated = false;
  Node* number = nullptr;   // of an aggregate: how many copies
  Node* summand = nullptr;  //   and of what
};

// The probabilities of the child's states, one for each. Its state values are known to be valid. What is
// wrong is logged: `invalid_expression`, `insufficient_state_range`, `inappropriate_arguments` or
// `computation_failed`. Not for aggregates.
tv_status_t distribution_masses(const DistributionValue& distribution, Node& child, Trace& trace,
                                double* masses);

// Logs that the child's states do not cover a range and gives `insufficient_state_range`.
tv_status_t report_insufficient_range(Node& child, double low, double high, const char* name, bool truncated,
                                      Trace& trace);

// The largest double and everything beyond it stand for infinity.
double with_infinity(double value) noexcept;

}  // namespace tv

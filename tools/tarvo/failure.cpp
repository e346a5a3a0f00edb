#include "failure.h"

namespace program {
namespace {

// For failures that the library has no message of its own for: its descriptions speak to programmers.
const char* words_for(tv_status_t status) {
  switch (status) {
    case tv_status_no_memory:
    case tv_status_size_too_large:
      return "there is not enough memory for this";
    case tv_status_io:
      return "reading or writing failed";
    case tv_status_inconsistency_or_underflow:
      return "the evidence is impossible";
    case tv_status_overflow:
      return "the numbers of the network are too large to calculate with";
    case tv_status_low_density:
      return "the density of the observed values is too low to calculate with";
    case tv_status_zero_variance:
      return "values were observed on nodes that determine each other exactly";
    case tv_status_fast_retraction:
      return "zeros in the tables or the evidence make fast retraction impossible";
    case tv_status_normalization:
      return "some distribution sums to zero";
    case tv_status_invalid_probability_potential:
      return "some table has a number that is no probability, or a distribution that sums to zero";
    case tv_status_chain_graph:
      return "the tables of undirected links sum to zero for some states of their parents";
    case tv_status_invalid_evidence:
      return "something is observed that a decision still to be made may influence";
    case tv_status_functional_dependency:
    case tv_status_cyclic_functional_dependency:
      return "function nodes stand between other nodes, where that is not possible";
    case tv_status_invalid_expression:
    case tv_status_syntax:
      return "a model has an expression that does not fit its node";
    case tv_status_division_by_zero:
      return "a model divides by zero";
    case tv_status_inappropriate_arguments:
      return "a function or distribution in a model has arguments that do not fit";
    case tv_status_computation_failed:
      return "a function or distribution in a model could not be computed";
    case tv_status_insufficient_state_range:
      return "the states of a node do not cover the distribution of its model";
    case tv_status_invalid_state_values:
      return "the values of a node's states do not increase";
    case tv_status_no_value:
      return "it has no value";
    case tv_status_usage:
      return "this is not possible here";
    case tv_status_parse:
      return "it is not written as it should be";
    default:
      return tv_error_name(static_cast<unsigned>(status));
  }
}

}  // namespace

std::string library_message() {
  const tv_status_t status = tv_error_code();
  const std::string message = tv_error_message();
  const bool knows_more = message != tv_error_description(static_cast<unsigned>(status));
  return knows_more && !message.empty() ? message : words_for(status);
}

void fail_with_status(const std::string& subject) {
  throw Failure(kFailed, subject + ": " + library_message());
}

}  // namespace program

// What hosts ask about sensitivity.
#include <algorithm>
#include <cmath>

#include "analysis/factors/factor_forest.h"
#include "analysis/sensitivity/derivative_pass.h"
#include "analysis/sensitivity/sensitivity.h"
#include "analysis/sensitivity/tuning.h"
#include "analysis/sensitivity/two_way.h"
#include "api/boundary.h"
#include "inference/answers/queries.h"
#include "network/refusals.h"

namespace tv {
namespace {

// ---- What may be analyzed ----

tv_status_t check_domain(const Domain& domain) {
  if (domain.counters.continuous > 0) return refuse(tv_status_usage, "the network has continuous nodes");
  return check_for_factors(domain);
}

tv_status_t check_hypothesis(const Node* node, size_t state) {
  if (!check(node)) return tv_status_usage;
  if (!is_state(node, state)) return refuse_state(node, state);
  if (tv_status_t status = check_domain(*node->domain)) return status;
  if (is_open(*node)) return tv_status_none;
  return refuse(tv_status_usage, "%s is observed, or has a single state: nothing can change it",
                shown_name(*node));
}

// One of its parameters; refuses others.
tv_status_t check_entry(const Domain& domain, const Node* node, size_t index) noexcept {
  if (!check(node && node->domain == &domain)) return tv_status_usage;
  if (!has_parameters(*node)) return refuse(tv_status_usage, "%s has no parameters", shown_name(*node));
  size_t size = node->number_of_states;
  for (const Node* parent : node->parents) size = size_multiply(size, parent->number_of_states);
  if (index < size) return tv_status_none;
  return refuse(tv_status_usage, "the table of %s has %zu entries", shown_name(*node), size);
}

using Analyze = std::unique_ptr<Sensitivity> (*)(Domain&);
Sensitivity* analyze(Domain* domain, Analyze function) {
  if (!check(domain) || check_domain(*domain)) return nullptr;
  std::unique_ptr<Sensitivity> result = function(*domain);
  if (result) result->sort_parameters();
  return result.release();
}

// ---- Parameters ----

const Parameter* checked(const Sensitivity* sensitivity, size_t index) noexcept {
  if (!check(sensitivity)) return nullptr;
  if (index < sensitivity->parameters.size()) return &sensitivity->parameters[index];
  return refuse(tv_status_usage, "there are %zu parameters", sensitivity->parameters.size()), nullptr;
}

struct Quotient {
  Line above, below;

  double at(double t) const noexcept {
    const double divisor = exact(below, t);
    // Where the evidence becomes impossible both lines end at zero, and their quotient is the same
    // everywhere.
    return divisor > 0.0 ? exact(above, t) / divisor : above.at(0.5) / below.at(0.5);
  }

  // What is left of two terms that cancel each other is rounding.
  static double exact(const Line& line, double t) noexcept {
    const double value = line.at(t);
    return std::abs(value) < 1e-13 * std::abs(line.at_zero) ? 0.0 : value;
  }
};

Quotient quotient_of(const Sensitivity& sensitivity, const Parameter& parameter) noexcept {
  const ParameterTable& table = sensitivity.table_of(parameter);
  const Line above = sensitivity.numerator(table, parameter.entry);
  if (sensitivity.kind == Sensitivity::Kind::evidence) return {above, {0.0, 1.0}};
  return {above, sensitivity.evidence(table, parameter.entry)};
}

// Keeps the part of [low, high] where a line is not negative.
void cut(const Line& line, double& low, double& high) noexcept {
  if (line.slope == 0.0) return;
  const double root = -line.at_zero / line.slope;
  if (line.slope > 0.0)
    low = std::max(low, std::min(root, high));
  else
    high = std::min(high, std::max(root, low));
}

void find_stable_interval(const Sensitivity& sensitivity, const Parameter& parameter, double& low,
                          double& high) noexcept {
  const std::vector<double>& lanes = sensitivity.lanes;
  const ParameterTable& table = sensitivity.table_of(parameter);
  const auto best = static_cast<size_t>(std::max_element(lanes.begin(), lanes.end()) - lanes.begin());
  const Line winner = sensitivity.lane(best, table, parameter.entry);
  low = 0.0;
  high = 1.0;
  for (size_t lane = 0; lane < lanes.size(); ++lane)
    if (lane != best) cut(winner - sensitivity.lane(lane, table, parameter.entry), low, high);
  low = std::min(low, table.values[parameter.entry]);
  high = std::max(high, table.values[parameter.entry]);
}

// ---- Tuning ----

tv_status_t check_goal(const Sensitivity& sensitivity, const TuningGoal& goal) noexcept {
  if (sensitivity.kind == Sensitivity::Kind::evidence)
    return refuse(tv_status_usage, "there is no hypothesis to be tuned");
  const bool has_other = goal.other_state != kNone;
  const bool has_states = sensitivity.kind == Sensitivity::Kind::hypothesis;
  if (has_other &&
      (!has_states || goal.other_state >= sensitivity.lanes.size() || goal.other_state == sensitivity.state))
    return refuse(tv_status_usage, "there is no such other state");
  if (!std::isfinite(goal.threshold)) return refuse(tv_status_usage, "the threshold is no number");
  const double least = has_other ? -1.0 : 0.0;
  if (has_states && !(goal.threshold >= least && goal.threshold <= 1.0))
    return refuse(tv_status_usage, "the threshold, %g, is not in [%g, 1]", goal.threshold, least);
  return tv_status_none;
}

tv_status_t refuse_goal() noexcept { return refuse(tv_status_no_value, "no change of it reaches the goal"); }

}  // namespace
}  // namespace tv

// ---- Analyses ----

tv_sensitivity_t* tv_node_analyze_sensitivity(tv_node_t* node, size_t state) {
  return tv::guarded<tv_sensitivity_t*>(nullptr, [&]() -> tv_sensitivity_t* {
    if (tv::check_hypothesis(node, state)) return nullptr;
    auto result = tv::analyze_hypothesis(*node->domain, *node, state);
    if (result) result->sort_parameters();
    return result.release();
  });
}

tv_sensitivity_t* tv_domain_analyze_utility_sensitivity(tv_domain_t* domain) {
  return tv::guarded<tv_sensitivity_t*>(nullptr, [&]() -> tv_sensitivity_t* {
    if (!tv::check(domain)) return nullptr;
    if (domain->counters.utility > 0) return tv::analyze(domain, tv::analyze_utility);
    return tv::refuse(tv_status_usage, "the network has no utility nodes"), nullptr;
  });
}

tv_sensitivity_t* tv_domain_analyze_evidence_sensitivity(tv_domain_t* domain) {
  return tv::guarded<tv_sensitivity_t*>(nullptr, [&] { return tv::analyze(domain, tv::analyze_evidence); });
}

tv_status_t tv_node_get_two_way_sensitivity(tv_node_t* node, size_t state, const tv_node_t* node1,
                                            size_t index1, const tv_node_t* node2, size_t index2,
                                            double* numerator, double* denominator) {
  return tv::guarded([&]() -> tv_status_t {
    if (tv_status_t status = tv::check_hypothesis(node, state)) return status;
    if (!tv::check(node1 && node2 && numerator && denominator)) return tv_status_usage;
    if (tv_status_t status = tv::check_entry(*node->domain, node1, index1)) return status;
    if (tv_status_t status = tv::check_entry(*node->domain, node2, index2)) return status;
    if (node1 == node2 && index1 == index2)
      return tv::refuse(tv_status_twice, "both parameters are the same one");
    tv::TwoWayFunction function;
    if (tv_status_t status =
            tv::find_two_way(*node->domain, *node, state, {node1, index1}, {node2, index2}, function))
      return status;
    std::copy(function.numerator.begin(), function.numerator.end(), numerator);
    std::copy(function.denominator.begin(), function.denominator.end(), denominator);
    return tv_status_none;
  });
}

tv_status_t tv_sensitivity_delete(tv_sensitivity_t* sensitivity) {
  if (!tv::check(sensitivity)) return tv_status_usage;
  delete sensitivity;
  return tv_status_none;
}

// ---- Results ----

double tv_sensitivity_get_value(const tv_sensitivity_t* sensitivity) {
  return tv::check(sensitivity) ? sensitivity->value() : -1;
}

size_t tv_sensitivity_get_number_of_parameters(const tv_sensitivity_t* sensitivity) {
  return tv::check(sensitivity) ? sensitivity->parameters.size() : tv::kNone;
}

size_t tv_sensitivity_find_parameter(const tv_sensitivity_t* sensitivity, const tv_node_t* node,
                                     size_t index) {
  if (!tv::check(sensitivity && node)) return tv::kNone;
  const tv::ParameterTable* const table = sensitivity->find(*node);
  if (table && index < table->size()) return table->positions[index];
  return tv::refuse(tv_status_usage, "this is not one of the parameters"), tv::kNone;
}

tv_node_t* tv_sensitivity_get_node(const tv_sensitivity_t* sensitivity, size_t index) {
  const tv::Parameter* const parameter = tv::checked(sensitivity, index);
  return parameter ? sensitivity->table_of(*parameter).node : nullptr;
}

size_t tv_sensitivity_get_table_index(const tv_sensitivity_t* sensitivity, size_t index) {
  const tv::Parameter* const parameter = tv::checked(sensitivity, index);
  return parameter ? parameter->entry : tv::kNone;
}

double tv_sensitivity_get_parameter(const tv_sensitivity_t* sensitivity, size_t index) {
  const tv::Parameter* const parameter = tv::checked(sensitivity, index);
  return parameter ? sensitivity->table_of(*parameter).values[parameter->entry] : -1;
}

double tv_sensitivity_get_derivative(const tv_sensitivity_t* sensitivity, size_t index) {
  const tv::Parameter* const parameter = tv::checked(sensitivity, index);
  return parameter ? parameter->derivative : -1;
}

double tv_sensitivity_get_evidence_derivative(const tv_sensitivity_t* sensitivity, size_t index) {
  const tv::Parameter* const parameter = tv::checked(sensitivity, index);
  if (!parameter) return -1;
  const tv::ParameterTable& table = sensitivity->table_of(*parameter);
  const bool has_states = sensitivity->kind == tv::Sensitivity::Kind::hypothesis;
  double sum = 0.0;
  for (size_t lane = 0; lane < (has_states ? sensitivity->lanes.size() : 1); ++lane)
    sum += table.derivatives[lane * table.size() + parameter->entry];
  return sum;
}

tv_status_t tv_sensitivity_get_constants(const tv_sensitivity_t* sensitivity, size_t index,
                                         double* constants) {
  if (!tv::check(constants)) return tv_status_usage;
  const tv::Parameter* const parameter = tv::checked(sensitivity, index);
  if (!parameter) return tv_status_usage;
  const tv::Quotient quotient = tv::quotient_of(*sensitivity, *parameter);
  constants[0] = quotient.above.slope;
  constants[1] = quotient.above.at_zero;
  constants[2] = quotient.below.slope;
  constants[3] = quotient.below.at_zero;
  return tv_status_none;
}

double tv_sensitivity_compute_value_at(const tv_sensitivity_t* sensitivity, size_t index, double value) {
  const tv::Parameter* const parameter = tv::checked(sensitivity, index);
  if (!parameter) return -1;
  if (value >= 0.0 && value <= 1.0) return tv::quotient_of(*sensitivity, *parameter).at(value);
  return tv::refuse(tv_status_usage, "a parameter lies between 0 and 1, not at %g", value), -1;
}

tv_status_t tv_sensitivity_get_range(const tv_sensitivity_t* sensitivity, size_t index, double* low,
                                     double* high) {
  if (!tv::check(low && high)) return tv_status_usage;
  const tv::Parameter* const parameter = tv::checked(sensitivity, index);
  if (!parameter) return tv_status_usage;
  const tv::Quotient quotient = tv::quotient_of(*sensitivity, *parameter);
  const double at_zero = quotient.at(0.0), at_one = quotient.at(1.0);
  *low = std::min(at_zero, at_one);
  *high = std::max(at_zero, at_one);
  return tv_status_none;
}

tv_status_t tv_sensitivity_get_stable_interval(const tv_sensitivity_t* sensitivity, size_t index, double* low,
                                               double* high) {
  if (!tv::check(low && high)) return tv_status_usage;
  const tv::Parameter* const parameter = tv::checked(sensitivity, index);
  if (!parameter) return tv_status_usage;
  if (sensitivity->kind != tv::Sensitivity::Kind::hypothesis)
    return tv::refuse(tv_status_usage, "there is no hypothesis with states");
  tv::find_stable_interval(*sensitivity, *parameter, *low, *high);
  return tv_status_none;
}

// ---- Tuning ----

tv_status_t tv_sensitivity_tune_parameter(const tv_sensitivity_t* sensitivity, size_t index,
                                          size_t other_state, double threshold, double* value) {
  if (!tv::check(value)) return tv_status_usage;
  const tv::Parameter* const parameter = tv::checked(sensitivity, index);
  if (!parameter) return tv_status_usage;
  const tv::TuningGoal goal = {other_state, threshold};
  if (tv_status_t status = tv::check_goal(*sensitivity, goal)) return status;
  const tv::ParameterTable& table = sensitivity->table_of(*parameter);
  double tuned = 0.0;
  if (!tv::tune_parameter(*sensitivity, table, parameter->entry, goal, tuned)) return tv::refuse_goal();
  *value = tuned;
  return tv_status_none;
}

tv_status_t tv_sensitivity_tune_distribution(const tv_sensitivity_t* sensitivity, size_t index,
                                             size_t other_state, double threshold, double* distribution,
                                             double* distance) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(distribution && distance)) return tv_status_usage;
    const tv::Parameter* const parameter = tv::checked(sensitivity, index);
    if (!parameter) return tv_status_usage;
    const tv::TuningGoal goal = {other_state, threshold};
    if (tv_status_t status = tv::check_goal(*sensitivity, goal)) return status;
    const tv::ParameterTable& table = sensitivity->table_of(*parameter);
    const size_t first = parameter->entry - parameter->entry % table.states;
    std::vector<double> tuned(table.states);
    double moved = 0.0;
    if (!tv::tune_distribution(*sensitivity, table, first, goal, tuned.data(), moved))
      return tv::refuse_goal();
    std::copy(tuned.begin(), tuned.end(), distribution);
    *distance = moved;
    return tv_status_none;
  });
}

#include "analysis/sensitivity/tuning.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace tv {
namespace {

constexpr double kRounding = 1e-12;

// The goal is reached where this is not negative.
Line margin(const Sensitivity& sensitivity, const ParameterTable& table, size_t entry,
            const TuningGoal& goal) {
  Line line = sensitivity.numerator(table, entry);
  if (goal.other_state != static_cast<size_t>(-1))
    line = line - sensitivity.lane(goal.other_state, table, entry);
  return line - goal.threshold * sensitivity.evidence(table, entry);
}

// The same for a lane's weight, by entry of a distribution, and for what does not depend on it.
struct Weights {
  std::vector<double> entries;
  double elsewhere = 0.0;
};

Weights weights_of(const Sensitivity& sensitivity, const ParameterTable& table, size_t first,
                   const TuningGoal& goal) {
  Weights weights{std::vector<double>(table.states), 0.0};
  const auto add = [&](size_t lane, double factor) {
    const double* const derivatives = table.derivatives.data() + lane * table.size() + first;
    double elsewhere = sensitivity.lanes[lane];
    for (size_t s = 0; s < table.states; ++s) {
      weights.entries[s] += factor * derivatives[s];
      elsewhere -= table.values[first + s] * derivatives[s];
    }
    weights.elsewhere += factor * elsewhere;
  };
  const bool is_hypothesis = sensitivity.kind == Sensitivity::Kind::hypothesis;
  add(is_hypothesis ? sensitivity.state : sensitivity.lanes.size() - 1, 1.0);
  if (goal.other_state != static_cast<size_t>(-1)) add(goal.other_state, -1.0);
  for (size_t lane = 0; lane < (is_hypothesis ? sensitivity.lanes.size() : 1); ++lane)
    add(lane, -goal.threshold);
  return weights;
}

}  // namespace

bool tune_parameter(const Sensitivity& sensitivity, const ParameterTable& table, size_t entry,
                    const TuningGoal& goal, double& value) {
  const Line line = margin(sensitivity, table, entry, goal);
  const double present = table.values[entry];
  if (line.at(present) >= 0.0) {
    value = present;
    return true;
  }
  if (line.slope == 0.0) return false;
  double root = -line.at_zero / line.slope;
  if (root < 0.0 && root > -kRounding) root = 0.0;
  if (root > 1.0 && root < 1.0 + kRounding) root = 1.0;
  if (!(root >= 0.0 && root <= 1.0)) return false;
  value = root;
  return sensitivity.evidence(table, entry).at(root) > kRounding;
}

// Of all changes of the same distance, the one that goes furthest multiplies the entries with the largest
// weights by the same factor; which ones and how much follows for each number of them.
bool tune_distribution(const Sensitivity& sensitivity, const ParameterTable& table, size_t first,
                       const TuningGoal& goal, double* distribution, double& distance) {
  const Weights weights = weights_of(sensitivity, table, first, goal);
  const double* const values = table.values.data() + first;
  std::vector<size_t> order(table.states);
  std::iota(order.begin(), order.end(), size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](size_t a, size_t b) { return weights.entries[a] > weights.entries[b]; });
  const auto weight = [&](size_t s) { return (weights.entries[s] + weights.elsewhere) * values[s]; };
  double rest = 0.0;
  for (size_t s = 0; s < table.states; ++s) rest += weight(s);
  double best = rest >= 0.0 ? 1.0 : std::numeric_limits<double>::infinity(), raised = 0.0;
  size_t best_count = 0;
  for (size_t count = 1; count < table.states && best > 1.0; ++count) {
    raised += weight(order[count - 1]);
    rest -= weight(order[count - 1]);
    if (raised > 0.0 && -rest / raised < best) {
      best = std::max(-rest / raised, 1.0);
      best_count = count;
    }
  }
  if (!std::isfinite(best)) return false;
  double sum = 0.0;
  for (size_t s = 0; s < table.states; ++s) distribution[s] = values[s];
  for (size_t i = 0; i < best_count; ++i) distribution[order[i]] *= best;
  for (size_t s = 0; s < table.states; ++s) sum += distribution[s];
  for (size_t s = 0; s < table.states; ++s) distribution[s] /= sum;
  distance = std::log(best);
  return true;
}

}  // namespace tv

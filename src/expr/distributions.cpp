#include "expr/distributions.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "expr/special_functions.h"
#include "network/node_operations.h"
#include "network/refusals.h"

namespace tv {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kLargestExact = 9007199254740992.0;  // 2^53: from here on doubles skip whole numbers
constexpr double kSmallestMass = std::numeric_limits<double>::min();

// One distribution over one child: what all procedures share.
struct Task {
  const DistributionValue& distribution;
  Node& child;
  Trace& trace;
  double* masses;

  const char* name() const noexcept { return operator_info(distribution.op).name; }
  size_t count() const noexcept { return distribution.parameters.size(); }
  double parameter(size_t i) const noexcept { return distribution.parameters[i]; }
  double parameter_or(size_t i, double otherwise) const noexcept {
    return i < count() ? parameter(i) : otherwise;
  }
  double value(size_t state) const noexcept { return with_infinity(state_value(child, state)); }

  // Logs "text (observed: ...)" with the names and values of some parameters.
  tv_status_t refuse(const char* text, std::initializer_list<const char*> labels, const char* separator,
                     const char* close, size_t first = 0) const noexcept {
    trace.print("%s (observed: ", text);
    size_t i = first;
    for (const char* label : labels) {
      trace.print("%s%s%s", i == first ? "" : separator, label, NumberText(parameter(i)).c_str());
      ++i;
    }
    trace.print("%s)\n", close);
    return tv_status_inappropriate_arguments;
  }
};

// ---- Continuous distributions ----

// A distribution function with its support.
struct Continuous {
  tv_operator_t op;
  double a = 0, b = 1, c = 0;  // what `tails` needs, by operator
  double low = -kInfinity, high = kInfinity;
  bool failed = false;  // an incomplete function did not converge

  Tails tails(double x) {
    if (x <= low) return {0, 1};
    if (x >= high) return {1, 0};
    switch (op) {
      case tv_operator_normal:
        return normal_tails((x - a) / b);
      case tv_operator_log_normal:
        return normal_tails((std::log(x - low) - a) / b);
      case tv_operator_gamma:
        return incomplete([&](Tails& t) { return gamma_tails(a, (x - low) / b, t); });
      case tv_operator_exponential:
      case tv_operator_weibull: {
        const double power = a == 1 ? (x - low) / b : std::pow((x - low) / b, a);
        return {-std::expm1(-power), std::exp(-power)};
      }
      case tv_operator_uniform:
        return {(x - low) / (high - low), (high - x) / (high - low)};
      case tv_operator_triangular:
        return triangular(x);
      default:  // Beta, and PERT as one
        return incomplete([&](Tails& t) {
          return beta_tails(a, b, (x - low) / (high - low), (high - x) / (high - low), t);
        });
    }
  }

 private:
  template <class Compute>
  Tails incomplete(Compute compute) {
    Tails tails;
    if (!compute(tails)) failed = true;
    return tails;
  }

  // The mode is `c`.
  Tails triangular(double x) const noexcept {
    if (x < c) {
      const double below = (x - low) / (high - low) * ((x - low) / (c - low));
      return {below, 1 - below};
    }
    const double above = (high - x) / (high - low) * ((high - x) / (high - c));
    return {1 - above, above};
  }
};

tv_status_t make_beta(const Task& task, Continuous& made) {
  made.a = task.parameter(0);
  made.b = task.parameter(1);
  made.low = task.parameter_or(2, 0);
  made.high = task.parameter_or(3, 1);
  if (!(made.a > 0 && made.b > 0))
    return task.refuse("Beta distribution (shape) parameters must be positive", {"", ""}, " and ", "");
  if (!(made.low < made.high))
    return task.refuse("Beta distribution: Interval must have positive length", {"[", ""}, ", ", "]", 2);
  return tv_status_none;
}

tv_status_t make_pert(const Task& task, Continuous& made) {
  made.low = task.parameter(0);
  made.high = task.parameter(2);
  const double mode = task.parameter(1), shape = task.parameter_or(3, 4);
  if (!(made.low < mode && mode < made.high))
    return task.refuse("PERT parameters must obey a < m < b", {"a = ", "m = ", "b = "}, ", ", "");
  if (!(shape > 0))
    return task.refuse("The fourth parameter of a PERT distribution must be positive", {""}, "", "", 3);
  made.a = 1 + shape * ((mode - made.low) / (made.high - made.low));
  made.b = 1 + shape * ((made.high - mode) / (made.high - made.low));
  return tv_status_none;
}

// The parameters are finite.
tv_status_t make_continuous(const Task& task, Continuous& made) {
  made.op = task.distribution.op;
  const double first = task.parameter(0), second = task.parameter_or(1, 0);
  switch (made.op) {
    case tv_operator_normal:
      if (!(second > 0))
        return task.refuse("Variance for a Normal distribution must be positive", {""}, "", "", 1);
      made.a = first;
      made.b = std::sqrt(second);
      return tv_status_none;
    case tv_operator_log_normal:
      if (!(second > 0))
        return task.refuse("The variance parameter of a LogNormal distribution must be positive", {""}, "",
                           "", 1);
      made.a = first;
      made.b = std::sqrt(second);
      made.low = task.parameter_or(2, 0);
      return tv_status_none;
    case tv_operator_beta:
      return make_beta(task, made);
    case tv_operator_gamma:
      if (!(first > 0 && second > 0))
        return task.refuse("Gamma distribution parameters must be positive", {"shape = ", "scale = "}, ", ",
                           "");
      made.a = first;
      made.b = second;
      made.low = task.parameter_or(2, 0);
      return tv_status_none;
    case tv_operator_exponential:
      if (!(first > 0))
        return task.refuse("Exponential distribution parameter must be positive", {""}, "", "");
      made.a = 1;
      made.b = 1 / first;
      made.low = second;
      return tv_status_none;
    case tv_operator_weibull:
      if (!(first > 0 && second > 0))
        return task.refuse("Weibull distribution parameters must be positive", {"a = ", "b = "}, ", ", "");
      made.a = first;
      made.b = second;
      made.low = task.parameter_or(2, 0);
      return tv_status_none;
    case tv_operator_uniform:
      made.low = first;
      made.high = second;
      if (first < second) return tv_status_none;
      return task.refuse("Uniform distribution: Interval must have positive length", {"[", ""}, ", ", "]");
    case tv_operator_triangular:
      made.low = first;
      made.c = second;
      made.high = task.parameter(2);
      if (first <= second && second <= made.high && first < made.high) return tv_status_none;
      return task.refuse("Triangular distribution parameters must obey a <= m <= b and a < b",
                         {"a = ", "m = ", "b = "}, ", ", "");
    default:
      return make_pert(task, made);
  }
}

tv_status_t refuse_truncation(const Task& task) noexcept {
  task.trace.print("Invalid truncation of the %s distribution (insufficient probability mass)\n",
                   task.name());
  return tv_status_invalid_expression;
}

tv_status_t report_no_convergence(const Task& task) noexcept {
  if (task.distribution.op == tv_operator_gamma)
    task.trace.print("Computation failed for gamma distribution with parameters: shape = %s, scale = %s\n",
                     NumberText(task.parameter(0)).c_str(), NumberText(task.parameter(1)).c_str());
  return tv_status_computation_failed;
}

tv_status_t continuous_masses(const Task& task) {
  if (task.child.subtype != tv_subtype_interval) {
    task.trace.print("The %s distribution can only be applied to interval nodes\n", task.name());
    return tv_status_invalid_expression;
  }
  Continuous function;
  if (tv_status_t status = make_continuous(task, function)) return status;
  double low = function.low, high = function.high;
  if (task.distribution.truncated) {
    low = std::max(low, task.distribution.low);
    high = std::min(high, task.distribution.high);
    if (!(low < high)) return refuse_truncation(task);
  }
  const size_t states = task.child.number_of_states;
  if (task.value(0) > low || task.value(states) < high)
    return report_insufficient_range(task.child, low, high, task.name(), task.distribution.truncated,
                                     task.trace);
  Tails from = function.tails(low);
  const double whole = mass_between(from, function.tails(high));
  if (!function.failed && !(whole >= kSmallestMass)) return refuse_truncation(task);
  for (size_t state = 0; state < states; ++state) {
    const Tails to = function.tails(std::clamp(task.value(state + 1), low, high));
    task.masses[state] = mass_between(from, to);
    from = to;
  }
  if (whole != 1)
    for (size_t state = 0; state < states; ++state) task.masses[state] /= whole;
  return function.failed ? report_no_convergence(task) : tv_status_none;
}

// ---- Distributions of counts ----

struct Counting {
  tv_operator_t op;
  double a = 0, p = 0;  // n, r or the mean; the probability
  double last = kInfinity;
  bool failed = false;

  double mass_at(double k) const noexcept {
    switch (op) {
      case tv_operator_binomial:
        return binomial_density(k, a, p, 1 - p);
      case tv_operator_poisson:
        return poisson_density(k, a);
      case tv_operator_negative_binomial:
        return k == 0 ? std::pow(p, a) : a / (a + k) * binomial_density(k, a + k, 1 - p, p);
      default:
        return k == 0 ? p : p * std::exp(k * std::log1p(-p));
    }
  }

  // Up to k, and beyond it.
  Tails tails(double k) noexcept {
    Tails tails;
    if (k < 0) return tails;
    if (k >= last) return {1, 0};
    switch (op) {
      case tv_operator_binomial:
        failed |= !beta_tails(a - k, k + 1, 1 - p, p, tails);
        return tails;
      case tv_operator_poisson:
        failed |= !gamma_tails(k + 1, a, tails);
        return {tails.above, tails.below};
      case tv_operator_negative_binomial:
        failed |= !beta_tails(a, k + 1, p, 1 - p, tails);
        return tails;
      default: {
        const double logarithm = (k + 1) * std::log1p(-p);
        return {-std::expm1(logarithm), std::exp(logarithm)};
      }
    }
  }

  double mass(double first_number, double last_number) noexcept {
    if (!(first_number <= last_number) || std::isinf(first_number)) return 0;
    const bool are_few = last_number - first_number < 32 && last_number < kLargestExact;
    if (!are_few) return mass_between(tails(first_number - 1), tails(last_number));
    double sum = 0;
    for (double k = first_number; k <= last_number; ++k) sum += mass_at(k);
    return sum;
  }
};

bool is_probability(double p) noexcept { return p >= 0 && p <= 1; }

tv_status_t make_counting(const Task& task, Counting& made) {
  made.op = task.distribution.op;
  made.a = task.parameter(0);
  made.p = task.parameter_or(1, 0);
  switch (made.op) {
    case tv_operator_binomial:
      made.last = made.a;
      if (made.a >= 0 && made.a == std::floor(made.a) && is_probability(made.p)) return tv_status_none;
      return task.refuse("Binomial distribution parameters must obey n = 0, 1, 2, ... and 0 <= p <= 1",
                         {"n = ", "p = "}, ", ", "");
    case tv_operator_poisson:
      if (made.a >= 0) return tv_status_none;
      return task.refuse("Poisson distribution parameter must be nonnegative", {""}, "", "");
    case tv_operator_negative_binomial:
      if (made.a > 0 && made.p > 0 && made.p <= 1) return tv_status_none;
      return task.refuse("NegativeBinomial distribution parameters must obey r > 0 and 0 < p <= 1",
                         {"r = ", "p = "}, ", ", "");
    default:
      made.p = made.a;
      if (made.p > 0 && made.p <= 1) return tv_status_none;
      return task.refuse("Geometric distribution parameter must obey 0 < p <= 1", {""}, "", "");
  }
}

// The numbers that belong to a state: `next` is the first one behind them. An interval holds its lower
// bound, the last one also the upper.
struct Numbers {
  double first, last, next;
};

Numbers numbers_of_state(const Task& task, size_t state) noexcept {
  const double lower = task.value(state);
  if (task.child.subtype == tv_subtype_number) {
    if (lower != std::floor(lower)) return {lower, lower - 1, std::ceil(lower)};  // none
    return {lower, lower, lower + 1};
  }
  const double upper = task.value(state + 1);
  const bool is_last = state + 1 == task.child.number_of_states;
  const double last = is_last ? std::floor(upper) : std::ceil(upper) - 1;
  return {std::ceil(lower), last, last + 1};
}

tv_status_t counting_masses(const Task& task) {
  if (task.child.subtype != tv_subtype_interval && task.child.subtype != tv_subtype_number) {
    task.trace.print("The %s distribution can only be applied to numbered or interval nodes\n", task.name());
    return tv_status_invalid_expression;
  }
  Counting law;
  if (tv_status_t status = make_counting(task, law)) return status;
  double low = 0, high = law.last;
  if (task.distribution.truncated) {
    low = std::max(low, std::ceil(task.distribution.low));
    high = std::min(high, std::floor(task.distribution.high));
  }
  const double whole = law.mass(low, high);
  if (!law.failed && !(whole >= kSmallestMass)) return refuse_truncation(task);

  double next = low;  // the numbers before it are accounted for
  bool covered = true;
  for (size_t state = 0; state < task.child.number_of_states; ++state) {
    const Numbers numbers = numbers_of_state(task, state);
    if (law.mass(next, std::min(std::ceil(numbers.first) - 1, high)) >= kSmallestMass) covered = false;
    task.masses[state] = law.mass(std::max(numbers.first, low), std::min(numbers.last, high)) / whole;
    next = std::max(next, numbers.next);
  }
  if (law.mass(next, high) >= kSmallestMass) covered = false;
  if (law.failed) return tv_status_computation_failed;
  if (covered) return tv_status_none;
  return report_insufficient_range(task.child, low, high, task.name(), task.distribution.truncated,
                                   task.trace);
}

// ---- Distributions given state by state ----

tv_status_t refuse_truncated(const Task& task) noexcept {
  task.trace.print("Truncation is not supported for the %s distribution\n", task.name());
  return tv_status_invalid_expression;
}

tv_status_t weighted_masses(const Task& task) {
  if (task.distribution.truncated) return refuse_truncated(task);
  if (task.count() != task.child.number_of_states) {
    task.trace.text("The number of arguments of a Distribution expression must match the number of states\n");
    return tv_status_invalid_expression;
  }
  double largest = 0;
  for (size_t state = 0; state < task.count(); ++state) {
    if (task.parameter(state) < 0) {
      task.trace.print("Negative value in Distribution expression (state %zu)\n", state);
      return tv_status_inappropriate_arguments;
    }
    largest = std::max(largest, task.parameter(state));
  }
  if (!(largest > 0)) {
    task.trace.text("At least one argument of a Distribution expression must be positive\n");
    return tv_status_inappropriate_arguments;
  }
  double sum = 0;  // of weights as parts of the largest, so that it cannot overflow
  for (size_t state = 0; state < task.count(); ++state)
    sum += task.masses[state] = task.parameter(state) / largest;
  for (size_t state = 0; state < task.count(); ++state) task.masses[state] /= sum;
  return tv_status_none;
}

tv_status_t noisy_or_masses(const Task& task) {
  if (task.distribution.truncated) return refuse_truncated(task);
  if (task.child.subtype != tv_subtype_boolean) {
    task.trace.text("A NoisyOR distribution can only be applied to boolean nodes\n");
    return tv_status_invalid_expression;
  }
  double all_inhibited = 1;
  for (size_t i = 0; i < task.count(); i += 2) {
    if (!is_probability(task.parameter(i + 1))) return tv_status_inappropriate_arguments;
    if (task.parameter(i) != 0) all_inhibited *= task.parameter(i + 1);
  }
  task.masses[0] = all_inhibited;
  task.masses[1] = 1 - all_inhibited;
  return tv_status_none;
}

}  // namespace

double with_infinity(double value) noexcept {
  constexpr double largest = std::numeric_limits<double>::max();
  return value >= largest ? kInfinity : value <= -largest ? -kInfinity : value;
}

tv_status_t report_insufficient_range(Node& child, double low, double high, const char* name, bool truncated,
                                      Trace& trace) {
  const std::string from = std::isinf(low) ? "(-inf, " : std::string("[") + NumberText(low).c_str() + ", ";
  const std::string to = std::isinf(high) ? "inf)" : std::string(NumberText(high).c_str()) + "]";
  const char* kind = truncated ? "truncated " : "";
  if (trace.enabled())
    trace.print("Node %s: State range must include %s%s for %s%s distribution\n", name_of(child),
                from.c_str(), to.c_str(), kind, name);
  return refuse(tv_status_insufficient_state_range,
                "the states of node \"%s\" must cover %s%s for its %s%s distribution", shown_name(child),
                from.c_str(), to.c_str(), kind, name);
}

tv_status_t distribution_masses(const DistributionValue& distribution, Node& child, Trace& trace,
                                double* masses) {
  const Task task{distribution, child, trace, masses};
  for (const double parameter : distribution.parameters)
    if (!std::isfinite(parameter)) return tv_status_computation_failed;
  if (distribution.op <= tv_operator_pert) return continuous_masses(task);
  if (distribution.op <= tv_operator_geometric) return counting_masses(task);
  return distribution.op == tv_operator_distribution ? weighted_masses(task) : noisy_or_masses(task);
}

}  // namespace tv

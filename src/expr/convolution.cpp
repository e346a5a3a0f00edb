// A distribution over intervals is a list of spans with their probabilities. The sum of two spans is the span
// of the sums of their ends; equal spans are merged, so that equally wide intervals stay few, and when
// unequal ones become too many, neighbours are joined into one span that keeps their mean.
#include "expr/convolution.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "expr/evaluator.h"
#include "expr/results.h"
#include "expr/state_values.h"
#include "network/node_operations.h"

namespace tv {
namespace {

constexpr size_t kMaxSpans = 4000;
constexpr double kMaxCopies = 100000;

struct Span {
  double low, high, probability;
};

// Ends that differ by rounding alone count as equal.
bool are_equal(const Span& a, const Span& b) noexcept {
  const double tolerance = 1e-12 * (1 + std::fabs(a.low) + std::fabs(a.high));
  return std::fabs(a.low - b.low) <= tolerance && std::fabs(a.high - b.high) <= tolerance;
}

Span joined(const Span& a, const Span& b) noexcept {
  const double probability = a.probability + b.probability;
  const double part = probability > 0 ? a.probability / probability : 0.5;
  return {part * a.low + (1 - part) * b.low, part * a.high + (1 - part) * b.high, probability};
}

void merge_equal(std::vector<Span>& spans) {
  std::sort(spans.begin(), spans.end(),
            [](const Span& a, const Span& b) { return a.low != b.low ? a.low < b.low : a.high < b.high; });
  size_t kept = 0;
  for (const Span& span : spans) {
    if (kept > 0 && are_equal(spans[kept - 1], span))
      spans[kept - 1].probability += span.probability;
    else
      spans[kept++] = span;
  }
  spans.resize(kept);
}

void join_neighbors(std::vector<Span>& spans) {
  while (spans.size() > kMaxSpans) {
    const size_t pairs = spans.size() / 2;
    for (size_t i = 0; i < pairs; ++i) spans[i] = joined(spans[2 * i], spans[2 * i + 1]);
    if (spans.size() % 2) spans[pairs] = spans.back();
    spans.resize(spans.size() - pairs);
  }
}

std::vector<Span> convolution(const std::vector<Span>& sums, const std::vector<Span>& summand) {
  std::vector<Span> result;
  for (const Span& b : summand) {
    for (const Span& a : sums)
      result.push_back({a.low + b.low, a.high + b.high, a.probability * b.probability});
    if (result.size() > 8 * kMaxSpans) merge_equal(result);
  }
  merge_equal(result);
  join_neighbors(result);
  return result;
}

// The intervals of the node; one without an end counts as the point that stands for it.
std::vector<Span> spans_of(const Node& node, const std::vector<double>& beliefs) {
  std::vector<Span> spans;
  for (size_t state = 0; state < beliefs.size(); ++state) {
    if (!(beliefs[state] > 0)) continue;
    const double low = with_infinity(state_value(node, state));
    const double high = with_infinity(state_value(node, state + 1));
    const double point = SamplePoints(low, high, 1)[0];
    const bool is_bounded = std::isfinite(low) && std::isfinite(high);
    spans.push_back({is_bounded ? low : point, is_bounded ? high : point, beliefs[state]});
  }
  return spans;
}

// The intervals of the child, to which sums are handed out.
class Receiver {
 public:
  Receiver(const Node& child, double* masses) : masses_(masses) {
    for (size_t i = 0; i <= child.number_of_states; ++i)
      bounds_.push_back(with_infinity(state_value(child, i)));
    std::fill_n(masses_, child.number_of_states, 0.0);
  }

  void take(const Span& span, double weight) noexcept {
    low_ = std::min(low_, span.low);
    high_ = std::max(high_, span.high);
    const size_t states = bounds_.size() - 1;
    for (size_t i = 0; i < states; ++i) {
      const double part = std::min(span.high, bounds_[i + 1]) - std::max(span.low, bounds_[i]);
      if (span.low < span.high) {
        if (part > 0) masses_[i] += weight * span.probability * (part / (span.high - span.low));
      } else if (bounds_[i] <= span.low && (span.low < bounds_[i + 1] || (i + 1 == states && part == 0))) {
        masses_[i] += weight * span.probability;
      }
    }
  }

  bool covers() const noexcept { return bounds_.front() <= low_ && high_ <= bounds_.back(); }
  double low() const noexcept { return low_; }
  double high() const noexcept { return high_; }

 private:
  std::vector<double> bounds_;
  double* masses_;
  double low_ = std::numeric_limits<double>::infinity(), high_ = -low_;  // of everything taken
};

bool is_count(double value) noexcept {
  return value >= 0 && value <= kMaxCopies && value == std::floor(value);
}

tv_status_t refuse(const char* kind, Node& node, Trace& trace) {
  if (trace.enabled()) trace.print("Aggregate distribution: `%s' must be %s node.\n", name_of(node), kind);
  return tv_status_invalid_expression;
}

tv_status_t check_nodes(Node& number, Node& summand, Node& child, Trace& trace) {
  if (child.category != tv_category_function || child.subtype != tv_subtype_interval) {
    trace.text("Aggregate distributions are only valid for interval discrete function nodes\n");
    return tv_status_invalid_expression;
  }
  if (number.subtype != tv_subtype_number) return refuse("a numbered", number, trace);
  if (summand.subtype != tv_subtype_interval) return refuse("an interval", summand, trace);
  for (Node* node : {&child, &number, &summand})
    if (tv_status_t status = check_state_values(*node, trace)) return status;
  for (size_t state = 0; state < number.number_of_states; ++state)
    if (!is_count(state_value(number, state))) return tv_status_invalid_state_values;
  return tv_status_none;
}

}  // namespace

tv_status_t aggregate_masses(const DistributionValue& aggregate, Node& child, Trace& trace, double* masses) {
  if (aggregate.truncated) {
    trace.text("Truncation is not supported for the aggregate distribution\n");
    return tv_status_invalid_expression;
  }
  Node& number = *aggregate.number;
  if (tv_status_t status = check_nodes(number, *aggregate.summand, child, trace)) return status;
  const PropagationResults& results = results_of(number);
  std::vector<double> counts, beliefs;
  if (tv_status_t status = results.beliefs(number, counts)) return status;
  if (tv_status_t status = results.beliefs(*aggregate.summand, beliefs)) return status;

  const std::vector<Span> summand = spans_of(*aggregate.summand, beliefs);
  std::vector<Span> sums{{0, 0, 1}};
  double copies = 0;  // in `sums`
  Receiver receiver(child, masses);
  for (size_t state = 0; state < counts.size(); ++state) {  // in increasing order
    if (!(counts[state] > 0)) continue;
    for (; copies < state_value(number, state); ++copies) sums = convolution(sums, summand);
    for (const Span& span : sums) receiver.take(span, counts[state]);
  }
  if (receiver.covers()) return tv_status_none;
  return report_insufficient_range(child, receiver.low(), receiver.high(), "aggregate", false, trace);
}

}  // namespace tv

// Looks through the tables of all discrete nodes for entries that are no probabilities and for
// distributions that do not sum as they should, and reports each with the states of the parents.
#include "inference/answers/potential_report.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "network/domain.h"
#include "network/node_operations.h"
#include "text/state_text.h"

namespace tv {
namespace {

constexpr double kLargest = std::numeric_limits<tv_number_t>::max();
constexpr double kSumTolerance = 0.0001;  // relative difference of sums that is not worth a warning

enum class Verdict { clean, suspicious, invalid };

// The inspection of one table: its distributions are the runs over the states of the last node.
class Inspection {
 public:
  Inspection(Node& node, const char* name, Trace& trace) : table_(*node.table), name_(name), trace_(trace) {}

  Verdict run() {
    const size_t states = child().number_of_states;
    for (size_t start = 0; start < table_.size; start += states) inspect_distribution(start, states);
    if (least_ > 0 && greatest_ < kLargest && greatest_ - least_ > least_ * kSumTolerance)
      warn_of_unequal_sums();
    return verdict_;
  }

 private:
  const Node& child() const noexcept { return *table_.nodes[table_.discrete_count - 1]; }

  void inspect_distribution(size_t start, size_t states) {
    double sum = 0;
    for (size_t i = start; i < start + states; ++i) {
      const double value = table_.data[i];
      sum += value;
      if (value >= 0 && value < kLargest) continue;
      verdict_ = Verdict::invalid;
      trace_.print("\nPotential for %s has an invalid value (%s) for:\n", name_, NumberText(value).c_str());
      print_parents(start / states);
    }
    if (sum == 0)
      report_sum("a zero", start / states);
    else if (!(std::fabs(sum) < kLargest))
      report_sum("an infinite", start / states);
    least_ = std::min(least_, std::isnan(sum) ? 0 : sum);
    greatest_ = std::max(greatest_, sum);
  }

  void report_sum(const char* kind, size_t parent_configuration) {
    verdict_ = Verdict::invalid;
    if (table_.discrete_count == 1) {
      trace_.print("\nPotential for %s is %s-sum distribution\n", name_, kind);
      return;
    }
    trace_.print("\nPotential for %s has %s-sum distribution for:\n", name_, kind);
    print_parents(parent_configuration);
  }

  void warn_of_unequal_sums() {
    if (verdict_ == Verdict::clean) verdict_ = Verdict::suspicious;
    trace_.print(
        "\nWarning: Conditional distributions for %s sum to different values:\n    min = %s\n    max = %s\n",
        name_, NumberText(least_).c_str(), NumberText(greatest_).c_str());
  }

  // One line for each parent; the last parent's state varies fastest.
  void print_parents(size_t configuration) {
    size_t remaining = table_.size / child().number_of_states;
    for (size_t i = 0; i + 1 < table_.discrete_count; ++i) {
      Node& parent = *table_.nodes[i];
      remaining /= parent.number_of_states;
      const size_t state = configuration / remaining % parent.number_of_states;
      trace_.print("    %s = %s\n", name_of(parent), state_text(parent, state).c_str());
    }
  }

  const Table& table_;
  const char* name_;
  Trace& trace_;
  Verdict verdict_ = Verdict::clean;
  double least_ = std::numeric_limits<double>::infinity();
  double greatest_ = 0;
};

bool is_to_be_inspected(const Node& node) noexcept {
  return is_discrete(node) && !node.model && node.table && has_data(*node.table) && !node.table_checked;
}

}  // namespace

tv_status_t inspect_all_potentials(Domain& domain, Trace& trace) {
  if (!trace.enabled()) return tv_status_none;
  trace.print("\n\nChecking conditional probability%s potentials:\n",
              domain.counters.decision > 0 ? " and policy" : "");
  Verdict worst = Verdict::clean;
  for (Node& node : domain.nodes) {
    if (!is_to_be_inspected(node)) continue;
    worst = std::max(worst, Inspection(node, name_of(node), trace).run());
    if (trace.status()) return trace.status();
  }
  if (worst == Verdict::clean) trace.text("\n    No errors found\n");
  if (trace.status()) return trace.status();
  return worst == Verdict::invalid ? tv_status_invalid_probability_potential : tv_status_none;
}

}  // namespace tv

// Writes the beliefs of all nodes, group by group in the order of the domain's node list. A node whose
// state follows from the evidence takes one line, any other a line for each state.
#include "inference/answers/report_beliefs.h"

#include <cmath>

#include "expr/function_value.h"
#include "inference/answers/beliefs.h"
#include "inference/utility/expected_utility.h"
#include "network/node_operations.h"
#include "text/state_text.h"

namespace tv {
namespace {

// A group of nodes, with its name in the heading above it.
struct Group {
  const char* name;
  bool (*contains)(const Node&);
};

constexpr Group kGroups[] = {
    {"decision nodes", [](const Node& node) { return node.category == tv_category_decision; }},
    {"chance nodes", [](const Node& node) { return node.category == tv_category_chance; }},
    {"discrete function nodes",
     [](const Node& node) { return node.category == tv_category_function && is_discrete(node); }},
};

bool has_utilities(const Domain& domain) noexcept { return domain.counters.utility > 0; }

// The rest of the line of a state, behind its number.
std::string end_of_state(const Node& node, size_t state) {
  if (!has_utilities(*node.domain)) return "\n";
  return " (" + std::string(NumberText(expected_utility(own_state(*node.domain), node, state)).c_str()) +
         ")\n";
}

void report_states(const Node& node, const char* name, Trace& trace) {
  trace.print("\n    %s:\n", name);
  for (size_t state = 0; state < node.number_of_states; ++state) {
    const NumberText belief(own_belief(node, state));
    const char* label = state_label(node, state);
    if (*label)
      trace.print("\t%-10s %s%s", label, belief.c_str(), end_of_state(node, state).c_str());
    else
      trace.print("\tstate%zu   %s%s", state, belief.c_str(), end_of_state(node, state).c_str());
  }
}

tv_status_t report_continuous(const Node& node, const char* name, Trace& trace) {
  MeanAndVariance moments;
  if (tv_status_t status = own_mean_and_variance(node, moments)) return status;
  const NumberText mean(moments.mean), variance(moments.variance), deviation(std::sqrt(moments.variance));
  if (moments.variance == 0)
    trace.print("\n    %s --> %s\n", name, mean.c_str());
  else
    trace.print("\n    %s:\n\tMean: %s   Variance: %s   SD: %s\n", name, mean.c_str(), variance.c_str(),
                deviation.c_str());
  return tv_status_none;
}

}  // namespace

tv_status_t _tv_node_report_beliefs(Node& node, Trace& trace) {
  const char* name = name_of(node);
  if (!name) return tv_status_no_memory;
  if (is_continuous(node)) {
    if (tv_status_t status = report_continuous(node, name, trace)) return status;
  } else if (is_real_valued_function(node)) {
    double value;
    if (FunctionValues().number(node, value))
      trace.print("\n    %s: N/A\n", name);
    else
      trace.print("\n    %s: %s\n", name, NumberText(value).c_str());
  } else if (const ptrdiff_t state = get_inferred_state(node); state >= 0) {
    const size_t inferred = static_cast<size_t>(state);
    trace.print("\n    %s --> %s%s", name, state_text(node, inferred).c_str(),
                end_of_state(node, inferred).c_str());
  } else {
    report_states(node, name, trace);
  }
  trace.flush();
  return trace.status();
}

namespace {

// The nodes of a group under its heading, which comes with the first of them.
template <class Contains, class Heading>
tv_status_t report_group(Domain& domain, Trace& trace, Contains contains, Heading write_heading) {
  bool heading_is_due = true;
  for (Node& node : domain.nodes) {
    if (!contains(node)) continue;
    if (heading_is_due) write_heading();
    heading_is_due = false;
    if (tv_status_t status = _tv_node_report_beliefs(node, trace)) return status;
  }
  return tv_status_none;
}

tv_status_t report_utilities(Domain& domain, Trace& trace) {
  if (!has_utilities(domain)) return tv_status_none;
  trace.text("\n\nExpected utilities for utility nodes:\n");
  for (Node& node : domain.nodes) {
    if (node.category != tv_category_utility) continue;
    const char* name = name_of(node);
    if (!name) return tv_status_no_memory;
    trace.print("\n    %s: %s\n", name, NumberText(expected_utility(own_state(domain), node, 0)).c_str());
    trace.flush();
  }
  trace.print("\nOverall expected utility: %s\n",
              NumberText(total_expected_utility(own_state(domain))).c_str());
  return trace.status();
}

}  // namespace

tv_status_t _tv_domain_report_beliefs(Domain& domain, Trace& trace) {
  if (!trace.enabled()) return tv_status_none;
  const char* note = has_utilities(domain) ? " (and expected utilities)" : "";
  for (const Group& group : kGroups) {
    const tv_status_t status = report_group(
        domain, trace, group.contains, [&] { trace.print("\n\nBeliefs%s for %s:\n", note, group.name); });
    if (status) return status;
  }
  if (tv_status_t status = report_utilities(domain, trace)) return status;
  const tv_status_t status = report_group(domain, trace, is_real_valued_function, [&] {
    trace.text("\n\nValues for real-valued function nodes:\n");
  });
  return status ? status : trace.status();
}

}  // namespace tv

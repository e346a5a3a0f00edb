// Writes the beliefs of all nodes, group by group in the order of the domain's node list. A node whose
// state follows from the evidence takes one line, any other a line for each state.
#include "inference/report_beliefs.h"

#include <cmath>

#include "inference/beliefs.h"
#include "network/node_operations.h"
#include "text/state_text.h"

namespace tv {
namespace {

// A group of nodes and the heading above it, written only when the group has members.
struct Group {
  const char* heading;
  bool (*contains)(const Node&);
};

constexpr Group kGroups[] = {
    {"\n\nBeliefs for decision nodes:\n",
     [](const Node& node) { return node.category == tv_category_decision; }},
    {"\n\nBeliefs for chance nodes:\n", [](const Node& node) { return node.category == tv_category_chance; }},
    {"\n\nBeliefs for discrete function nodes:\n",
     [](const Node& node) { return node.category == tv_category_function && is_discrete(node); }},
    {"\n\nValues for real-valued function nodes:\n", is_real_valued_function},
};

void report_states(const Node& node, const char* name, Trace& trace) {
  trace.print("\n    %s:\n", name);
  for (size_t state = 0; state < node.number_of_states; ++state) {
    const NumberText belief(_tv_node_get_belief(node, state));
    const char* label = state_label(node, state);
    if (*label)
      trace.print("\t%-10s %s\n", label, belief.c_str());
    else
      trace.print("\tstate%zu   %s\n", state, belief.c_str());
  }
}

tv_status_t report_continuous(const Node& node, const char* name, Trace& trace) {
  MeanAndVariance moments;
  if (tv_status_t status = _tv_node_mean_and_variance(node, moments)) return status;
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
  const char* name = _tv_node_get_name(node);
  if (!name) return tv_status_no_memory;
  if (is_continuous(node)) {
    if (tv_status_t status = report_continuous(node, name, trace)) return status;
  } else if (!is_discrete(node)) {
    trace.print("\n    %s: N/A\n", name);
  } else if (const ptrdiff_t state = get_inferred_state(node); state >= 0) {
    trace.print("\n    %s --> %s\n", name, state_text(node, static_cast<size_t>(state)).c_str());
  } else {
    report_states(node, name, trace);
  }
  trace.flush();
  return trace.status();
}

tv_status_t _tv_domain_report_beliefs(Domain& domain, Trace& trace) {
  if (!trace.enabled()) return tv_status_none;
  for (const Group& group : kGroups) {
    bool heading_is_due = true;
    for (Node& node : domain.nodes) {
      if (!group.contains(node)) continue;
      if (heading_is_due) trace.text(group.heading);
      heading_is_due = false;
      if (tv_status_t status = _tv_node_report_beliefs(node, trace)) return status;
    }
  }
  return trace.status();
}

}  // namespace tv

// A stored case as evidence.

#include "inference/evidence/evidence.h"

namespace tv {
namespace {

void enter_case(Domain& domain, size_t index) noexcept {
  for (Node& node : domain.nodes) {
    if (!is_discrete_or_continuous(node)) continue;
    if (!case_is_set(node, index))
      _tv_node_retract_findings(node);
    else if (is_discrete(node))
      _tv_node_select_state(node, static_cast<size_t>(node.cases.states[index]));
    else
      _tv_node_enter_value(node, node.cases.values[index]);
  }
}

}  // namespace
}  // namespace tv

tv_status_t tv_domain_enter_case(tv_domain_t* domain, size_t case_index) {
  if (!tv::check(domain && case_index < domain->cases.count)) return tv_status_usage;
  tv::enter_case(*domain, case_index);
  return tv_status_none;
}

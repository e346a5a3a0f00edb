#include "expr/state_values.h"

#include <cmath>

#include "expr/distributions.h"
#include "network/node_operations.h"
#include "network/refusals.h"

namespace tv {

tv_status_t check_state_values(Node& node, Trace& trace) {
  const bool intervals = node.subtype == tv_subtype_interval;
  if (!is_discrete(node) || (!intervals && node.subtype != tv_subtype_number)) return tv_status_none;
  const size_t last = node.number_of_states - (intervals ? 0 : 1);
  const char* wrong = nullptr;
  for (size_t i = 0; i < last; ++i)
    if (!(state_value(node, i) < state_value(node, i + 1))) wrong = "do not form an increasing sequence";
  for (size_t i = 0; i <= last && !wrong; ++i) {
    const double value = with_infinity(state_value(node, i));
    const bool may_be_infinite = intervals && (value < 0 ? i == 0 : i == last);
    if (std::isinf(value) && !may_be_infinite) wrong = "use infinite values incorrectly";
  }
  if (!wrong) return tv_status_none;
  if (trace.enabled()) trace.print("The state values of node %s %s.\n", name_of(node), wrong);
  return refuse(tv_status_invalid_state_values, "the state values of node \"%s\" %s", shown_name(node),
                wrong);
}

}  // namespace tv

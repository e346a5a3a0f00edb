#include "inference/explain_failure.h"

#include <cstdio>

#include "inference/evidence/evidence.h"
#include "network/refusals.h"

namespace tv {
namespace {

const char* trouble_with_evidence(tv_status_t status) noexcept {
  switch (status) {
    case tv_status_inconsistency_or_underflow:
      return "impossible";
    case tv_status_low_density:
      return "too improbable a density";
    case tv_status_zero_variance:
      return "too much where nodes determine each other exactly";
    case tv_status_fast_retraction:
      return "more than zeros in the tables allow to be left out one at a time";
    default:
      return nullptr;
  }
}

}  // namespace

tv_status_t explain_failure(const InferenceState& state, tv_status_t status) noexcept {
  const char* trouble = trouble_with_evidence(status);
  if (!trouble) return status;
  char names[120] = "";
  size_t used = 0, left_out = 0;
  for (const Node& node : state.domain->nodes) {
    if (!evidence_is_entered(node, *state[node].entered)) continue;
    const char* name = shown_name(node);
    const int length = std::snprintf(nullptr, 0, "%s, ", name);
    if (used + static_cast<size_t>(length) < sizeof names)
      used += static_cast<size_t>(
          std::snprintf(names + used, sizeof names - used, "%s%s", used ? ", " : "", name));
    else
      ++left_out;
  }
  if (used == 0 && left_out == 0) return status;
  if (left_out == 0) return refuse(status, "the evidence on %s is %s", names, trouble);
  return refuse(status, "the evidence on %s and %zu more is %s", names, left_out, trouble);
}

}  // namespace tv

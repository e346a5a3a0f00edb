// Shapley values of the findings for the probabilities of a node (Shapley 1953).
#pragma once

#include <vector>

#include "analysis/evidence_query.h"

namespace tv {

inline constexpr size_t kMaxExactFindings = 16;

struct ShapleyValues {
  std::vector<std::vector<double>> values, standard_errors;  // by finding, then by state
};

// Exact for up to kMaxExactFindings, from all groups of findings; otherwise from so many random orders in
// which they become known, two at least.
tv_status_t find_shapley_values(EvidenceQuery& query, const Node& node, size_t orders, ShapleyValues& result);

}  // namespace tv

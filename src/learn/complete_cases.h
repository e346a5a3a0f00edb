// Families of which a case lacks nothing: counts without inference.
#pragma once

#include "learn/families.h"

namespace tv {

// The state of a node in a case, or its value; both must be known.
inline size_t case_state(const Node& node, size_t row) noexcept {
  return static_cast<size_t>(node.cases.states[row]);
}
inline double case_value(const Node& node, size_t row) noexcept { return node.cases.values[row]; }

bool family_is_complete(const Family& family, size_t row) noexcept;
void add_complete_family(const Family& family, size_t row, double weight, FamilyCounts& counts);

// The logarithm of the family's probability, or density, under the present table.
double log_probability_of(const Family& family, size_t row) noexcept;

// Whether nothing at all is missing.
bool case_is_complete(const std::vector<Family>& families, size_t row) noexcept;

}  // namespace tv

// The probability of a hypothesis as a function of two parameters.
#pragma once

#include <array>

#include "analysis/sensitivity/sensitivity.h"
#include "api/status.h"

namespace tv {

struct TableEntry {
  const Node* node = nullptr;
  size_t index = 0;
};

// The coefficients of 1, t1, t2 and t1 t2.
struct TwoWayFunction {
  std::array<double, 4> numerator, denominator;
};

// The entries are different ones.
tv_status_t find_two_way(Domain& domain, Node& node, size_t state, const TableEntry& entry1,
                         const TableEntry& entry2, TwoWayFunction& function);

}  // namespace tv

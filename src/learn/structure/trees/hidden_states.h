// A hidden node between a class and two of its children, whose states follow from those of the two.
#pragma once

#include "learn/structure/counts/case_columns.h"
#include "learn/structure/counts/exact_sums.h"

namespace tv {

struct HiddenStates {
  size_t count = 0;             // 0: nothing was found
  std::vector<uint16_t> codes;  // by row; `count` where one of the two is missing
  double gain = 0.0;            // by how much the cases are described more shortly than without the node
};

// At first each pair of states that occurs is a state of its own; then two of them at a time are merged,
// those that are best taken together, as long as the description of the cases gets shorter. It has the
// logarithm of the probability of what the two nodes are given the class, and half the logarithm of the
// number of cases for each free parameter. Nothing is found where more states than some hundreds occur.
HiddenStates find_hidden_states(const CaseColumns& columns, const CountLogarithms& logarithms,
                                uint32_t target, uint32_t a, uint32_t b);

}  // namespace tv

// What the value of a continuous node is expected to tell.
#pragma once

#include <vector>

#include "analysis/observations/what_it_tells.h"

namespace tv {

// One part of a mixture of normal distributions; a single value where its deviation is 0.
struct NormalPart {
  double weight, mean, deviation;
};
using NormalMixture = std::vector<NormalPart>;  // weights sum to one

// Puts parts together that differ in their weights alone.
void merge_equal_parts(NormalMixture& mixture);

// `given[t]` is the distribution of the value in state t of the target. A single value that has a probability
// of its own tells that it is one of those; densities are integrated by adaptive quadrature.
Telling what_it_tells(const Distribution& target, const std::vector<NormalMixture>& given);

}  // namespace tv

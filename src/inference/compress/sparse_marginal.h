// Joint marginals in a tree with sparse tables, where messages are over the stored configurations of
// separators.
#pragma once

#include "inference/answers/factor.h"

namespace tv {

// The joint marginal of some nodes of a calibrated tree, each with two states or more.
Factor sparse_joint_marginal(TreeEngine& engine, const std::vector<const Node*>& targets);

}  // namespace tv

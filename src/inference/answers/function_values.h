// Results of propagation for the evaluation of expressions.
#pragma once

#include "expr/results.h"

namespace tv {

extern const PropagationResults kPropagationResults;

}  // namespace tv

// The conflicts of single cliques after a step in extended range.
#pragma once

#include "compile/forest.h"

namespace tv {

// Measures them if that has not been done: the probability of the findings behind a clique before the step,
// divided by the mass of the message that it now sends towards the root.
tv_status_t measure_conflicts(TreeEngine& engine);

}  // namespace tv

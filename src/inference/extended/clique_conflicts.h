// The conflicts of single cliques after a step in extended range.
#pragma once

#include "compile/forest.h"

namespace tv {

// Finds them if that has not been done: what the findings beyond a clique had for a probability before the
// step, divided by what they make of the message that it sends towards the root.
tv_status_t measure_conflicts(JunctionTree& tree);

}  // namespace tv

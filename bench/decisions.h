// The benchmark of policy updating.
#pragma once

#include <cstddef>

namespace bench {

// Prints a table of times; each figure is a median of at least `repeats` runs. False when something failed.
bool run_decisions(size_t repeats);

}  // namespace bench

// The benchmark of networks with continuous nodes.
#pragma once

#include <cstddef>

namespace bench {

// Prints a table of times; each figure is a median of at least `repeats` runs. False when something failed.
bool run_continuous(size_t repeats, size_t threads);

}  // namespace bench

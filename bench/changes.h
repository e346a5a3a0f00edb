// Times the change of one finding in long chains.
#pragma once

#include <cstddef>

namespace bench {

bool run_changes(size_t repeats);

}  // namespace bench

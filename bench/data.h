// Data sets: how fast texts of comma-separated values are read and written, against a loop that only finds
// the ends of lines, how much memory they take, and what sorting and discretising cost.
#pragma once

#include <cstddef>

namespace bench {

bool run_data(size_t rows, size_t repeats);

}  // namespace bench

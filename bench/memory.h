// Counts the bytes that operator new hands out in this process, the library's included.
#pragma once

#include <cstddef>

namespace bench {

size_t live_bytes();
size_t peak_bytes();  // since the last reset
void reset_peak();

}  // namespace bench

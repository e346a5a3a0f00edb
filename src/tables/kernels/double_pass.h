// A pass that forms its products in doubles and stores no table, for products that leave the range of single
// precision.
#pragma once

#include "tables/kernels/index_map.h"

namespace tv {

// Like run_pass without a table, on the calling thread. Its bits differ from those of run_pass.
void run_double_pass(const Shape& shape, const Step* steps, size_t count);

}  // namespace tv

// Kernels over arrays, shared by threads where these are long. The parts into which an array is split depend
// on its length alone, and their results are combined in a fixed order.
#pragma once

#include "tables/kernels/index_map.h"

namespace tv {

// Like the kernels of these names.
RatioResult divide_array(const double* fresh, float* old, float* ratio, size_t size,
                         const ParallelSettings& settings);
RatioResult take_array(const double* fresh, float* old, float* ratio, size_t size,
                       const ParallelSettings& settings);
void scale_array(float* values, size_t size, double factor, const ParallelSettings& settings);

void clear_array(double* values, size_t size, const ParallelSettings& settings);

}  // namespace tv

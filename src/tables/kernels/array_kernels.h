// Kernels over arrays, which threads share where these are long. The parts into which an array is cut depend
// on its length alone, and what they find is put together in their order.
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

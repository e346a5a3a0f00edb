// Passes over sparse tables, which store the possible entries alone: where each of them is in another table
// stands in a list of positions.
#pragma once

#include "tables/kernels/index_map.h"

namespace tv {

// The forms of run_pass and run_double_pass for a sparse shape, on the calling thread. The number of steps is
// not limited.
void run_sparse_pass(const Shape& shape, float* table, const Step* steps, size_t count,
                     const ParallelSettings& settings);
void run_sparse_double_pass(const Shape& shape, const Step* steps, size_t count);

// Stores the positions of entries first to first + count - 1.
void read_positions(const PositionList& list, size_t first, size_t count, uint32_t* positions) noexcept;

// A map of a sparse table: onto one number, onto the entries themselves, or along a list.
IndexMap scalar_map() noexcept;
IndexMap identity_map(const Shape& shape) noexcept;
IndexMap list_map(const PositionList& list) noexcept;

}  // namespace tv

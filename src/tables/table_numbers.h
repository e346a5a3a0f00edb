// The default numbers of a table, and how much memory they may take.
#pragma once

#include <vector>

#include "tables/table.h"

namespace tv {

// Every discrete entry: uniform in a distribution or policy, 1 for what multiplies, 0 elsewhere.
tv_number_t default_number(const Table& table) noexcept;

// Every CG block: in a node's table mean 0, coefficients 0 and variance 1, zeros elsewhere.
std::vector<double> default_block(const Table& table);
void fill_with_default_blocks(const Table& table, Block<double>& cg_data);

// kHugeSize when the table has too many entries to have numbers.
size_t bytes_of_numbers(const Table& table) noexcept;

// Whether there can be that many bytes more under the memory limit of the domain, beside the numbers that its
// nodes and the host have already, and the memory of its compilation. Never kHugeSize.
bool is_within_memory_limit(const Domain& domain, size_t bytes) noexcept;

}  // namespace tv

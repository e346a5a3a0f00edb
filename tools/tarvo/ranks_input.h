// What each rank of a run reads: the network, and its rows of the cases.
#pragma once

#include "case_rows.h"
#include "data.h"
#include "network.h"
#include "ranks.h"

namespace program {

// Under mpirun nobody gives all ranks the standard input.
void expect_files_for_ranks(const Ranks& ranks, const Source& source, const DataOptions& cases);

// Rank 0 prints what there is to say about the file.
Network read_network(const Ranks& ranks, const Source& source);

// The rows of this rank, whole blocks of so many. Rank 0 looks at the file for all.
RowRange rows_of_this_rank(const Ranks& ranks, const DataOptions& options, uint64_t rows_of_block);

}  // namespace program

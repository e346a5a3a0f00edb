#include "ranks_input.h"

#include "learn.h"
#include "progress.h"

namespace program {

void expect_files_for_ranks(const Ranks& ranks, const Source& source, const DataOptions& cases) {
  if (source.file == "-" && cases.file == "-")
    throw Failure(kWrongUsage, "the network and the cases cannot both come from the standard input");
  if (ranks.are_many() && (source.file == "-" || cases.file == "-"))
    throw Failure(kWrongUsage, "under mpirun neither the network nor the cases come from the standard input");
}

Network read_network(const Ranks& ranks, const Source& source) {
  if (ranks.is_first()) return Network(source);
  Network network(source, Network::kKeepMessages);
  if (!network.domain()) throw Failure(kFailed, "");
  return network;
}

RowRange rows_of_this_rank(const Ranks& ranks, const DataOptions& options, uint64_t rows_of_block) {
  const Activity reading("reading " + options.file);
  RowIndex index;
  if (ranks.is_first()) {
    index = index_rows(options.file, separator_of(options), rows_of_block);
    if (index.rows == 0 && index.begin.offset > 0) fail_without_cases(options.file);
  }
  index = RowIndex::from_bytes(ranks.broadcast(index.to_bytes()));
  return rows_of_rank(index, rows_of_block, ranks.rank(), ranks.size());
}

}  // namespace program

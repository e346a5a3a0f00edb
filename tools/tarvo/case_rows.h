// Where the rows of a file of comma-separated values stand, so that each rank reads its own. Nothing is
// understood but quotation marks and line ends; what is wrong in a row is for its reader to tell.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace program {

struct RowIndex {
  struct Place {
    uint64_t offset = 0;  // behind the compression, if there is any
    uint64_t line = 0;    // lines before it
  };
  uint64_t rows = 0;
  Place begin;                // of the first row: what stands before it is the header
  std::vector<Place> blocks;  // by so many rows

  std::string to_bytes() const;
  static RowIndex from_bytes(const std::string& bytes);
};

// Reads the file, which may be compressed, once.
RowIndex index_rows(const std::string& file, char separator, uint64_t rows_of_block);

// The rows of one rank.
struct RowRange {
  uint64_t first, count;  // rows
  uint64_t begin, end;    // offsets
  uint64_t header_end, header_lines;
  uint64_t skipped_lines;  // between the header and them
};
RowRange rows_of_rank(const RowIndex& index, uint64_t rows_of_block, size_t rank, size_t size);

// The header and the rows of the range, as if they were the whole file.
using StreamOwner = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
StreamOwner open_rows(const std::string& file, const RowRange& range);

}  // namespace program

// Configurations of discrete nodes, packed into bits: layouts, order, projections from one layout to another,
// and finding rows again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "network/node.h"

namespace tv {

// Distinct configurations of discrete nodes in ascending order.
struct PackedRows {
  struct Field {  // of one node's state; a node with a single state has no bits (mask 0)
    uint32_t word = 0, shift = 0;
    uint64_t mask = 0;
  };
  std::vector<const Node*> nodes;  // the most significant first
  std::vector<Field> fields;       // by position in `nodes`; none straddles two words
  size_t words = 1;                // for each row, the most significant first
  std::vector<uint64_t> keys;      // rows one behind the other

  size_t size() const noexcept { return keys.size() / words; }
  const uint64_t* row(size_t index) const noexcept { return keys.data() + index * words; }
  static size_t state_in(const uint64_t* row, const Field& field) noexcept {
    return static_cast<size_t>(row[field.word] >> field.shift & field.mask);
  }
  static void set_state(uint64_t* row, const Field& field, size_t state) noexcept {
    row[field.word] |= static_cast<uint64_t>(state) << field.shift;
  }
  // `node`: position in `nodes`.
  size_t state(size_t index, size_t node) const noexcept { return state_in(row(index), fields[node]); }
};

// Where the states of the nodes lie; no rows yet.
PackedRows lay_out_rows(std::vector<const Node*> nodes);

// All configurations of the nodes; kHugeSize on overflow.
size_t full_size(const std::vector<const Node*>& nodes) noexcept;

// Ascending; rows must be distinct.
void sort_rows(PackedRows& rows);

// Ascending, and each but once.
void keep_distinct_rows(PackedRows& rows);

// Gives back memory that growing has left unused, where it is much.
void trim_rows(PackedRows& rows);

// Leaves only rows for which keep(index) is true.
template <class Keep>
void filter_rows(PackedRows& rows, Keep keep) {
  size_t kept = 0;
  const size_t count = rows.size();
  for (size_t index = 0; index < count; ++index) {
    if (!keep(index)) continue;
    for (size_t w = 0; w < rows.words; ++w) rows.keys[kept * rows.words + w] = rows.row(index)[w];
    ++kept;
  }
  rows.keys.resize(kept * rows.words);
  trim_rows(rows);
}

// From one layout to another whose nodes are all in the first.
class RowProjection {
 public:
  RowProjection(const PackedRows& from, const PackedRows& to);
  void project(const uint64_t* from, uint64_t* to) const noexcept {
    for (size_t w = 0; w < words_; ++w) to[w] = 0;
    for (const Move& move : moves_)
      to[move.to_word] |= (from[move.from_word] >> move.from_shift & move.mask) << move.to_shift;
  }
  // Whether two rows have the same projection.
  bool agree(const uint64_t* a, const uint64_t* b) const noexcept {
    for (size_t w = 0; w < masks_.size(); ++w)
      if ((a[w] ^ b[w]) & masks_[w]) return false;
    return true;
  }

 private:
  struct Move {  // of neighbouring fields that stay neighbours
    uint32_t from_word, from_shift, to_word, to_shift;
    uint64_t mask;
  };
  std::vector<Move> moves_;
  size_t words_;                 // of a projection
  std::vector<uint64_t> masks_;  // by word: the bits of the nodes that stay
};

// Distinct rows of the first `count` nodes.
PackedRows leading_rows(const PackedRows& rows, size_t count);

// For every row of a clique its row in the support of one of its separators (which has them all).
std::vector<uint32_t> positions_in(const PackedRows& clique, const PackedRows& separator);

// Finds rows by their keys.
class RowIndex {
 public:
  explicit RowIndex(const PackedRows& rows);
  uint32_t find(const uint64_t* key) const noexcept {  // kAbsent where there is none
    if (direct_) return *key < slots_.size() ? slots_[static_cast<size_t>(*key)] : kAbsent;
    return find_hashed(key);
  }

  static constexpr uint32_t kAbsent = UINT32_MAX;

 private:
  uint32_t find_hashed(const uint64_t* key) const noexcept;
  size_t slot_of(const uint64_t* key) const noexcept;

  const PackedRows& rows_;
  bool direct_ = false;          // the key itself is the slot
  std::vector<uint32_t> slots_;  // otherwise open addressing, a power of two of them
  unsigned shift_ = 0;
};

}  // namespace tv

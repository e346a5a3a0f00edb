// A junction tree whose larger tables store their possible configurations alone. What is here depends on the
// potentials' zeros and is shared by all states of the forest: which configurations are stored, where each of
// them is in the tables around it, and the tables without evidence, from which every reset starts.
//
// A clique is sparse where that saves time and memory; the others keep full tables. A separator is sparse
// where both of its cliques are.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "inference/compress/support.h"
#include "tables/block.h"
#include "tables/kernels/index_map.h"

namespace tv {

// The configurations of a sparse table, in ascending order, each packed into bits. Members stand in the order
// of the clique or separator.
class SparseTable {
 public:
  SparseTable(const NodeList& members, const PackedRows& rows);

  size_t size() const noexcept { return size_; }
  size_t state(size_t entry, size_t member) const noexcept;
  // The state of a member for each entry.
  const PositionList& states(size_t member) const noexcept { return states_[member]; }
  // The entry's index in the full table over members with these strides.
  size_t index(size_t entry, std::span<const size_t> strides) const noexcept;
  // The entry with one state for each member; kNone where it is not stored.
  size_t find(std::span<const size_t> states) const;
  size_t bytes() const noexcept {
    return keys32_.size() * sizeof(uint32_t) + keys64_.size() * sizeof(uint64_t);
  }

 private:
  size_t size_ = 0;
  Block<uint32_t> keys32_;  // where 32 bits suffice
  Block<uint64_t> keys64_;
  size_t words_ = 1;
  std::vector<PositionList> states_;
};

struct SparseClique {
  SparseTable table;
  std::vector<PositionList> links;      // by link: where each entry is in the separator's table
  std::vector<Block<uint16_t>> shorts;  // to which they point
  std::vector<Block<uint32_t>> words;
  size_t first = 0;  // of its entries in the numbers of all sparse cliques
};

// The tables without evidence.
struct InitialTables {
  bool are_formed = false;
  Block<float> numbers;        // of all sparse cliques, one behind the other
  Block<float> other_numbers;  // of separators and full cliques, or the factors of these
  std::vector<float> beliefs;  // of all nodes of the tree
  std::vector<float> clique_factors;
  std::vector<bool> holds;  // by link of the engine
  double lost_share = 0.0;
  double mass = 1.0;  // of what the potentials give to the stored configurations
};

struct SparseTree {
  std::vector<std::unique_ptr<SparseClique>> cliques;    // by position in the tree; null: a full table
  std::vector<std::unique_ptr<SparseTable>> separators;  // by position of the child; null: a full table
  std::vector<bool> zeros;  // of all potentials when the configurations were found
  bool is_cut = false;      // possible configurations were left out
  size_t entries = 0;       // of all sparse cliques
  InitialTables initial;

  size_t index_bytes() const noexcept;
};

// Whether trees like this one can be sparse: all nodes discrete, no decisions, utilities or undirected links.
bool may_be_sparse(const JunctionTree& tree) noexcept;

// Which entries of the potentials are zero, one behind the other.
std::vector<bool> zeros_of_potentials(const JunctionTree& tree);

// Decides which cliques are sparse and lists where their entries are. Where possible configurations were left
// out (`is_cut`), all cliques are: full tables would form them again.
std::unique_ptr<SparseTree> make_sparse_tree(const JunctionTree& tree, const TreeSupport& support,
                                             bool is_cut = false);

// Bytes of what a tree's sparse tables share; 0 where its tables are full.
size_t sparse_bytes(const JunctionTree& tree) noexcept;

// Entries that are stored of a clique's or a separator's table; kHugeSize where its full size does not fit.
size_t stored_size(const Clique& clique) noexcept;
size_t stored_size(const Separator& separator) noexcept;

}  // namespace tv

// The record of a table: a potential over a list of nodes, discrete nodes first.
// Configurations are numbered mixed-radix over the discrete nodes, the last one fastest. With n
// continuous nodes each configuration has a block of n(n+3)/2 doubles: continuous node i owns the
// run that starts at i(i+3)/2, its mean first, then its covariances with nodes 0 to i.
#pragma once

#include <memory>
#include <vector>

#include "api/memory.h"
#include "network/node_list.h"
#include "network/types.h"
#include "tables/block.h"

namespace tv {

enum class TableKind : int {
  free = 0,
  node = 1,
  experience = 2,
  fading = 3,
  clique = 4,
  separator = 5,
  chain = 6
};

}  // namespace tv

struct tv_table_s {
  size_t number = 0;  // serial number in the domain, 0 when not registered
  tv::Domain* domain = nullptr;
  tv::Node* owner = nullptr;  // of a node's table
  tv::TableKind kind = tv::TableKind::free;
  bool locked = false;  // while set, a registered table cannot be reordered
  tv::NodeList nodes;   // discrete nodes first, then the continuous ones
  size_t discrete_count = 0;
  size_t continuous_count = 0;
  size_t size = 1;                        // configurations of the discrete nodes; kHugeSize on overflow
  size_t cg_size = 0;                     // CG entries per configuration
  std::vector<unsigned char> tail_marks;  // one per continuous node; 1: the CG part is conditioned on it
  tv::Block<tv_number_t> data;            // `size` numbers, or nothing yet
  tv::Block<double> cg_data;              // size * cg_size doubles, allocated with `data`
  size_t layout = 0;  // grows whenever nodes, sizes or their order change: strides are stale then
  void* user_data = nullptr;
  // Of a table that belongs to the host (host_table.h): how many states each discrete node had when it was
  // made, and its position among those of its domain, which becomes null with the domain.
  std::vector<size_t> own_state_counts;
  size_t host_place = 0;
  // For a clique's table: brings `data` up to date before the host reads it (the library itself works on
  // reduced tables). Null elsewhere.
  tv_status_t (*materialize)(tv::Table& table) = nullptr;
  void* materialize_source = nullptr;
};

namespace tv {

// CG entries for n continuous nodes, and the offsets of the parts of one block.
inline size_t cg_size_for(size_t continuous_count) noexcept {
  return size_multiply(continuous_count, size_add(continuous_count, 3)) / 2;
}
inline size_t cg_mean_index(size_t i) noexcept { return i * (i + 3) / 2; }
inline size_t cg_covariance_index(size_t i, size_t j) noexcept {
  return i < j ? cg_covariance_index(j, i) : i * (i + 3) / 2 + j + 1;
}

// A table without nodes (size 1, no data). A registered table gets the domain's next serial number.
std::unique_ptr<Table> new_table(Domain& domain, TableKind kind = TableKind::free, Node* owner = nullptr);

// Sets the nodes (in this order; discrete ones first) and computes the sizes; drops the data.
void set_table_nodes(Table& table, const NodeList& nodes);

// Appends a discrete node behind the discrete ones, or a continuous one at the end; data must be absent.
void append_table_node(Table& table, Node* node, bool tail = false);

// Recomputes discrete_count, continuous_count, size and cg_size after `nodes` or states changed.
void update_table_sizes(Table& table) noexcept;

// To be called when they are no longer what they were, or in another order.
void note_new_layout(Table& table) noexcept;

// Makes the numbers when they are absent: those that stand for "nothing was specified" in a node's table or a
// chain potential, zeros elsewhere. `no_memory` for a size that does not fit or exceeds the domain's memory
// limit; the allocator refuses with std::bad_alloc.
tv_status_t allocate_table_data(Table& table);

// A copy with the same nodes, tail marks and data; kind free and unregistered unless said otherwise.
std::unique_ptr<Table> clone_table(const Table& table);

inline bool has_data(const Table& table) noexcept { return table.data.data() != nullptr; }

}  // namespace tv

// The arithmetic between tables that everything outside propagation uses: build a joint, sum it
// down, change the nodes of a table. Sums run in double. Large tables are split over the domain's
// threads; results do not depend on how many there are.
#pragma once

#include <memory>

#include "tables/table.h"

namespace tv {

// All of these need data in their tables. `source`'s nodes must be among `destination`'s.
tv_status_t multiply_table(Table& destination, const Table& source);  // entry by entry, in place

// Sums `source` into `destination`, whose nodes must be among the source's.
tv_status_t sum_marginalize_table(const Table& source, Table& destination);

// `destination` has the source's nodes and possibly more: each entry is copied for every state of those.
tv_status_t extend_table(const Table& source, Table& destination);

// A node's own table after a discrete `parent` was added (in front of all others; present data repeated)
// or removed (averaged over its states). Built aside: the caller swaps it in.
std::unique_ptr<Table> table_with_parent(const Table& table, Node* parent);
std::unique_ptr<Table> table_without_parent(const Table& table, const Node* parent);

// Gives a table built aside the number, owner and user data of `table`; all but the contents.
void inherit_identity(Table& contents, const Table& table) noexcept;

// Gives `table` the nodes, sizes and data of a table built aside from it. The record stays where it is,
// so that handles to it remain valid.
void take_over(Table& table, std::unique_ptr<Table> changed) noexcept;

// The same nodes in another order, the data permuted with them; no checks.
tv_status_t permute_table(Table& table, const NodeList& order);

// The states of `node` (one of the table's discrete nodes) permuted: new state i was state order[i].
tv_status_t permute_table_states(Table& table, const Node* node, const size_t* order);

// The data for a node whose number of states goes from its present value to `count`: entries of states that
// remain are copied, those of new states are `fill`. Built aside; sizes use the new count for `node`.
std::unique_ptr<Table> table_with_state_count(const Table& table, const Node* node, size_t count,
                                              tv_number_t fill);

// Normalises each conditional distribution of a node's table (the runs over the states of its last
// discrete node). `invalid_probability_potential` for a negative, NaN or huge entry, or a sum that is huge
// or (strict) not positive; a sum of zero becomes uniform otherwise. Nothing is changed on failure. A
// table with CG data gets 1 in every discrete entry.
tv_status_t validate_conditional_probability_potential(Table& table, bool strict);

// The check alone, of a table that has its numbers.
tv_status_t check_conditional_probability_potential(const Table& table, bool strict) noexcept;

// Divides by the sum (or by the largest entry): `normalization` when that is below the smallest normal
// float but not negative; a negative one leaves the table and the status alone.
enum class Normalizer { sum, max };
tv_status_t _tv_normalize_table(Table& table, Normalizer by);

}  // namespace tv

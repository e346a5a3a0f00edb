// Tables that belong to the host: marginals and distributions. They may outlive the nodes that they are
// about, so each has its own copy of their sizes, and its domain lists it for as long as it lives: whoever
// deletes a node removes it from these tables. A table has a null in its node list for a deleted node.
#pragma once

#include <memory>

#include "network/node.h"
#include "tables/table.h"

namespace tv {

// Makes a finished table the host's own.
Table* hand_over(std::unique_ptr<Table> table);
void delete_host_table(Table* table) noexcept;

// To be called before the node, or the domain with all its nodes, is deleted.
void forget_node(const Node& node) noexcept;
void forget_domain(const Domain& domain) noexcept;

inline bool has_lost_nodes(const Table& table) noexcept { return table.nodes.contains(nullptr); }

// The states of the i-th discrete node, by which the numbers are laid out.
inline size_t state_count(const Table& table, size_t i) noexcept {
  return table.own_state_counts.empty() ? table.nodes[i]->number_of_states : table.own_state_counts[i];
}

}  // namespace tv

// The tables that a node owns, and how they follow a change of its parents or of a number of states.
// A change is built aside for all tables concerned and then committed at once, without failure.
#pragma once

#include <array>
#include <memory>
#include <vector>

#include "network/node.h"
#include "tables/table.h"

namespace tv {

// A node's tables keep their place in memory while their contents change, since the host may hold
// handles to them.
class TableChanges {
 public:
  // `contents`, made as a successor of `table`, will replace what it holds: nodes, sizes and numbers.
  void add(Table& table, std::unique_ptr<Table> contents);

  // The same for a new table of the node itself, whether or not it has one yet.
  void set_node_table(Node& node, std::unique_ptr<Table> contents);

  void commit() noexcept;

 private:
  struct Change {
    Node* owner;
    Table* table;  // null when the owner has no table yet
    std::unique_ptr<Table> contents;
  };
  std::vector<Change> changes_;
};

// All of them throw std::bad_alloc, also for a table whose size does not fit where there are numbers
// to keep. A table that nobody has given numbers stays without.
void add_parent_to_tables(TableChanges& changes, Node& child, Node& parent);
void remove_parent_from_tables(TableChanges& changes, Node& child, const Node& parent);
void change_states_in_tables(TableChanges& changes, Node& node, size_t count);
tv_status_t reorder_states_in_tables(TableChanges& changes, Node& node, const size_t* order);

// For a discrete node that loses a parent (or none: null) and then gains others, in this order. Only
// the experience and fading tables are changed.
void change_parents_in_learning_tables(TableChanges& changes, const Node& node, const Node* lost,
                                       const std::vector<Node*>& gained);

// The node's tables start anew over other parents: none of them has numbers then.
void restart_tables(TableChanges& changes, Node& node, const NodeList& parents);

// Renames the old parent in the child's tables.
void replace_parent_in_tables(Node& child, const Node& old_parent, Node& new_parent) noexcept;

// The node's own table, with its numbers or without; null when nobody has asked for it.
inline Table* own_table(const Node& node) noexcept {
  return node.table ? node.table.get() : node.blank_table.get();
}

// Every table that the node has.
inline std::array<Table*, 3> tables_of(const Node& node) noexcept {
  return {own_table(node), node.experience_table.get(), node.fading_table.get()};
}

// The table over the given parents and the node, without numbers. It gets its serial number when it is
// installed in the node.
std::unique_ptr<Table> default_node_table(Node& node, const NodeList& parents);

void install_table(std::unique_ptr<Table>& slot, std::unique_ptr<Table> table) noexcept;

// The nodes of the node's own table if these were its parents.
NodeList node_table_nodes(Node& node, const NodeList& parents);

NodeList discrete_nodes(const NodeList& nodes);

// A copy for a domain, with its nodes replaced as `map` says; keeps the kind. Not registered.
template <class Map>
std::unique_ptr<Table> copy_with_nodes(const Table& table, Domain& domain, Map map) {
  std::unique_ptr<Table> copy = clone_table(table);
  for (Node* node : table.nodes) copy->nodes.replace(node, map(node));
  copy->domain = &domain;
  copy->kind = table.kind;
  return copy;
}

// The same for another owner.
template <class Map>
std::unique_ptr<Table> copy_for_owner(const Table& table, Node& owner, Map map) {
  std::unique_ptr<Table> copy = copy_with_nodes(table, *owner.domain, map);
  copy->owner = &owner;
  return copy;
}

}  // namespace tv

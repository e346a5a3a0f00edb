// The tables of a node as they are first asked for, and the changes that follow the graph and the states.
#include "network/node_tables.h"

#include <algorithm>
#include <new>

#include "api/boundary.h"
#include "network/domain.h"
#include "network/node_operations.h"
#include "tables/table_numbers.h"
#include "tables/table_operations.h"

namespace tv {
namespace {

// Calls change(table) for each table that the node has.
template <class Change>
void for_each_table(const Node& node, Change change) {
  for (Table* table : tables_of(node))
    if (table) change(*table);
}

bool stands_in_tables_of(const Node& parent, const Node& child) noexcept {
  return child.category != tv_category_function && is_discrete_or_continuous(parent);
}

std::unique_ptr<Table> default_table(Node& node, TableKind kind, const NodeList& nodes) {
  std::unique_ptr<Table> table = new_table(*node.domain, TableKind::free, &node);
  table->kind = kind;
  set_table_nodes(*table, nodes);
  if (kind == TableKind::node && is_continuous(node))
    for (size_t i = 1; i < table->tail_marks.size(); ++i) table->tail_marks[i] = 1;
  return table;
}

Table* learning_table(Node& node, std::unique_ptr<Table>& table, TableKind kind) {
  if (!table) install_table(table, default_table(node, kind, discrete_nodes(node.parents)));
  return table.get();
}

}  // namespace

void TableChanges::add(Table& table, std::unique_ptr<Table> contents) {
  changes_.push_back({table.owner, &table, std::move(contents)});
}

void TableChanges::set_node_table(Node& node, std::unique_ptr<Table> contents) {
  Table* const table = own_table(node);
  if (table) inherit_identity(*contents, *table);
  changes_.push_back({&node, table, std::move(contents)});
}

void TableChanges::commit() noexcept {
  for (Change& change : changes_) {
    if (change.table)
      take_over(*change.table, std::move(change.contents));
    else
      install_table(change.owner->table, std::move(change.contents));
    if (!change.owner) continue;  // of a chain potential
    change.owner->table_checked = false;
    if (change.owner->blank_table && has_data(*change.owner->blank_table))
      change.owner->table = std::move(change.owner->blank_table);
    else if (change.owner->table && !has_data(*change.owner->table))
      change.owner->blank_table = std::move(change.owner->table);
  }
  changes_.clear();
}

NodeList discrete_nodes(const NodeList& nodes) {
  NodeList discrete;
  discrete.reserve(nodes.size());
  for (Node* node : nodes)
    if (is_discrete(*node)) discrete.push_back(node);
  return discrete;
}

NodeList node_table_nodes(Node& node, const NodeList& parents) {
  NodeList nodes;
  const bool parents_count = node.category != tv_category_function;
  nodes.reserve(parents.size() + 1);
  for (Node* parent : parents)
    if (parents_count && is_discrete(*parent)) nodes.push_back(parent);
  if (is_discrete_or_continuous(node)) nodes.push_back(&node);
  for (Node* parent : parents)
    if (parents_count && is_continuous(*parent)) nodes.push_back(parent);
  return nodes;
}

std::unique_ptr<Table> default_node_table(Node& node, const NodeList& parents) {
  return default_table(node, TableKind::node, node_table_nodes(node, parents));
}

void install_table(std::unique_ptr<Table>& slot, std::unique_ptr<Table> table) noexcept {
  table->number = ++table->domain->table_count;
  slot = std::move(table);
  note_new_layout(*slot);
}

void add_parent_to_tables(TableChanges& changes, Node& child, Node& parent) {
  if (!stands_in_tables_of(parent, child)) return;
  for_each_table(child, [&](Table& table) {
    if (table.kind != TableKind::node && !is_discrete(parent)) return;
    changes.add(table, table_with_parent(table, &parent));
  });
}

void remove_parent_from_tables(TableChanges& changes, Node& child, const Node& parent) {
  if (!stands_in_tables_of(parent, child)) return;
  for_each_table(child, [&](Table& table) {
    if (!table.nodes.contains(&parent)) return;
    changes.add(table, table_without_parent(table, &parent));
  });
}

void change_parents_in_learning_tables(TableChanges& changes, const Node& node, const Node* lost,
                                       const std::vector<Node*>& gained) {
  for (Table* table : {node.experience_table.get(), node.fading_table.get()}) {
    if (!table) continue;
    std::unique_ptr<Table> contents;
    if (lost) contents = table_without_parent(*table, lost);
    for (Node* parent : gained)
      if (is_discrete(*parent)) contents = table_with_parent(contents ? *contents : *table, parent);
    if (contents) changes.add(*table, std::move(contents));
  }
}

void restart_tables(TableChanges& changes, Node& node, const NodeList& parents) {
  if (own_table(node)) changes.set_node_table(node, default_node_table(node, parents));
  for (Table* table : {node.experience_table.get(), node.fading_table.get()}) {
    if (!table) continue;
    std::unique_ptr<Table> contents = default_table(node, table->kind, discrete_nodes(parents));
    inherit_identity(*contents, *table);
    changes.add(*table, std::move(contents));
  }
}

void change_states_in_tables(TableChanges& changes, Node& node, size_t count) {
  const auto change = [&](Node& owner) {
    for_each_table(owner, [&](Table& table) {
      if (!table.nodes.contains(&node)) return;
      const tv_number_t fill = &owner == &node ? 0 : default_number(table);
      changes.add(table, table_with_state_count(table, &node, count, fill));
    });
  };
  change(node);
  for (Node* child : node.children) change(*child);
  for (const ChainPotential& potential : node.domain->chain_potentials) {
    Table& table = *potential.table;
    if (table.nodes.contains(&node)) changes.add(table, table_with_state_count(table, &node, count, 1));
  }
}

tv_status_t reorder_states_in_tables(TableChanges& changes, Node& node, const size_t* order) {
  tv_status_t status = tv_status_none;
  const auto change = [&](Table& table) {
    if (!table.nodes.contains(&node) || status) return;
    std::unique_ptr<Table> contents = clone_table(table);
    inherit_identity(*contents, table);
    status = permute_table_states(*contents, &node, order);
    changes.add(table, std::move(contents));
  };
  for_each_table(node, change);
  for (Node* child : node.children) for_each_table(*child, change);
  for (const ChainPotential& potential : node.domain->chain_potentials) change(*potential.table);
  return status;
}

void replace_parent_in_tables(Node& child, const Node& old_parent, Node& new_parent) noexcept {
  for_each_table(child, [&](Table& table) {
    table.nodes.replace(&old_parent, &new_parent);
    note_new_layout(table);
  });
}

Table* table_of(Node& node) {
  if (is_real_valued_function(node) || node.category == tv_category_instance) {
    store_status(tv_status_usage);
    return nullptr;
  }
  if (!own_table(node)) install_table(node.blank_table, default_node_table(node, node.parents));
  return own_table(node);
}

Table* filled_node_table(Node& node) {
  if (Table* table = own_table(node)) return allocate_table_data(*table) ? nullptr : table;
  std::unique_ptr<Table> table = default_node_table(node, node.parents);
  if (allocate_table_data(*table)) return nullptr;  // nothing stays of it
  install_table(node.table, std::move(table));
  return node.table.get();
}

Table* experience_table_of(Node& node) {
  if (!require(node.category == tv_category_chance, tv_status_usage)) return nullptr;
  return learning_table(node, node.experience_table, TableKind::experience);
}

Table* fading_table_of(Node& node) {
  if (!require(node.category == tv_category_chance && is_discrete(node), tv_status_usage)) return nullptr;
  return learning_table(node, node.fading_table, TableKind::fading);
}

}  // namespace tv

tv_table_t* tv_node_get_table(tv_node_t* node) {
  return tv::guarded(static_cast<tv_table_t*>(nullptr),
                     [&]() -> tv_table_t* { return tv::check(node) ? tv::table_of(*node) : nullptr; });
}

tv_table_t* tv_node_get_experience_table(tv_node_t* node) {
  return tv::guarded(static_cast<tv_table_t*>(nullptr), [&]() -> tv_table_t* {
    return tv::check(node) ? tv::experience_table_of(*node) : nullptr;
  });
}

tv_table_t* tv_node_get_fading_table(tv_node_t* node) {
  return tv::guarded(static_cast<tv_table_t*>(nullptr),
                     [&]() -> tv_table_t* { return tv::check(node) ? tv::fading_table_of(*node) : nullptr; });
}

int tv_node_has_experience_table(const tv_node_t* node) {
  return tv::check(node) ? node->experience_table != nullptr : -1;
}

int tv_node_has_fading_table(const tv_node_t* node) {
  return tv::check(node) ? node->fading_table != nullptr : -1;
}

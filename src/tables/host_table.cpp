// Hands tables over to the host, and detaches them from nodes that are deleted.
#include "tables/host_table.h"

#include "network/domain.h"

namespace tv {

Table* hand_over(std::unique_ptr<Table> table) {
  table->own_state_counts.reserve(table->discrete_count);
  for (size_t i = 0; i < table->discrete_count; ++i)
    table->own_state_counts.push_back(table->nodes[i]->number_of_states);
  table->host_place = table->domain->host_tables.size();
  table->domain->host_tables.push_back(table.get());
  return table.release();
}

void delete_host_table(Table* table) noexcept {
  if (table->domain && !table->domain->host_tables.empty()) {
    std::vector<Table*>& tables = table->domain->host_tables;
    tables.back()->host_place = table->host_place;
    tables[table->host_place] = tables.back();
    tables.pop_back();
  }
  delete table;
}

void forget_node(const Node& node) noexcept {
  for (Table* table : node.domain->host_tables) table->nodes.replace(&node, nullptr);
}

void forget_domain(const Domain& domain) noexcept {
  for (Table* table : domain.host_tables) {
    for (size_t i = 0; i < table->nodes.size(); ++i) table->nodes.replace(table->nodes[i], nullptr);
    table->domain = nullptr;
  }
}

}  // namespace tv

#include "node_table.h"

#include "memory.h"

namespace program {

NodeTable layout_of(tv_node_t* node) {
  NodeTable table;
  if (is_discrete(node)) table.columns = states_of(node);
  tv_table_t* own = tv_node_get_table(node);
  if (!own) fail_with_status(name_of(node));
  for (tv_node_t* member : each(tv_table_get_nodes(own))) {
    if (member == node || !is_discrete(member)) continue;
    table.parents.push_back(member);
    table.rows *= states_of(member);
  }
  return table;
}

NodeTable table_of(tv_node_t* node) {
  NodeTable table = layout_of(node);
  if (tv_node_get_model(node) && tv_node_generate_table(node) != tv_status_none) return table;
  if (!is_continuous(node)) table.numbers = tv_table_get_data(tv_node_get_table(node));
  return table;
}

bool can_be_looked_at(const Network& network, tv_node_t* node) {
  constexpr double kMostNumbers = 1 << 26;
  const double numbers = table_numbers(node);
  const auto limit = static_cast<double>(network.memory_limit());
  return numbers <= kMostNumbers && (limit == 0 || numbers * sizeof(tv_number_t) <= limit);
}

std::vector<size_t> configuration_of(const NodeTable& table, size_t row) {
  std::vector<size_t> states(table.parents.size());
  for (size_t i = states.size(); i-- > 0;) {
    states[i] = row % states_of(table.parents[i]);
    row /= states_of(table.parents[i]);
  }
  return states;
}

std::string configuration_text(const NodeTable& table, size_t row) {
  std::string text;
  const std::vector<size_t> states = configuration_of(table, row);
  for (size_t i = 0; i < states.size(); ++i)
    text += (i ? ", " : "") + name_of(table.parents[i]) + " = " + state_name(table.parents[i], states[i]);
  return text;
}

}  // namespace program

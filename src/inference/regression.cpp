// The distribution of a continuous node as a host sets and reads it: for each configuration of the discrete
// parents a regression on the continuous ones. It is kept in the node's own table, whose block holds the
// intercept as the node's mean, each coefficient as the covariance of node and parent, and the variance.
#include <cmath>

#include "api/boundary.h"
#include "inference/cg_engine.h"
#include "inference/reset.h"
#include "network/node_operations.h"

namespace tv {
namespace {

size_t place_among_continuous(const Table& table, const Node& node) noexcept {
  return table.nodes.position(&node) - table.discrete_count;
}

size_t intercept_entry(const Table& table) noexcept {
  return cg_mean_index(place_among_continuous(table, *table.owner));
}

size_t coefficient_entry(const Table& table, const Node& parent) noexcept {
  return cg_covariance_index(place_among_continuous(table, *table.owner),
                             place_among_continuous(table, parent));
}

size_t variance_entry(const Table& table) noexcept { return coefficient_entry(table, *table.owner); }

// The table of a continuous node, with its numbers, when there is such a configuration; null with the
// status stored otherwise. Without a parent to look for, the node itself is named.
Table* regression_table(Node* node, const Node* parent, size_t configuration) {
  const bool is_own = node == parent;
  if (!check(node && parent && is_continuous(*node) && is_continuous(*parent) &&
             (is_own || node->parents.contains(parent))))
    return nullptr;
  Table* table = _tv_node_get_table(*node);
  if (!table || !check(configuration < table->size)) return nullptr;
  return store_status(allocate_table_data(*table)) ? nullptr : table;
}

// Some of what has been propagated is computed when it is asked for. It must not come from numbers that are
// to be propagated next.
void secure_present_answers(const Node& node) noexcept {
  if (!is_compiled(*node.domain)) return;
  const JunctionTree& tree = *compiled(node).tree;
  if (tree.equilibrium == tv_equilibrium_none) return;
  CgEngine& engine = *engine_of(tree).cg;
  collect_component(engine, engine.cliques[cg_node(engine, node).assigned].component);
}

template <class Entry>
tv_status_t set_entry(Node* node, const Node* parent, size_t configuration, double value, Entry entry) {
  return guarded([&]() -> tv_status_t {
    if (!check(std::isfinite(value))) return tv_status_usage;
    Table* table = regression_table(node, parent, configuration);
    if (!table) return current_status();
    secure_present_answers(*node);
    table->cg_data[configuration * table->cg_size + entry(*table)] = value;
    _tv_node_touch_table(*node);
    return tv_status_none;
  });
}

template <class Entry>
double get_entry(Node* node, const Node* parent, size_t configuration, Entry entry) {
  return guarded(-1.0, [&] {
    const Table* table = regression_table(node, parent, configuration);
    return table ? table->cg_data[configuration * table->cg_size + entry(*table)] : -1.0;
  });
}

}  // namespace
}  // namespace tv

tv_status_t tv_node_set_intercept(tv_node_t* node, size_t configuration, double value) {
  return tv::set_entry(node, node, configuration, value, tv::intercept_entry);
}

tv_status_t tv_node_set_coefficient(tv_node_t* node, tv_node_t* parent, size_t configuration, double value) {
  if (!tv::check(node != parent)) return tv_status_usage;
  return tv::set_entry(node, parent, configuration, value,
                       [&](const tv::Table& table) { return tv::coefficient_entry(table, *parent); });
}

tv_status_t tv_node_set_conditional_variance(tv_node_t* node, size_t configuration, double value) {
  if (!tv::check(!(value < 0))) return tv_status_usage;
  return tv::set_entry(node, node, configuration, value, tv::variance_entry);
}

double tv_node_get_intercept(tv_node_t* node, size_t configuration) {
  return tv::get_entry(node, node, configuration, tv::intercept_entry);
}

double tv_node_get_coefficient(tv_node_t* node, tv_node_t* parent, size_t configuration) {
  if (!tv::check(node != parent)) return -1.0;
  return tv::get_entry(node, parent, configuration,
                       [&](const tv::Table& table) { return tv::coefficient_entry(table, *parent); });
}

double tv_node_get_conditional_variance(tv_node_t* node, size_t configuration) {
  return tv::get_entry(node, node, configuration, tv::variance_entry);
}

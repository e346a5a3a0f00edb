// The distribution of a continuous node as a host sets and reads it: for each configuration of the discrete
// parents a regression on the continuous ones. It is stored in the node's own table, whose block holds the
// intercept as the node's mean, each coefficient as the covariance of node and parent, and the variance.
#include <cmath>

#include "api/boundary.h"
#include "inference/gaussian/cg_engine.h"
#include "inference/reset.h"
#include "network/node_operations.h"

namespace tv {
namespace {

// The position of one number of the distribution in the blocks of the node's table.
using Entry = size_t (*)(const Table& table, const Node& parent);

size_t place_among_continuous(const Table& table, const Node& node) noexcept {
  return table.nodes.position(&node) - table.discrete_count;
}

size_t intercept_entry(const Table& table, const Node&) noexcept {
  return cg_mean_index(place_among_continuous(table, *table.owner));
}

// The variance, where the node itself stands for the parent.
size_t coefficient_entry(const Table& table, const Node& parent) noexcept {
  return cg_covariance_index(place_among_continuous(table, *table.owner),
                             place_among_continuous(table, parent));
}

// Whether there is such a number; the node itself stands for a parent where none is concerned.
bool is_place(const Node* node, const Node* parent, size_t configuration) noexcept {
  if (!node || !parent || !is_continuous(*node) || !is_continuous(*parent)) return false;
  if (node != parent && !node->parents.contains(parent)) return false;
  size_t configurations = 1;
  for (const Node* each : node->parents)
    if (is_discrete(*each)) configurations = size_multiply(configurations, each->number_of_states);
  return configuration < configurations;
}

// Some results of a propagation are computed when they are asked for. They must not come from numbers that
// are to be propagated next.
void secure_present_answers(const Node& node) noexcept {
  if (!is_compiled(*node.domain)) return;
  const TreeEngine& discrete = *placement(node).tree->engine;
  if (discrete.equilibrium == tv_equilibrium_none) return;
  CgEngine& engine = *discrete.cg;
  collect_component(engine, engine.cliques[cg_node(engine, node).assigned].component);
}

tv_status_t set_entry(Node* node, const Node* parent, size_t configuration, double value, Entry entry) {
  return guarded([&]() -> tv_status_t {
    if (!check(std::isfinite(value) && is_place(node, parent, configuration))) return tv_status_usage;
    Table* table = filled_node_table(*node);
    if (!table) return current_status();
    secure_present_answers(*node);
    table->cg_data[configuration * table->cg_size + entry(*table, *parent)] = value;
    _tv_node_touch_table(*node);
    return tv_status_none;
  });
}

// Creates no table: where none has been set, the numbers are the same in every configuration.
double get_entry(Node* node, const Node* parent, size_t configuration, Entry entry) {
  return guarded(-1.0, [&] {
    if (!check(is_place(node, parent, configuration))) return -1.0;
    if (!node->table) return node == parent && entry == coefficient_entry ? 1.0 : 0.0;
    return node->table->cg_data[configuration * node->table->cg_size + entry(*node->table, *parent)];
  });
}

}  // namespace
}  // namespace tv

tv_status_t tv_node_set_intercept(tv_node_t* node, size_t configuration, double value) {
  return tv::set_entry(node, node, configuration, value, tv::intercept_entry);
}

tv_status_t tv_node_set_coefficient(tv_node_t* node, tv_node_t* parent, size_t configuration, double value) {
  if (!tv::check(node != parent)) return tv_status_usage;
  return tv::set_entry(node, parent, configuration, value, tv::coefficient_entry);
}

tv_status_t tv_node_set_conditional_variance(tv_node_t* node, size_t configuration, double value) {
  if (!tv::check(!(value < 0))) return tv_status_usage;
  return tv::set_entry(node, node, configuration, value, tv::coefficient_entry);
}

double tv_node_get_intercept(tv_node_t* node, size_t configuration) {
  return tv::get_entry(node, node, configuration, tv::intercept_entry);
}

double tv_node_get_coefficient(tv_node_t* node, tv_node_t* parent, size_t configuration) {
  if (!tv::check(node != parent)) return -1.0;
  return tv::get_entry(node, parent, configuration, tv::coefficient_entry);
}

double tv_node_get_conditional_variance(tv_node_t* node, size_t configuration) {
  return tv::get_entry(node, node, configuration, tv::coefficient_entry);
}

#include "net/writable.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "expr/expression.h"
#include "network/node_operations.h"
#include "network/refusals.h"

namespace tv {
namespace {

constexpr double kLargest = std::numeric_limits<double>::max();

// A list of the states of a node alone is read without signs.
tv_status_t check_numbers(const Table& table) noexcept {
  const bool is_probability = is_probability_table(table);
  const bool is_flat = is_probability && table.nodes.size() == 1 && table.continuous_count == 0;
  for (const tv_number_t number : table.data)
    if (!std::isfinite(number) || (is_flat && number < 0))
      return is_probability ? tv_status_invalid_probability_potential : tv_status_usage;
  return tv_status_none;
}

tv_status_t check_regressions(const Table& table) noexcept {
  for (const double number : table.cg_data)
    if (!std::isfinite(number)) return tv_status_invalid_probability_potential;
  if (table.continuous_count == 0 || table.cg_data.size() == 0) return tv_status_none;
  const size_t place = table.nodes.position(table.owner) - table.discrete_count;
  for (size_t i = cg_covariance_index(place, place); i < table.cg_data.size(); i += table.cg_size)
    if (table.cg_data[i] < 0) return tv_status_invalid_probability_potential;
  return tv_status_none;
}

tv_status_t check_tables(const Node& node) noexcept {
  for (const Table* table : {has_current_table(node) ? node.table.get() : nullptr,
                             node.experience_table.get(), node.fading_table.get()}) {
    if (!table) continue;
    const tv_status_t status = is_continuous(node) && table->kind == TableKind::node
                                   ? check_regressions(*table)
                                   : check_numbers(*table);
    if (status) return status;
  }
  return tv_status_none;
}

// The largest double stands for infinity, which only the outer bounds of intervals may be.
tv_status_t check_state_values(const Node& node) noexcept {
  const bool is_interval = node.subtype == tv_subtype_interval;
  if (!is_discrete(node) || node.state_values.empty() || (!is_interval && node.subtype != tv_subtype_number))
    return tv_status_none;
  const size_t count = node.number_of_states;
  for (size_t i = is_interval ? 1 : 0; i < count; ++i)
    if (!(std::fabs(node.state_values[i]) < kLargest)) return tv_status_invalid_state_values;
  return tv_status_none;
}

// Nodes may have the names of truth values, which then have no name of their own.
struct TakenNames {
  bool is_false, is_true;
};

tv_status_t check_expressions(const Model& model, const TakenNames& taken) {
  if (!has_all_expressions(model)) return tv_status_none;
  bool is_fine = true;
  for (const Expression* expression : model.expressions) {
    if (expression->count > kMaxCount) return tv_status_no_memory;
    is_fine = is_fine && nesting_of_text(*expression) <= kMaxNesting;
    for_each_part(*expression, [&](const Expression& part) {
      if (part.op == tv_operator_number) is_fine = is_fine && std::isfinite(part.number);
      if (part.op == tv_operator_boolean)
        is_fine = is_fine && !(part.number != 0 ? taken.is_true : taken.is_false);
    });
  }
  return is_fine ? tv_status_none : tv_status_invalid_expression;
}

}  // namespace

bool is_probability_table(const Table& table) noexcept {
  return table.kind == TableKind::chain ||
         (table.kind == TableKind::node && table.owner->category != tv_category_utility);
}

bool has_all_expressions(const Model& model) noexcept {
  const std::vector<Expression*>& expressions = model.expressions;
  return !expressions.empty() &&
         std::find(expressions.begin(), expressions.end(), nullptr) == expressions.end();
}

tv_status_t check_is_writable(Domain& domain) {
  const TakenNames taken{find_node(domain, "false") != nullptr, find_node(domain, "true") != nullptr};
  for (const Node& node : domain.nodes) {
    if (tv_status_t status = check_state_values(node))
      return refuse(status, "a state value of \"%s\" is infinite", shown_name(node));
    if (tv_status_t status = check_tables(node))
      return refuse(status, "a table of \"%s\" has a number that cannot be written", shown_name(node));
    if (!node.model) continue;
    if (tv_status_t status = check_expressions(*node.model, taken))
      return refuse(status, "the model of \"%s\" has an expression that cannot be written", shown_name(node));
  }
  for (const ChainPotential& potential : domain.chain_potentials)
    if (tv_status_t status = check_numbers(*potential.table))
      return refuse(status, "the potential of \"%s\" has a number that cannot be written",
                    shown_name(*potential.children.front()));
  return tv_status_none;
}

}  // namespace tv

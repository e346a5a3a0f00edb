// States of discrete nodes: how many there are, their labels and values, and their order.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <string>
#include <utility>

#include "api/boundary.h"
#include "api/memory.h"
#include "network/domain.h"
#include "network/node_operations.h"
#include "network/node_tables.h"
#include "network/refusals.h"

namespace tv {
namespace {

constexpr double kUnsetValue = -1.0;

// An entered state is kept with a sign.
constexpr size_t kMostStates = kHugeSize / 2;

bool is_interval(const Node& node) noexcept { return node.subtype == tv_subtype_interval; }

// Whether the entry of the state values means something: a value, or one of the bounds.
bool has_value_entry(const Node& node, size_t state) noexcept {
  if (!is_discrete(node)) return false;
  if (is_interval(node)) return state <= node.number_of_states;
  return node.subtype == tv_subtype_number && state < node.number_of_states;
}

double default_value(const Node& node, size_t state) noexcept {
  if (!is_interval(node)) return kUnsetValue;
  if (state == 0) return -DBL_MAX;
  return state == node.number_of_states ? DBL_MAX : kUnsetValue;
}

// The upper bound stays the last entry, whatever the number of states.
std::vector<double> resized_values(const Node& node, size_t count) {
  std::vector<double> values = node.state_values;
  if (values.empty()) return values;
  const double upper_bound = values.back();
  values.pop_back();
  values.resize(count, kUnsetValue);
  values.push_back(upper_bound);
  return values;
}

// New entry i of the result is entry order[i] of `entries`; those behind the states stay.
template <class T>
std::vector<T> permuted(const std::vector<T>& entries, const size_t* order, size_t count) {
  std::vector<T> result = entries;
  for (size_t i = 0; i < count && !entries.empty(); ++i) result[i] = entries[order[i]];
  return result;
}

bool is_permutation(const size_t* order, size_t count) {
  std::vector<bool> seen(count, false);
  for (size_t i = 0; i < count; ++i) {
    if (order[i] >= count || seen[order[i]]) return false;
    seen[order[i]] = true;
  }
  return true;
}

}  // namespace

tv_status_t set_number_of_states(Node& node, size_t count) {
  if (!is_discrete(node)) return refuse_for_kind(&node, "a discrete one");
  if (count == 0) return refuse(tv_status_usage, "node \"%s\" needs a state", shown_name(node));
  if (node.subtype == tv_subtype_boolean && count != node.number_of_states)
    return refuse(tv_status_usage, "node \"%s\" is boolean and keeps its two states", shown_name(node));
  if (count == node.number_of_states) return tv_status_none;
  if (count > kMostStates) return store_status(tv_status_no_memory);
  std::vector<std::string> labels = node.state_labels;
  if (!labels.empty()) labels.resize(count);
  std::vector<double> values = resized_values(node, count);
  TableChanges changes;
  change_states_in_tables(changes, node, count);
  const ModelHooks& models = *node.domain->hooks->models;
  ModelChanges model_changes = models.with_states(node, count);

  changes.commit();
  models.commit(model_changes);
  node.number_of_states = count;
  forget_case_states_from(node, count);
  node.state_labels.swap(labels);
  node.state_values.swap(values);
  node.entered.state = kNoEvidence;
  std::vector<tv_number_t>().swap(node.entered.finding);
  structure_changed(*node.domain);
  return tv_status_none;
}

tv_status_t reorder_states(Node& node, const size_t* order) {
  const size_t count = node.number_of_states;
  if (!is_discrete(node) || !is_permutation(order, count)) return store_status(tv_status_usage);
  std::vector<std::string> labels = permuted(node.state_labels, order, count);
  std::vector<double> values = permuted(node.state_values, order, count);
  std::vector<tv_number_t> finding = permuted(node.entered.finding, order, count);
  TableChanges changes;
  if (tv_status_t status = reorder_states_in_tables(changes, node, order)) return status;
  const ModelHooks& models = *node.domain->hooks->models;
  ModelChanges model_changes = models.with_reordered_states(node, order);

  changes.commit();
  models.commit(model_changes);
  node.state_labels.swap(labels);
  node.state_values.swap(values);
  node.entered.finding.swap(finding);
  reorder_case_states(node, order);
  if (node.entered.state >= 0) {
    const size_t* place = std::find(order, order + count, static_cast<size_t>(node.entered.state));
    node.entered.state = place - order;
  }
  structure_changed(*node.domain);
  return tv_status_none;
}

void set_state_label(Node& node, size_t state, std::string_view label) {
  if (!node.state_labels.empty() && node.state_labels[state] == label) return;
  std::string copy(label);
  if (node.state_labels.empty()) node.state_labels.resize(node.number_of_states);
  node.state_labels[state].swap(copy);
  if (node.subtype == tv_subtype_label) node.domain->hooks->models->mark_all_stale(node);
}

const char* state_label(const Node& node, size_t state) noexcept {
  if (!node.state_labels.empty() && !node.state_labels[state].empty())
    return node.state_labels[state].c_str();
  if (node.subtype != tv_subtype_boolean) return "";
  return state == 0 ? "false" : "true";
}

tv_status_t set_state_value(Node& node, size_t state, double value) {
  const bool is_outer_bound = is_interval(node) && (state == 0 || state == node.number_of_states);
  if (std::isnan(value) || (std::isinf(value) && !is_outer_bound))
    return refuse(tv_status_usage, "node \"%s\": the value of state %zu must be a finite number",
                  shown_name(node), state);
  if (node.state_values.empty()) {
    std::vector<double> values(size_add(node.number_of_states, 1));
    for (size_t i = 0; i < values.size(); ++i) values[i] = default_value(node, i);
    node.state_values.swap(values);
  }
  if (node.state_values[state] == value) return tv_status_none;
  node.state_values[state] = value;
  node.domain->hooks->models->mark_all_stale(node);
  return tv_status_none;
}

double state_value(const Node& node, size_t state) noexcept {
  return node.state_values.empty() ? default_value(node, state) : node.state_values[state];
}

}  // namespace tv

size_t tv_node_get_number_of_states(const tv_node_t* node) {
  return tv::check(node && tv::is_discrete(*node)) ? node->number_of_states : tv::kNone;
}

tv_status_t tv_node_set_number_of_states(tv_node_t* node, size_t count) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(node)) return tv_status_usage;
    return tv::set_number_of_states(*node, count);
  });
}

tv_status_t tv_node_set_state_label(tv_node_t* node, size_t state, const char* label) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(node && tv::is_discrete(*node) && state < node->number_of_states && label))
      return tv::refuse_state(node, state);
    tv::set_state_label(*node, state, label);
    return tv_status_none;
  });
}

const char* tv_node_get_state_label(const tv_node_t* node, size_t state) {
  if (!tv::check(node && tv::is_discrete(*node) && state < node->number_of_states))
    return tv::refuse_state(node, state), nullptr;
  return tv::state_label(*node, state);
}

ptrdiff_t tv_node_get_state_index_from_label(const tv_node_t* node, const char* label) {
  if (!tv::check(node && tv::is_discrete(*node) && label)) return -1;
  // Where no label is stored, two states show what all others are like.
  const size_t count =
      node->state_labels.empty() ? std::min<size_t>(node->number_of_states, 2) : node->number_of_states;
  ptrdiff_t found = -1;
  for (size_t state = 0; state < count; ++state) {
    if (std::string_view(tv::state_label(*node, state)) != label) continue;
    if (found >= 0) return -1;  // ambiguous
    found = static_cast<ptrdiff_t>(state);
  }
  return found;
}

tv_status_t tv_node_set_state_value(tv_node_t* node, size_t state, double value) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(node && tv::has_value_entry(*node, state))) return tv_status_usage;
    return tv::set_state_value(*node, state, value);
  });
}

double tv_node_get_state_value(const tv_node_t* node, size_t state) {
  return tv::check(node && tv::has_value_entry(*node, state)) ? tv::state_value(*node, state) : -1.0;
}

tv_status_t tv_node_reorder_states(tv_node_t* node, const size_t* order) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(node && order)) return tv_status_usage;
    return tv::reorder_states(*node, order);
  });
}

#include "net/case_values.h"

#include <charconv>
#include <cmath>
#include <cstring>

#include "network/node_operations.h"
#include "text/number_text.h"
#include "text/state_text.h"

namespace tv {
namespace {

// What reading the written form of a number gives.
double rounded(double value) noexcept {
  char text[kNumberRoom + 1];
  const char* const end = write_digits(text, value, 8);
  std::from_chars(text, end, value);
  return value;
}

// The number node's state whose value is this one, exactly or as it was written; the number of states when
// there is none.
size_t find_numbered_state(const Node& node, double value) noexcept {
  for (const bool as_written : {false, true})
    for (size_t state = 0; state < node.number_of_states; ++state) {
      const double own = node.state_values[state];
      if ((as_written ? rounded(own) : own) == value) return state;
    }
  return node.number_of_states;
}

// A bound belongs to the interval above it, the last one to the last interval.
size_t find_interval(const Node& node, double value) noexcept {
  const size_t count = node.number_of_states;
  if (value == node.state_values[count]) return count - 1;
  for (size_t state = 0; state < count; ++state)
    if (node.state_values[state] <= value && value < node.state_values[state + 1]) return state;
  return count;
}

std::string short_text(double value) {
  char text[kNumberRoom];
  return {text, write_digits(text, value, 8)};
}

}  // namespace

std::string finding_text(const Node& node, size_t state) {
  const bool is_number = node.subtype == tv_subtype_number && state_values_are_valid(node);
  // Two values that look the same when written cannot be told apart by them.
  if (is_number && find_numbered_state(node, rounded(node.state_values[state])) != state)
    return "#" + std::to_string(state);
  return state_text(node, state);
}

std::string state_of_index(const Node& node, double index, size_t& state) {
  if (!(index >= 0 && index < static_cast<double>(node.number_of_states) && index == std::floor(index)))
    return "`#' must be followed by a valid state index";
  state = static_cast<size_t>(index);
  return {};
}

std::string state_of_label(const Node& node, const std::string& label, size_t& state) {
  if (!is_discrete(node) || node.subtype != tv_subtype_label)
    return "state labels are only allowed for labeled nodes";
  size_t matches = 0;
  for (size_t i = 0; i < node.number_of_states; ++i) {
    if (label != (node.state_labels.empty() ? std::string_view() : node.state_labels[i])) continue;
    state = i;
    ++matches;
  }
  return matches == 1 ? "" : "\"" + label + "\" is not a (unique) state label of `" + node.name + "'";
}

std::string state_of_value(Node& node, double value, size_t& state) {
  const bool is_interval = node.subtype == tv_subtype_interval;
  if (!is_discrete(node) || (node.subtype != tv_subtype_number && !is_interval))
    return std::string("node ") + name_of(node) +
           ": numeric findings are only allowed for CG, numbered, and interval nodes";
  if (!state_values_are_valid(node))
    return "the state values of `" + node.name + "' do not form an increasing sequence";
  state = is_interval ? find_interval(node, value) : find_numbered_state(node, value);
  if (state < node.number_of_states) return {};
  return "no state of `" + node.name + "' corresponds to the value " + short_text(value);
}

std::string state_of_word(std::string_view word, size_t& state) {
  if (word != "false" && word != "true") return "state of boolean node should be `false' or `true'";
  state = word == "true";
  return {};
}

bool can_have_findings(const Node& node) noexcept { return is_discrete_or_continuous(node); }

}  // namespace tv

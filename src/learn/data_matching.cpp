#include "learn/data_matching.h"

#include "api/boundary.h"
#include "data/numbers.h"
#include "net/case_values.h"
#include "network/domain.h"
#include "network/node_operations.h"

namespace tv {
namespace {

// Truth values are written in more ways than labels, which stand for nothing but themselves.
std::string state_of_truth_value(std::string_view item, size_t& state) {
  std::string word;
  for (const char c : item) word += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  for (const std::string_view no : {"false", "f", "no", "n", "0"})
    if (word == no) return state = 0, "";
  for (const std::string_view yes : {"true", "t", "yes", "y", "1"})
    if (word == yes) return state = 1, "";
  return "state of boolean node should be `false' or `true'";
}

std::string quoted(const char* item) { return "\"" + std::string(item) + "\""; }

std::string read_state(Node& node, const char* item, size_t& state) {
  double number = 0.0;
  if (node.subtype == tv_subtype_label) {
    std::string message = state_of_label(node, item, state);
    if (message.empty() || item[0] != '#') return message;
  }
  if (item[0] == '#' && read_item_number(item + 1, number)) return state_of_index(node, number, state);
  if (node.subtype == tv_subtype_boolean) return state_of_truth_value(item, state);
  if (!read_item_number(item, number)) return quoted(item) + " is no number";
  return state_of_value(node, number, state);
}

}  // namespace

Node* node_of_column(Domain& domain, std::string_view name) noexcept {
  if (Node* node = find_node(domain, name)) return node;
  Node* found = nullptr;
  for (Node& node : domain.nodes) {
    if (node.label != name) continue;
    if (found) return nullptr;
    found = &node;
  }
  return found;
}

std::string read_observation(Node& node, const char* item, Observation& observation) {
  std::string message;
  if (is_discrete(node)) {
    message = read_state(node, item, observation.state);
  } else if (!read_item_number(item, observation.value)) {
    message = quoted(item) + " is no number";
  }
  observation.is_known = message.empty();
  return message;
}

ColumnObservations::ColumnObservations(Node& node, const DataColumn& column)
    : node_(&node), column_(&column), observations_(column.items.size() + size_t{1}) {
  const std::vector<size_t> counts = count_codes(column);
  for (Code code = 1; code < counts.size(); ++code) {
    if (counts[code] == 0) continue;
    std::string message = read_observation(node, column.items.text(code), observations_[code]);
    if (message.empty()) continue;
    if (unfit_.empty()) unfit_.resize(counts.size());
    unfit_[code] = std::move(message);
  }
}

void report_row(MessageHandler handler, size_t row, const std::string& message) {
  if (handler.function) handler.function(row, message.c_str(), handler.data);
}

}  // namespace tv

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

bool nodes_belong_to(const Domain& domain, const DataSet& data, Node* const* nodes) noexcept {
  for (size_t i = 0; nodes && i < data.number_of_columns(); ++i)
    if (nodes[i] && nodes[i]->domain != &domain) return false;
  return true;
}

std::string item_of_state(const Node& node, size_t state) {
  const std::string finding = finding_text(node, state);
  return finding[0] == '"' ? std::string(state_label(node, state)) : finding;
}

ColumnObservations::ColumnObservations(Node& node, const DataColumn& column)
    : node_(&node), column_(&column), observations_(1) {
  update();
}

void ColumnObservations::forget() {
  observations_.resize(1);
  unfit_.clear();
}

// Items that stand in no row are not looked at.
void ColumnObservations::update() {
  const auto known = static_cast<Code>(observations_.size());
  const Code items = column_->items.size();
  if (known > items) return;
  const std::vector<size_t> counts = count_codes(*column_);
  observations_.resize(items + size_t{1});
  if (!unfit_.empty()) unfit_.resize(observations_.size());
  for (Code code = known; code <= items; ++code) {
    if (counts[code] == 0) continue;
    std::string message = read_observation(*node_, column_->items.text(code), observations_[code]);
    if (message.empty()) continue;
    if (unfit_.empty()) unfit_.resize(observations_.size());
    unfit_[code] = std::move(message);
  }
}

void UnmatchedItems::note(size_t position, const std::string& message, bool is_failure) {
  if (is_failure && !status_)
    status_ = position == kNone ? refuse(tv_status_parse, "%s", message.c_str())
                                : refuse(tv_status_parse, "%s %zu, %s", place_, position, message.c_str());
  if (handler_.function) handler_.function(position, message.c_str(), handler_.data);
}

}  // namespace tv

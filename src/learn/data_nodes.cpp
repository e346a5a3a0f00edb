// Nodes for the columns of a data set, with the states that their items call for.
#include <algorithm>

#include "api/boundary.h"
#include "data/numbers.h"
#include "learn/data_matching.h"
#include "network/domain.h"
#include "network/node_addition.h"
#include "network/node_operations.h"

namespace tv {
namespace {

constexpr size_t kUsualStates = 32;

// What the items of a column are.
struct ColumnContents {
  explicit ColumnContents(const DataColumn& column) {
    const std::vector<size_t> counts = count_codes(column);
    has_numbers = read_numbers(column, counts, numbers);
    std::vector<double> used;
    for (Code code = 1; code < counts.size(); ++code) {
      if (counts[code] == 0) continue;
      items.emplace_back(column.items.text(code));
      used.push_back(numbers[code]);
    }
    std::sort(items.begin(), items.end());
    std::sort(used.begin(), used.end());
    used.erase(std::unique(used.begin(), used.end()), used.end());
    numbers = std::move(used);
  }

  bool are_truth_values() const noexcept {
    return std::all_of(items.begin(), items.end(),
                       [](const std::string& item) { return item == "false" || item == "true"; });
  }

  std::vector<std::string> items;  // distinct, in ascending order of their bytes
  std::vector<double> numbers;     // distinct, in ascending order, where all items are numbers
  bool has_numbers = false;
};

class NodeMaker {
 public:
  NodeMaker(Domain& domain, size_t most_states, MessageHandler handler) noexcept
      : domain_(domain), most_states_(most_states ? most_states : kUsualStates), handler_(handler) {}

  tv_status_t make(const DataSet& data) {
    tv_status_t status = tv_status_none;
    for (const auto& column : data.columns) {
      if (node_of_column(domain_, column->name_text())) continue;
      const ColumnContents contents(*column);
      const std::string trouble = trouble_with(contents);
      if (trouble.empty()) {
        if (tv_status_t failure = add_node(*column, contents)) return failure;
        continue;
      }
      const std::string message = std::string("column \"") + column->name_text() + "\": " + trouble;
      if (!status) status = refuse(tv_status_parse, "%s", message.c_str());
      if (handler_.function) handler_.function(kNone, message.c_str(), handler_.data);
    }
    return status;
  }

 private:
  std::string trouble_with(const ColumnContents& contents) const {
    if (contents.items.empty()) return "all items are missing";
    if (contents.has_numbers || contents.items.size() <= most_states_) return "";
    return std::to_string(contents.items.size()) + " different texts are more than the " +
           std::to_string(most_states_) + " states allowed";
  }

  tv_status_t add_node(const DataColumn& column, const ColumnContents& contents) {
    const bool is_continuous = contents.has_numbers && contents.numbers.size() > most_states_;
    const bool is_boolean = contents.are_truth_values();
    Node* const node =
        new_node(domain_, tv_category_chance, is_continuous ? tv_kind_continuous : tv_kind_discrete,
                 is_boolean             ? tv_subtype_boolean
                 : contents.has_numbers ? tv_subtype_number
                                        : tv_subtype_label);
    if (!node) return current_status();
    if (tv_status_t status = name_node(*node, column.name_text())) return status;
    if (is_continuous || is_boolean) return tv_status_none;
    const size_t states = contents.has_numbers ? contents.numbers.size() : contents.items.size();
    if (tv_status_t status = set_number_of_states(*node, states)) return status;
    for (size_t s = 0; s < states; ++s) {
      if (!contents.has_numbers) {
        set_state_label(*node, s, contents.items[s]);
      } else if (tv_status_t status = set_state_value(*node, s, contents.numbers[s])) {
        return status;
      }
    }
    return tv_status_none;
  }

  // A name that cannot be one of a node becomes its label; its letters and digits still name the node.
  tv_status_t name_node(Node& node, const char* column) {
    std::string name;
    for (const char* c = column; *c; ++c) {
      const bool fits = (*c >= 'a' && *c <= 'z') || (*c >= 'A' && *c <= 'Z') || (*c >= '0' && *c <= '9');
      if (fits || (!name.empty() && name.back() != '_')) name += fits ? *c : '_';
    }
    while (!name.empty() && name.back() == '_') name.pop_back();
    if (_tv_check_name(column, false) == tv_status_none) name = column;
    if (name.empty() || (name[0] >= '0' && name[0] <= '9')) name.insert(0, "_");
    if (name != column) node.label = column;
    std::string candidate = name;
    for (size_t i = 2; find_node(domain_, candidate); ++i) candidate = name + "_" + std::to_string(i);
    return set_name(node, candidate);
  }

  Domain& domain_;
  size_t most_states_;
  MessageHandler handler_;
};

Node** new_nodes(Domain& domain, const DataSet& data, size_t most_states, MessageHandler handler) {
  NodeAddition addition(domain);
  if (tv_status_t status = NodeMaker(domain, most_states, handler).make(data)) {
    store_status(status);
    return nullptr;
  }
  Node** const nodes = addition.new_nodes();
  if (nodes) addition.keep();
  return nodes;
}

}  // namespace
}  // namespace tv

tv_node_t** tv_domain_new_nodes_from_data_set(tv_domain_t* domain, const tv_data_set_t* data,
                                              size_t most_states, tv_error_handler_t handler,
                                              void* handler_data) {
  return tv::guarded(static_cast<tv_node_t**>(nullptr), [&]() -> tv_node_t** {
    if (!tv::check(domain && data)) return nullptr;
    return tv::new_nodes(*domain, *data, most_states, {handler, handler_data});
  });
}

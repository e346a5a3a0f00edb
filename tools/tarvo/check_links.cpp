// Links without influence, and nodes without any effect.
#include <algorithm>
#include <cmath>
#include <set>

#include "check.h"
#include "node_table.h"

namespace program {
namespace {

constexpr double kRounding = 1e-6;

enum class Influence { kSome, kBelowRounding, kNone };

// The largest difference that the state of one parent makes to the numbers of a table.
Influence influence_on(const NodeTable& table, size_t parent) {
  size_t inner = table.columns;
  for (size_t i = parent + 1; i < table.parents.size(); ++i) inner *= states_of(table.parents[i]);
  const size_t states = states_of(table.parents[parent]), outer = table.rows * table.columns / inner / states;
  double difference = 0;
  for (size_t o = 0; o < outer; ++o) {
    const tv_number_t* first = table.numbers + o * states * inner;
    for (size_t i = inner; i < states * inner; ++i)
      difference = std::max(difference,
                            std::fabs(static_cast<double>(first[i]) - static_cast<double>(first[i % inner])));
    if (difference > kRounding) return Influence::kSome;
  }
  return difference > 0 ? Influence::kBelowRounding : Influence::kNone;
}

Influence influence_on_regression(tv_node_t* node, const NodeTable& table, tv_node_t* parent) {
  for (size_t row = 0; row < table.rows && is_continuous(parent); ++row)
    if (tv_node_get_coefficient(node, parent, row) != 0) return Influence::kSome;
  if (is_continuous(parent)) return Influence::kNone;
  const size_t position = static_cast<size_t>(std::find(table.parents.begin(), table.parents.end(), parent) -
                                              table.parents.begin());
  size_t inner = 1;
  for (size_t i = position + 1; i < table.parents.size(); ++i) inner *= states_of(table.parents[i]);
  for (size_t row = 0; row < table.rows; ++row) {
    const size_t first =
        row - row / inner % states_of(parent) * inner;  // the same with the parent's first state
    bool same = tv_node_get_intercept(node, row) == tv_node_get_intercept(node, first) &&
                tv_node_get_conditional_variance(node, row) == tv_node_get_conditional_variance(node, first);
    for (tv_node_t* other : each(tv_node_get_parents(node)))
      if (is_continuous(other))
        same =
            same && tv_node_get_coefficient(node, other, row) == tv_node_get_coefficient(node, other, first);
    if (!same) return Influence::kSome;
  }
  return Influence::kNone;
}

// What a node hears of its parents. Models and functions say it in formulas, which are taken at their word.
class Links {
 public:
  Links(const Network& network, Remarks& remarks) : network_(network), remarks_(remarks) {}

  void check() {
    for (tv_node_t* node : network_.nodes()) check_parents(node);
    if (is_decision_model())
      check_effects_on_utilities();
    else if (network_.nodes().size() > 1)
      check_loose_nodes();
  }

 private:
  bool is_decision_model() const {
    return std::any_of(network_.nodes().begin(), network_.nodes().end(),
                       [](const tv_node_t* node) { return is_decision(node) || is_utility(node); });
  }

  void check_parents(tv_node_t* node) {
    if (is_decision(node)) return check_known_before(node);
    const bool has_numbers = !tv_node_get_model(node) && tv_node_get_category(node) != tv_category_function &&
                             can_be_looked_at(network_, node);
    const NodeTable table = has_numbers ? table_of(node) : NodeTable();
    for (tv_node_t* parent : each(tv_node_get_parents(node))) {
      Influence influence = Influence::kSome;
      const auto position = std::find(table.parents.begin(), table.parents.end(), parent);
      if (has_numbers && is_continuous(node))
        influence = influence_on_regression(node, table, parent);
      else if (table.numbers && position != table.parents.end())
        influence = influence_on(table, static_cast<size_t>(position - table.parents.begin()));
      if (influence == Influence::kSome)
        connected_.insert({node, parent});
      else
        note(influence, node, "\"" + name_of(parent) + "\" has no influence on \"" + name_of(node) + "\"");
    }
  }

  void check_known_before(tv_node_t* decision) {
    std::set<const tv_node_t*> requisite;
    for (const tv_node_t* node : each(tv_node_get_requisite_parents(decision))) requisite.insert(node);
    if (tv_error_code() != tv_status_none) return;
    for (tv_node_t* parent : each(tv_node_get_parents(decision)))
      if (!requisite.count(parent))
        note(Influence::kNone, decision,
             "\"" + name_of(parent) + "\" can make no difference to decision \"" + name_of(decision) + "\"");
  }

  void check_loose_nodes() {
    for (tv_node_t* node : network_.nodes())
      if (!connected_.count(node))
        remarks_.push_back({Severity::kNote, "no_effect", "certain", name_of(node),
                            "\"" + name_of(node) + "\" has nothing to do with any other node"});
  }

  // In a decision model only that counts which leads to a utility, or is known before a decision.
  void check_effects_on_utilities() {
    std::set<const tv_node_t*> useful;
    std::vector<tv_node_t*> reached;
    const auto reach = [&](tv_node_t* node) {
      if (useful.insert(node).second) reached.push_back(node);
    };
    for (tv_node_t* node : network_.nodes()) {
      if (is_utility(node)) reach(node);
      if (is_decision(node))
        for (tv_node_t* parent : each(tv_node_get_parents(node))) reach(parent);
    }
    for (size_t i = 0; i < reached.size(); ++i)
      for (tv_node_t* parent : each(tv_node_get_parents(reached[i]))) reach(parent);
    for (tv_node_t* node : network_.nodes())
      if (!useful.count(node) && !is_real_valued_function(node))
        remarks_.push_back({is_decision(node) ? Severity::kWarning : Severity::kNote, "no_effect", "certain",
                            name_of(node), "no utility depends on \"" + name_of(node) + "\""});
  }

  void note(Influence influence, tv_node_t* node, const std::string& text) {
    remarks_.push_back({Severity::kNote, "no_influence", influence == Influence::kNone ? "certain" : "likely",
                        name_of(node), text});
  }

  const Network& network_;
  Remarks& remarks_;
  // The nodes with a link that has influence.
  std::set<const tv_node_t*> connected_;
};

}  // namespace

void check_links(const Network& network, Remarks& remarks) { Links(network, remarks).check(); }

}  // namespace program

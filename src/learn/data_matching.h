// Columns of a data set as observations of nodes. An item is looked up once for all rows in which it stands.
#pragma once

#include "data/data_set.h"
#include "net/case_values.h"
#include "network/node_operations.h"
#include "network/refusals.h"
#include "text/lexer.h"

namespace tv {

// The node that a column is about when nobody says which: that of its name, or the only one with the name as
// its label. Null when there is none.
Node* node_of_column(Domain& domain, std::string_view name) noexcept;

// Whether a list of nodes by column, or none at all, names only nodes of the domain.
bool nodes_belong_to(const Domain& domain, const DataSet& data, Node* const* nodes) noexcept;

// What a cell says of a node.
struct Observation {
  bool is_known = false;
  size_t state = 0;    // of a discrete node
  double value = 0.0;  // of a continuous one
};

// The observation that an item stands for: a label, a truth value, a number, a value in an interval, or "#"
// and the index of a state. The text returned is empty, or says why there is none.
std::string read_observation(Node& node, const char* item, Observation& observation);

// The other way: the label itself where it names the state, else what a reader takes for the state.
std::string item_of_state(const Node& node, size_t state);

// The observations of all items of a column, by code.
class ColumnObservations {
 public:
  ColumnObservations(Node& node, const DataColumn& column);

  // After rows have been added, or replaced where the items have stayed.
  void update();
  void forget();  // all items, before others get their codes

  Node& node() const noexcept { return *node_; }
  const DataColumn& column() const noexcept { return *column_; }
  const Observation& operator[](Code code) const noexcept { return observations_[code]; }
  size_t size() const noexcept { return observations_.size(); }

  // Calls visit(row, message) for every row whose item is no observation.
  template <class Visit>
  void for_each_unfit(Visit visit) const {
    if (unfit_.empty()) return;
    for (size_t row = 0; row < column_->codes.size(); ++row) {
      const std::string& why = unfit_[column_->codes[row]];
      if (!why.empty()) visit(row, std::string("column \"") + column_->name_text() + "\": " + why);
    }
  }

 private:
  Node* node_;
  const DataColumn* column_;
  std::vector<Observation> observations_;
  std::vector<std::string> unfit_;  // why not, by code; no texts where all items fit
};

// What a column is for.
enum class ColumnUse { observations, observations_if_any, something_else };

// Matches columns to nodes: those of `nodes`, by column and perhaps null, or without a list those of their
// names. use_of(column) tells what it is for; columns of observations without a node are told to
// note(message). `twice` for two columns about one node; the message names them.
template <class UseOf, class Note>
tv_status_t match_columns(Domain& domain, const DataSet& data, Node* const* nodes, UseOf use_of, Note note,
                          std::vector<ColumnObservations>& columns) {
  for (size_t i = 0; i < data.number_of_columns(); ++i) {
    const ColumnUse use = use_of(i);
    if (use == ColumnUse::something_else) continue;
    const char* const name = data.columns[i]->name_text();
    Node* const node = nodes ? nodes[i] : node_of_column(domain, name);
    if (!node && nodes) continue;
    if (!node || !can_have_findings(*node)) {
      if (use == ColumnUse::observations)
        note(std::string("column \"") + name +
             (node ? "\": its node holds no cases" : "\": there is no such node"));
      continue;
    }
    for (const ColumnObservations& other : columns)
      if (&other.node() == node)
        return refuse(tv_status_twice, "columns \"%s\" and \"%s\" are both about node \"%s\"",
                      other.column().name_text(), name, shown_name(*node));
    columns.emplace_back(*node, *data.columns[i]);
  }
  return tv_status_none;
}

// Tells of what fits no node, and remembers the first failure.
class UnmatchedItems {
 public:
  // `place` is what positions are called: rows, or lines.
  UnmatchedItems(MessageHandler handler, const char* place = "row") noexcept
      : handler_(handler), place_(place) {}

  void note(size_t position, const std::string& message, bool is_failure);  // kNone: of a whole column
  tv_status_t status() const noexcept { return status_; }

 private:
  MessageHandler handler_;
  const char* place_;
  tv_status_t status_ = tv_status_none;
};

}  // namespace tv

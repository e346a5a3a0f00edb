// Columns of a data set as observations of nodes. An item is looked up once for all rows in which it stands.
#pragma once

#include "data/data_set.h"
#include "network/node.h"
#include "text/lexer.h"

namespace tv {

// The node that a column is about when nobody says which: that of its name, or the only one with the name as
// its label. Null when there is none.
Node* node_of_column(Domain& domain, std::string_view name) noexcept;

// What a cell says of a node.
struct Observation {
  bool is_known = false;
  size_t state = 0;    // of a discrete node
  double value = 0.0;  // of a continuous one
};

// The observation that an item stands for: a label, a truth value, a number, a value in an interval, or "#"
// and the index of a state. The text returned is empty, or says why there is none.
std::string read_observation(Node& node, const char* item, Observation& observation);

// The same for all items of a column, by code.
class ColumnObservations {
 public:
  ColumnObservations(Node& node, const DataColumn& column);

  Node& node() const noexcept { return *node_; }
  const DataColumn& column() const noexcept { return *column_; }
  const Observation& operator[](Code code) const noexcept { return observations_[code]; }

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

// Tells the handler, if there is one; of a whole column with kNone.
void report_row(MessageHandler handler, size_t row, const std::string& message);

}  // namespace tv

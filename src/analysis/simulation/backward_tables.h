// The discrete nodes on which evidence bears, as tables to draw from: they are eliminated one after the
// other, and drawn in the reverse order, each given those that its elimination brought together (Dawid 1992).
// The order is that of the compiled forest, so that no table is larger than a clique.
#pragma once

#include <memory>
#include <vector>

#include "analysis/simulation/row_tables.h"
#include "inference/engine.h"

namespace tv {

// Sums over nodes that were eliminated, which rows refer to.
using Messages = std::vector<std::unique_ptr<WideNumber[]>>;

struct BackwardTables {
  struct Draw {
    const Node* node;
    size_t table;
  };
  std::vector<Draw> draws;  // in the order of drawing
  Messages messages;
};

class BackwardElimination {
 public:
  // The nodes to be drawn, which are not observed; and the states of those that are, by number - 1.
  BackwardElimination(const Domain& domain, std::vector<const Node*> nodes, const size_t* observed_states);

  void add(const Table& table);                                              // discrete
  void add(const Node& node, const tv_number_t* findings);                   // one for each of its states
  void add(const NodeList& nodes, size_t count, const WideNumber* numbers);  // the first `count` of the nodes

  // `inconsistency_or_underflow` where nothing is possible, `no_memory` beyond the domain's limit, `error`
  // where the host asks to stop.
  tv_status_t run(RowTables& tables, BackwardTables& result);

 private:
  void add_over(RowFactor factor, const NodeList& nodes, size_t count);
  void put(RowFactor factor);
  std::vector<Given> given_for(size_t place) const;
  tv_status_t eliminate(size_t place, RowTables& tables, BackwardTables& result, ProgressMeter& progress);

  const Domain& domain_;
  std::vector<const Node*> order_;  // of elimination
  const size_t* observed_states_;
  std::vector<size_t> place_of_;                 // in the order, by number - 1; kNone for the others
  std::vector<std::vector<RowFactor>> factors_;  // by the place of the member that is eliminated first
  size_t bytes_ = 0;
};

}  // namespace tv

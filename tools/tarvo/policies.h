// What the decisions of a network should do, as the command `decide` finds and shows it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands.h"

namespace program {

struct DeleteTable {
  void operator()(tv_table_t* table) const { tv_table_delete(table); }
};

// What a decision does for each configuration of its parents. There may be very many of them, so their
// numbers stay in the tables of the library.
struct Policy {
  tv_node_t* decision = nullptr;
  std::optional<size_t> made;  // the state that was entered
  std::vector<tv_node_t*> parents;
  std::vector<bool> requisite;                              // for each parent, whether it can matter
  std::unique_ptr<tv_table_t, DeleteTable> configurations;  // their probabilities; null without parents

  bool has_open_parent() const;  // something is observed, or decided, before this decision and not known yet
};

// One configuration of the parents of a decision.
struct PolicyRow {
  std::vector<size_t> states;   // of the parents, in the order of `Policy::parents`
  tv_number_t probability = 1;  // of the configuration
  const tv_number_t* shares;    // of the decision's states
};

// Calls `visit(row)` for each, the last parent's state fastest.
template <class Visit>
void for_each_row(const Policy& policy, Visit visit) {
  tv_table_t* table = tv_node_get_table(policy.decision);
  const tv_number_t* shares = table ? tv_table_get_data(table) : nullptr;
  tv_table_t* configurations = policy.configurations.get();
  const tv_number_t* probabilities = configurations ? tv_table_get_data(configurations) : nullptr;
  if (!shares || (configurations && !probabilities)) fail_with_status(name_of(policy.decision));
  const size_t states = states_of(policy.decision), size = tv_table_get_size(table);
  PolicyRow row{std::vector<size_t>(policy.parents.size(), 0), 1, shares};
  for (size_t i = 0; i < size / states; ++i, row.shares += states) {
    if (probabilities) row.probability = probabilities[i];
    visit(static_cast<const PolicyRow&>(row));
    for (size_t p = row.states.size(); p-- > 0;) {
      if (++row.states[p] < states_of(policy.parents[p])) break;
      row.states[p] = 0;
    }
  }
}

// The decision that is to be made next, and what each of its states leads to when everything else is decided
// as well as possible.
struct NextDecision {
  tv_node_t* decision = nullptr;
  std::vector<double> utilities;
};

struct Plan {
  double expected_utility = 0.0;
  double probability = 1.0;  // of the evidence
  std::vector<Entered> evidence;
  CompressionFigures compression;
  std::vector<Policy> policies;
  std::optional<NextDecision> next;
};

void print_as_text(const Network& network, const Plan& plan);
void print_as_json(const Network& network, const Plan& plan);
void print_as_csv(const Plan& plan);

}  // namespace program

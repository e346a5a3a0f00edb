// Cases stored in a domain: a table of observations with a row for each case and a column for each discrete
// or continuous node that has any. A case has a count, which says how often it was seen.
#pragma once

#include <cstdint>
#include <vector>

#include "network/types.h"

namespace tv {

// The column of one node; empty until its first cell is set, then as long as the domain's capacity.
struct CaseColumn {
  std::vector<int16_t> states;       // of a discrete node; kMissingCase where nothing is known
  std::vector<double> values;        // of a continuous node
  std::vector<unsigned char> known;  // whether the value counts

  bool empty() const noexcept { return states.empty() && values.empty(); }
};

inline constexpr int16_t kMissingCase = -1;
inline constexpr size_t kCaseStateLimit = 32768;  // states of a node that has cases

// What a domain knows of its cases beside the columns.
struct CaseTable {
  size_t count = 0;
  size_t capacity = 0;
  size_t changes = 0;               // grows with each change of a case or a count
  std::vector<tv_number_t> counts;  // empty: all are 1
};

// Cases that are added have nothing known and count 1.
void set_number_of_cases(Domain& domain, size_t count);

// After the columns of all nodes have been replaced by such of `count` cases: their counts, none when all
// are 1.
void take_counts(Domain& domain, size_t count, std::vector<tv_number_t>& counts) noexcept;

// The arguments have been checked.
tv_number_t case_count(const Domain& domain, size_t index) noexcept;
void set_case_count(Domain& domain, size_t index, tv_number_t count);
tv_status_t set_case_state(Node& node, size_t index, size_t state);  // `case_state_too_large`
void set_case_value(Node& node, size_t index, double value);
void unset_case(Node& node, size_t index) noexcept;
bool case_is_set(const Node& node, size_t index) noexcept;

// Of a discrete node, after its states have changed.
void forget_case_states_from(Node& node, size_t count) noexcept;
void reorder_case_states(Node& node, const size_t* order) noexcept;

}  // namespace tv

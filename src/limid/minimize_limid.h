// Which parents of a decision can influence its optimal policy (Lauritzen and Nilsson 2001), and the order in
// which policies are best updated, which the same reduction finds.
#pragma once

#include "network/domain.h"
#include "network/node_list.h"

namespace tv {

// What is known about the decisions of a domain; kept until the structure changes.
struct LimidAnalysis {
  bool parents_are_known = false, ancestors_are_known = false;
  std::vector<NodeList> requisite_parents;    // by node number - 1
  std::vector<NodeList> requisite_ancestors;  // likewise: what would be requisite, were every ancestor
                                              // observed
  NodeList update_order;                      // all decisions: as they become extremal, then the others,
                                              // the last to be made first
};

// The parts of the analysis that are asked for, computed when they are not there yet.
const LimidAnalysis& analysis_of_parents(Domain& domain);
const LimidAnalysis& analysis_of_ancestors(Domain& domain);

}  // namespace tv

// The nodes that may be observed next, as a host lists them or as the evidence leaves them.
#pragma once

#include <vector>

#include "analysis/evidence_query.h"

namespace tv {

struct Candidate {
  Node* node;
  double price;
};

enum class CandidateKind {
  any,             // chance nodes and discrete function nodes
  discrete,        // discrete ones of these
  discrete_chance  // discrete chance nodes
};

// Those of a host's list, or where it is null all that are not observed, in the order of the domain;
// `excluded` marks, by node number - 1, what it leaves out then. `usage` is stored where one cannot be a
// candidate.
tv_status_t collect_candidates(const Node& target, Node* const* listed, const double* prices,
                               CandidateKind kind, const std::vector<bool>& excluded,
                               std::vector<Candidate>& candidates);

}  // namespace tv

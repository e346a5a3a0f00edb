// The trails along which a finding acts on another node.
#pragma once

#include <vector>

#include "analysis/explanation/explanation.h"
#include "network/domain.h"

namespace tv {

struct TrailQuestion {
  const Domain& domain;
  Node& from;                           // the finding
  Node& to;                             // the explained node
  const std::vector<double>& strength;  // by node number - 1: what leaving out the finding changes there
  size_t count;                         // of trails that are kept at most
};

// The strongest trails that are active given what is entered in the domain on all nodes but `from`; of equal
// ones the shortest first. Whether they are all that there are.
bool find_trails(const TrailQuestion& question, std::vector<tv_explanation_s::Trail>& trails);

}  // namespace tv

// Sufficient statistics of one iteration of learning, of all cases or of a part of them, apart from the
// domain that they were computed in.
#pragma once

#include "learn/block_sums.h"

struct tv_em_statistics_s {
  uint64_t network = 0;  // its fingerprint
  tv::BlockTree cases;
  std::vector<tv::FamilyCounts> prior;  // empty where what is known beforehand is not among them
};

namespace tv {

using EmStatistics = tv_em_statistics_s;

// A number that tells networks apart by their nodes, states, parents and by what is learned. Nodes without a
// name get one.
uint64_t fingerprint_of(const std::vector<Family>& families);

// `usage` unless they are of the network with this fingerprint.
tv_status_t check_network(const EmStatistics& statistics, uint64_t fingerprint) noexcept;

}  // namespace tv

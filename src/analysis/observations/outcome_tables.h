// The distributions of all candidates in each state of a target, from one propagation for each of these
// states.
#pragma once

#include <vector>

#include "analysis/observations/candidates.h"
#include "analysis/observations/mixture_information.h"

namespace tv {

class OutcomeTables {
 public:
  // `target`: how probable its states are, given all that the query knows.
  OutcomeTables(Distribution target, const std::vector<Candidate>& candidates);

  // Propagates each possible state of the target.
  tv_status_t fill(EvidenceQuery& query, Node& node);

  const Distribution& target() const noexcept { return target_; }
  Telling telling(size_t candidate) const;
  Distribution distribution(size_t candidate) const;  // of a discrete one, whatever the state of the target

  // How probable an outcome of a discrete candidate is together with each state of the target.
  Distribution with_outcome(size_t candidate, size_t state) const;

 private:
  tv_status_t read(EvidenceQuery& query, size_t t);
  std::vector<const double*> rows(size_t candidate) const;

  Distribution target_;
  const std::vector<Candidate>& candidates_;
  std::vector<size_t> offset_;                        // by candidate, in each list of numbers_
  std::vector<std::vector<double>> numbers_;          // by state of the target: of the discrete candidates
  std::vector<std::vector<NormalMixture>> mixtures_;  // by candidate, then by state; of the continuous ones
};

}  // namespace tv

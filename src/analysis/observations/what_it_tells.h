// What an observation is expected to tell about a target, from the distribution that it has in each state of
// the target.
#pragma once

#include <vector>

#include "analysis/evidence_query.h"

namespace tv {

struct Telling {
  double information = 0;      // mutual information, in nats
  double error_reduction = 0;  // of the probability that the most probable state is not the true one
};

double entropy_of(const Distribution& distribution) noexcept;

// That the most probable state is not the true one.
double error_of(const Distribution& distribution) noexcept;

// Adds up what the outcomes of an observation tell.
class TellingSum {
 public:
  explicit TellingSum(const Distribution& target) noexcept;

  // Of an outcome that has the probability, or density, parts[t] together with state t.
  Telling of_outcome(const double* parts) const noexcept;
  void add(const Telling& telling) noexcept;

  // Once all outcomes are there. What rounding explains counts as nothing.
  Telling result() const noexcept;

 private:
  const Distribution& target_;
  Telling sum_;
};

// Of a discrete observation: `given[t]` is its distribution in state t of the target. States of the target
// without probability are not looked at.
Telling what_it_tells(const Distribution& target, const std::vector<const double*>& given, size_t states);

}  // namespace tv

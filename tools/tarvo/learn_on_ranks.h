// tarvo learn under mpirun: each rank learns from its part of the cases.
#pragma once

#include "learn.h"
#include "ranks_input.h"

namespace program {

// Learns on all ranks, each with its rows of the cases, until rank 0 has enough; all of them come to the same
// tables. What is written to `trace` is what the library writes; null for nothing.
class LearningOnRanks {
 public:
  LearningOnRanks(const Ranks& ranks, const Network& network, const LearnOptions& options, size_t first_row)
      : ranks_(ranks), network_(network), options_(options), first_row_(first_row) {}

  // The domain is compiled and has the rows of this rank.
  Scores learn(tv_domain_t* domain, std::FILE* trace) const;

 private:
  struct Sum;
  Sum sum_of_ranks(tv_domain_t* domain, bool is_interrupted) const;
  Scores scores_of(tv_domain_t* domain) const;

  const Ranks& ranks_;
  const Network& network_;
  const LearnOptions& options_;
  const size_t first_row_;
};

}  // namespace program

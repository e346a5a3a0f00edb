// How good a node's parents are: the score of a family, from the cases that lack none of its nodes.
#pragma once

#include <unordered_map>

#include "learn/structure/counts/exact_sums.h"
#include "learn/structure/counts/gaussian_moments.h"
#include "learn/structure/counts/state_counts.h"

namespace tv {

// Where cells are missing, the score is that of as many cases as there are altogether, each worth the average
// of those that are complete in the family; so families with other parents can be compared.
class FamilyScorer {
 public:
  FamilyScorer(const CaseColumns& columns, const CountLogarithms& logarithms, const LearnerSettings& settings)
      : columns_(columns),
        logarithms_(logarithms),
        settings_(settings),
        counter_(columns),
        moments_(columns) {}

  // The parents in ascending order; no continuous one of a discrete node. Minus infinity where the table
  // would have more entries than counts can index.
  double score(uint32_t node, std::span<const uint32_t> parents);

  // What the score of a family cannot exceed, whatever the cases are.
  double bound(uint32_t node, std::span<const uint32_t> parents) const;

 private:
  double score_of_states(uint32_t node, std::span<const uint32_t> parents);
  double score_of_values(uint32_t node, std::span<const uint32_t> parents);
  double log_likelihood(const StateCounts& counts, double& cases) const;
  double log_marginal_likelihood(const StateCounts& counts, double prior, double states, double& cases) const;
  double penalty(double parameters) const noexcept;

  const CaseColumns& columns_;
  const CountLogarithms& logarithms_;
  const LearnerSettings& settings_;
  StateCounter counter_;
  MomentCounter moments_;
};

// The free parameters of a family, and the configurations of its discrete parents.
struct FamilySize {
  double parameters = 0.0, configurations = 1.0;
};
FamilySize family_size(const CaseColumns& columns, uint32_t node, std::span<const uint32_t> parents) noexcept;

// Scores that have been asked for, by node and parents.
class ScoreCache {
 public:
  const double* find(uint32_t node, std::span<const uint32_t> parents);
  void insert(uint32_t node, std::span<const uint32_t> parents, double score);
  size_t size() const noexcept { return scores_.size(); }

 private:
  struct KeyHash {
    size_t operator()(const std::vector<uint32_t>& key) const noexcept {
      size_t hash = key.size();
      for (const uint32_t part : key) hash = (hash ^ part) * 0x9E3779B97F4A7C15u;
      return hash ^ (hash >> 29);
    }
  };
  void set_key(uint32_t node, std::span<const uint32_t> parents);

  std::unordered_map<std::vector<uint32_t>, double, KeyHash> scores_;  // by node, then parents
  std::vector<uint32_t> key_;
};

}  // namespace tv

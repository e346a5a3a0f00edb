// Drawing the values of continuous nodes, given the states of all discrete nodes.
#pragma once

#include <vector>

#include "inference/gaussian/cg_engine.h"
#include "network/random_generator.h"

namespace tv {

// A node given its parents: from the regression that its table holds for their states.
class RegressionDraw {
 public:
  explicit RegressionDraw(const Node& node);
  double draw(const size_t* states, const double* values, RandomGenerator& random) const noexcept;

 private:
  struct Term {
    size_t node;  // its number - 1
    size_t
        step;  // of a discrete parent: its stride; of a continuous one: where its coefficient is in a block
  };
  const Table* table_ = nullptr;  // none: mean 0 and variance 1
  size_t intercept_ = 0, variance_ = 0;
  std::vector<Term> discrete_, continuous_;
};

// The nodes of a clique that its parent lacks, given those that they share: from the regressions that the
// clique keeps when evidence is collected, which account for all of it.
class CliqueDraw {
 public:
  CliqueDraw(const CgEngine& engine, const CgClique& clique);
  void draw(const size_t* states, double* values, RandomGenerator& random) const noexcept;

 private:
  const CgEngine& engine_;
  const CgClique& clique_;
};

}  // namespace tv

// Means and covariances of any continuous nodes of one component, exactly, for each configuration of its
// root.
#pragma once

#include <vector>

#include "inference/gaussian/cg_engine.h"

namespace tv {

// Each target node is a linear form. On the way to the root the nodes that end in a clique are replaced by
// their regressions, all forms together, since they may share disturbances.
class CgMoments {
 public:
  // `targets` are distinct continuous nodes of the tree by their position in the engine's list.
  CgMoments(CgEngine& engine, size_t component, const std::vector<size_t>& targets);

  // For the root's configuration in which its discrete members have these states.
  void find(const size_t* states) noexcept;

  double mean(size_t i) const noexcept { return means_[i]; }
  double covariance(size_t i, size_t j) const noexcept { return covariances_[i * count_ + j]; }
  const CgClique& root() const noexcept { return root_; }

 private:
  struct Stop {  // a clique on the way
    size_t clique;
    std::vector<size_t> steps;  // per discrete member of the root
  };
  void replace(const CgClique& clique, size_t position, const double* run) noexcept;
  void move_on(size_t clique) noexcept;

  CgEngine& engine_;
  const CgClique& root_;
  size_t count_;
  size_t width_ = 0;  // of the largest clique on the way
  std::vector<size_t> targets_;
  std::vector<Stop> stops_;  // every child before its parent
  std::vector<size_t> at_;   // the position of each form
  std::vector<double> coefficients_, moved_, own_, means_, covariances_;
};

}  // namespace tv

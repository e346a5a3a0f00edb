// The outward pass: the joint distribution of the nodes that a clique shares with its parent, taken from the
// parent's and mixed over what only the parent knows.

#include <algorithm>

#include "inference/answers/clique_view.h"
#include "inference/gaussian/cg_engine.h"

namespace tv {
namespace {

class Distributor {
 public:
  Distributor(CgEngine& engine, CgClique& clique) noexcept
      : engine_(engine), clique_(clique), parent_(engine.cliques[clique.parent]) {}

  void run() noexcept {
    const size_t block_size = cg_size_for(clique_.shared);
    std::fill_n(clique_.factors, clique_.size * block_size, 0.0);
    std::fill_n(engine_.totals.data(), clique_.size, 0.0);
    read_table(*engine_.discrete, *parent_.clique, engine_.weights.data());
    engine_.walk_steps[0] = clique_.parent_steps;
    for (CgWalk walk(engine_, *parent_.clique, 1); !walk.done(); walk.next()) {
      const double weight = engine_.weights[walk.index()];
      if (!(weight > 0.0)) continue;
      complete_factors(engine_, parent_, walk.index(), parent_.count);
      mix(clique_.factors + walk.offset(0) * block_size, engine_.totals[walk.offset(0)], weight);
    }
    for (size_t i = 0; i < clique_.size; ++i) {
      if (!(engine_.totals[i] > 0.0)) continue;
      double* factors = clique_.factors + i * block_size;
      for (size_t s = 0; s < clique_.shared; ++s) factors[cg_covariance_index(s, s)] /= engine_.totals[i];
    }
  }

 private:
  // Adds the parent's distribution to the mixture: the difference of the means is one more innovation.
  void mix(double* factors, double& total, double weight) noexcept {
    double* loadings = engine_.coefficients.data();
    const double* from = engine_.block.data();
    for (size_t s = 0; s < clique_.shared; ++s) {
      double& mean = factors[cg_mean_index(s)];
      const double own = from[cg_mean_index(clique_.in_parent[s])];
      loadings[s] = total > 0.0 ? own - mean : 0.0;
      mean = total > 0.0 ? mean + loadings[s] * (weight / (total + weight)) : own;
    }
    if (total > 0.0) add_innovation(factors, clique_.shared, loadings, total * (weight / (total + weight)));
    for (size_t j = 0; j < parent_.count; ++j) {
      const double variance = from[cg_covariance_index(j, j)];
      if (!(variance > 0.0)) continue;
      for (size_t s = 0; s < clique_.shared; ++s) loadings[s] = loading(clique_.in_parent[s], j);
      add_innovation(factors, clique_.shared, loadings, weight * variance);
    }
    total += weight;
  }

  double loading(size_t node, size_t innovation) const noexcept {
    if (node == innovation) return 1.0;
    return node > innovation ? engine_.block[cg_covariance_index(node, innovation)] : 0.0;
  }

  CgEngine& engine_;
  CgClique& clique_;
  const CgClique& parent_;
};

}  // namespace

void complete_factors(CgEngine& engine, const CgClique& clique, size_t index, size_t count) noexcept {
  const size_t shared = cg_size_for(clique.shared);
  std::copy_n(clique.factors + index * shared, shared, engine.block.data());
  expand_regressions(clique.regressions + index * cg_size_for(clique.count), clique.shared, count,
                     engine.block.data());
}

void distribute_to(CgEngine& engine, size_t clique) noexcept {
  collect_component(engine, engine.cliques[clique].component);
  size_t waiting = 0;
  for (; engine.cliques[clique].parent != kNone && engine.cliques[clique].distributed != engine.round;
       clique = engine.cliques[clique].parent)
    engine.path[waiting++] = clique;
  while (waiting > 0) {
    CgClique& next = engine.cliques[engine.path[--waiting]];
    Distributor(engine, next).run();
    next.distributed = engine.round;
  }
}

}  // namespace tv

// Drawing configurations of all discrete and continuous nodes of a domain: as it was propagated, or as its
// tables say where it is not compiled.
#pragma once

#include <memory>
#include <vector>

#include "analysis/simulation/backward_tables.h"
#include "analysis/simulation/value_draws.h"

namespace tv {

class Sampler {
 public:
  // Fills `sampler`, or returns why there is none. `is_for_many`: it pays to keep what one draw has found
  // out.
  static tv_status_t make(Domain& domain, bool is_for_many, std::unique_ptr<Sampler>& sampler);

  // By node number - 1; those of other nodes are left alone.
  void draw(size_t* states, double* values, RandomGenerator& random) noexcept;

  bool is_up_to_date(const Domain& domain) const noexcept { return domain.table_layouts == table_layouts_; }

 private:
  friend class SamplerBuilder;
  explicit Sampler(const Domain& domain, bool is_for_many)
      : rows_(is_for_many), table_layouts_(domain.table_layouts) {}

  struct Step {
    size_t node;           // its number - 1; kNone for a clique
    size_t table = kNone;  // of a discrete node
    size_t draw = kNone;   // of a continuous node or a clique
  };

  RowTables rows_;
  BackwardTables backward_;
  std::vector<RegressionDraw> regressions_;
  std::vector<CliqueDraw> cliques_;
  std::vector<std::unique_ptr<WideNumber[]>> densities_;
  std::vector<Step> steps_;
  std::vector<std::pair<size_t, size_t>> observed_states_;  // node and state
  std::vector<std::pair<size_t, double>> observed_values_;
  size_t table_layouts_;
};

// The sampler of a domain: the one that was made for the present equilibrium, if there is one.
tv_status_t find_sampler(Domain& domain, bool is_for_many, std::shared_ptr<Sampler>& sampler);

}  // namespace tv

// Marginals under fast retraction: the tables hold no evidence. Findings are applied while a table is
// marginalised, to every member that is summed out.
#pragma once

#include "inference/engine.h"

namespace tv {

// Adds (or maximises) the entries of `table`, weighted with the propagated findings of all members for which
// `keeps(member)` is false, into `totals`, where `steps` gives the stride along each dimension.
template <class Keeps>
void marginalize_with_findings(const TreeEngine& engine, const ReducedTable& table, Keeps keeps,
                               const size_t* steps, tv_equilibrium_t equilibrium, double* totals) noexcept;

// A loop nest over a table with the findings to be applied: hard ones are offsets, vectors are outer loops.
class FindingsNest {
 public:
  FindingsNest(const ReducedTable& table, const size_t* steps) noexcept;
  void apply_finding(const TreeEngine& engine, const ReducedTable& table,
                     size_t member) noexcept;  // the member is summed out
  void run(const float* numbers, tv_equilibrium_t equilibrium, double* totals) noexcept;

 private:
  struct Soft {
    const tv_number_t* finding;
    size_t count, stride, state;
  };
  Dimension nest_[64];
  bool dropped_[64] = {};
  size_t dimensions_ = 0;
  Soft soft_[64];
  size_t soft_count_ = 0;
  size_t offset_ = 0;
  double weight_ = 1.0;
};

template <class Keeps>
void marginalize_with_findings(const TreeEngine& engine, const ReducedTable& table, Keeps keeps,
                               const size_t* steps, tv_equilibrium_t equilibrium, double* totals) noexcept {
  FindingsNest nest(table, steps);
  for (size_t m = 0; m < table.members->size(); ++m)
    if (!keeps(m)) nest.apply_finding(engine, table, m);
  nest.run(table.numbers, equilibrium, totals);
}

}  // namespace tv

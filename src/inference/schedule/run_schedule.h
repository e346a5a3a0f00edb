// Propagation by schedules: evidence is collected towards a root and distributed from it (Jensen, Lauritzen
// and Olesen 1990; Dawid 1992 for max). A schedule is built first and then run.
#pragma once

#include <algorithm>
#include <limits>

#include "inference/engine.h"

namespace tv {

struct Subtrees;  // inference/schedule/parallel_subtrees.h

struct PropagationRequest {
  TreeEngine& engine;
  tv_equilibrium_t equilibrium;  // what is propagated: sum or max
  tv_evidence_mode_t mode;
  bool first = false;           // no separator has an old marginal to divide by
  bool is_approximate = false;  // rounding may add up over many messages
};

// Collect evidence towards `root` over the marked cliques, then normalise the root; distribute over the
// cliques marked by then. Nodes with `is_target` get new beliefs. The lists must have the capacity for the
// whole schedule.
Schedule build_schedule(const PropagationRequest& request, size_t root, ScheduleLists& lists) noexcept;

// Builds a streamed schedule: the operations of one clique at a time, run before the next ones are built, so
// that little memory is needed.
using RunStreamed = tv_status_t (*)(void* runner, const Schedule& part);
tv_status_t stream_schedule(const PropagationRequest& request, size_t root, RunStreamed run, void* runner);

// Runs the schedule. Clique tables and separators must have the shapes for which it was built. `subtrees`
// keeps what is found of its subtrees for later runs.
tv_status_t run_schedule(const PropagationRequest& request, const Schedule& schedule,
                         Subtrees* subtrees = nullptr);

// Builds and runs the schedule of a propagation.
tv_status_t _tv_jt_global_propagate(const PropagationRequest& request, size_t root);

inline constexpr double kLargestRatioSum = 8.988465674311579e+307;  // 2 to the power 1023
inline constexpr double kLittleMass = 5.421010862427522e-20;        // 2 to the power -64

// Whether the sum of the products is far above the smallest normal float, so that what underflowed is
// negligible.
bool holds_mass(const double* totals, size_t size) noexcept;

// Reported by a propagation for which single precision does not suffice (extended/propagate_extended.h): the
// tables are invalid, and no result can be used.
inline constexpr tv_status_t kOutOfRange = static_cast<tv_status_t>(-2);

// Moves a factor from the tables into the constants of the propagation.
void take_out_factor(TreeEngine& engine, double factor) noexcept;

// Sets the constants of the propagation: mantissa times 2 to the power exponent.
void set_step_constants(TreeEngine& engine, double mantissa, long exponent) noexcept;

// Stores a belief from its accumulators so that it sums to one or, under max, its largest entry is one. False
// where what it is divided by is less than `least`, or not a number of doubles.
inline bool store_belief(const double* totals, size_t states, bool sums, double least,
                         tv_number_t* belief) noexcept {
  double whole = 0.0;
  for (size_t i = 0; i < states; ++i) whole = sums ? whole + totals[i] : std::max(whole, totals[i]);
  if (!(whole >= least && whole <= std::numeric_limits<double>::max())) return false;
  for (size_t i = 0; i < states; ++i) belief[i] = static_cast<tv_number_t>(totals[i] / whole);
  return true;
}

inline void store_certain_belief(size_t state, size_t states, tv_number_t* belief) noexcept {
  std::fill_n(belief, states, 0.0f);
  belief[state] = 1.0f;
}

// What a normalising factor means: zero is `inconsistency_or_underflow`; any other that is not a normal
// float, `kOutOfRange`.
tv_status_t _tv_check_norm_factor(double factor) noexcept;

// The probability of a node's evidence under its present belief: `state` >= 0 selects one state,
// kFindingVector weighs with `finding`, kNoEvidence gives 1 (for max the best entry).
double probability_of_evidence(const TreeEngine& engine, const Node& node, ptrdiff_t state,
                               const tv_number_t* finding, tv_equilibrium_t equilibrium) noexcept;

}  // namespace tv

// Collecting messages towards a root and distributing them from it (Jensen, Lauritzen and Olesen 1990; Dawid
// 1992 for max). First the passes are written down, then they are run.
#pragma once

#include "inference/engine.h"

namespace tv {

struct PropagationRequest {
  TreeEngine& engine;
  tv_equilibrium_t equilibrium;  // what is propagated: sum or max
  tv_evidence_mode_t mode;
  bool first = false;  // no separator has a past: nothing to divide by
};

// Collect to `root` over the marked cliques, then normalise the root; distribute over the cliques marked by
// then. Nodes with `is_target` get new beliefs. The lists have room for the whole schedule.
Schedule build_schedule(const PropagationRequest& request, size_t root, ScheduleLists& lists) noexcept;

// The same in portions of what one clique does. Each is run before the next is written, so that they need
// little room.
using RunStreamed = tv_status_t (*)(void* runner, const Schedule& portion);
tv_status_t stream_schedule(const PropagationRequest& request, size_t root, RunStreamed run, void* runner);

// Does what the schedule says. Clique tables and separators have the shapes for which it was written.
tv_status_t run_schedule(const PropagationRequest& request, const Schedule& schedule);

// Plans and runs a propagation.
tv_status_t _tv_jt_global_propagate(const PropagationRequest& request, size_t root);

inline constexpr double kLargestRatioSum = 8.988465674311579e+307;  // 2 to the power 1023
inline constexpr double kLittleMass = 5.421010862427522e-20;        // 2 to the power -64

// Whether what is left of the largest products is far from the smallest normal number.
bool holds_mass(const double* totals, size_t size) noexcept;

// Of a propagation for which single precision does not suffice (extended/propagate_extended.h): the tables
// are spoiled, and nothing is known.
inline constexpr tv_status_t kOutOfRange = static_cast<tv_status_t>(-2);

// Takes a factor out of the tables into the constants of the propagation.
void take_out_factor(TreeEngine& engine, double factor) noexcept;

// What a normalising factor means: zero is `inconsistency_or_underflow`; any other one that no normal float
// holds, `kOutOfRange`.
tv_status_t _tv_check_norm_factor(double factor) noexcept;

// The probability of a node's evidence under its present belief: `state` >= 0 selects one state,
// kFindingVector weighs with `finding`, kNoEvidence gives 1 (for max the best entry).
double probability_of_evidence(const Node& node, ptrdiff_t state, const tv_number_t* finding,
                               tv_equilibrium_t equilibrium) noexcept;

}  // namespace tv

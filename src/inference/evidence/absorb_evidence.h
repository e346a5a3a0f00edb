// Absorbing entered evidence into the tables of a tree.
#pragma once

#include "inference/engine.h"

namespace tv {

// Lists the discrete nodes of the tree with evidence to propagate in `engine.pending`, in the tree's order.
void collect_pending_nodes(TreeEngine& engine) noexcept;

// After they have been absorbed.
void count_pending_as_propagated(TreeEngine& engine) noexcept;

// Brings the list of evidence into the tree's order and drops nodes that have none any more.
void tidy_evidence(TreeEngine& engine) noexcept;

// Makes the propagated evidence of the pending nodes equal to the entered one, without touching tables.
void copy_pending_evidence(TreeEngine& engine) noexcept;

void mark_homes_of_pending(TreeEngine& engine) noexcept;

// Marks the cliques that hold a newly observed node.
void mark_newly_observed(TreeEngine& engine) noexcept;

// Normal mode: turns the pending evidence into observed states and likelihood ratios, and marks the home
// cliques.
void enter_pending_evidence(TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept;

// The same for all evidence of the tree, none of which is in the tables yet (after fast retraction).
void enter_all_evidence(TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept;

// Absorbs the propagated likelihoods again where tables are formed once more.
void enter_findings_again(TreeEngine& engine) noexcept;

// Makes the nodes with a propagated state observed: marks the cliques that hold one of them and reduces the
// tables.
void observe_states(TreeEngine& engine) noexcept;

// The same for a tree without numbers whose next schedule has shapes and maps of its own.
void observe_states_without_shapes(TreeEngine& engine) noexcept;

// Whether some evidence differs from the propagated one in a way that no ratio can express.
bool evidence_must_be_retracted(const TreeEngine& engine) noexcept;

}  // namespace tv

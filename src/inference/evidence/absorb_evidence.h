// Taking entered evidence into the tables of a tree.
#pragma once

#include "inference/engine.h"

namespace tv {

// Lists the discrete nodes of the tree with evidence to propagate in `engine.pending`, in the tree's order.
void collect_pending_nodes(TreeEngine& engine) noexcept;

// When they have been taken in.
void count_pending_as_propagated(TreeEngine& engine) noexcept;

// Brings the list of evidence into the tree's order and drops nodes that have none any more.
void tidy_evidence(TreeEngine& engine) noexcept;

// Makes the propagated evidence of the pending nodes equal to the entered one, without touching tables.
void copy_pending_evidence(TreeEngine& engine) noexcept;

void mark_homes_of_pending(TreeEngine& engine) noexcept;

// Marks the cliques that hold a node whose state has become known.
void mark_newly_observed(TreeEngine& engine) noexcept;

// Normal mode: turns the pending evidence into propagated states and update findings, and marks their homes.
void enter_pending_evidence(TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept;

// The same for all evidence of the tree, none of which is in the tables yet (after fast retraction).
void enter_all_evidence(TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept;

// Only the update findings of propagated likelihoods, where the tables are formed once more.
void enter_findings_again(TreeEngine& engine) noexcept;

// Fixes the nodes with a propagated state: marks the cliques that hold a newly fixed node and cuts the tables
// down to the states that are now fixed.
void observe_states(TreeEngine& engine) noexcept;

// The same for a tree without numbers whose next schedule brings shapes and maps of its own.
void observe_states_without_plans(TreeEngine& engine) noexcept;

// Whether some evidence differs from the propagated one in a way that no multiplication can express.
bool evidence_must_be_retracted(const JunctionTree& tree) noexcept;

}  // namespace tv

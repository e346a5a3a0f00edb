// Bringing the trees of a domain into equilibrium with the evidence.
#pragma once

#include "inference/engine.h"

namespace tv {

// Arguments have been checked; `root` may be null. On failure the tree is left without propagated evidence.
tv_status_t _tv_jt_make_consistent(TreeEngine& engine, Clique* root, tv_equilibrium_t equilibrium,
                                   tv_evidence_mode_t mode);

// Whether such a propagation may be asked for; otherwise the refusal is stored and returned.
tv_status_t check_propagation(const Domain& domain, tv_equilibrium_t equilibrium,
                              tv_evidence_mode_t mode) noexcept;

// Propagates the entered evidence in all trees. On failure the whole state is reset.
tv_status_t propagate_state(InferenceState& state, tv_equilibrium_t equilibrium, tv_evidence_mode_t mode);

}  // namespace tv

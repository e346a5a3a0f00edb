// Bringing the trees of a domain into equilibrium with the evidence.
#pragma once

#include "compile/forest.h"

namespace tv {

// Arguments have been checked; `root` may be null. On failure the tree is left without propagated evidence.
tv_status_t _tv_jt_make_consistent(JunctionTree& tree, Clique* root, tv_equilibrium_t equilibrium,
                                   tv_evidence_mode_t mode);

// The work of tv_domain_propagate after its argument checks. On failure the whole domain is reset.
tv_status_t _tv_domain_propagate(Domain& domain, tv_equilibrium_t equilibrium, tv_evidence_mode_t mode);

}  // namespace tv

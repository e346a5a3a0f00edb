// Propagation where single precision does not suffice, and the state in which it leaves the tree.
#pragma once

#include "inference/engine.h"

namespace tv {

// The constants of a tree before its evidence is propagated, to be restored if single precision fails.
struct FormerConstants {
  explicit FormerConstants(const TreeEngine& engine) noexcept
      : constant(engine.constant), log_constant(engine.log_constant) {}
  double constant, log_constant;
};

// Computes beliefs, constants and the conflict for the propagated evidence, from the potentials. Tables are
// formed when they are asked for, or at once where other numbers are made from them. From then on, until a
// reset, the tree is propagated in this way.
tv_status_t propagate_extended(TreeEngine& engine, const Clique* root, tv_equilibrium_t equilibrium,
                               tv_evidence_mode_t mode, const FormerConstants& former);

// Forms the tables of such a tree. Its equilibrium is that of the propagation.
tv_status_t calibrate_extended_tables(TreeEngine& engine, tv_equilibrium_t equilibrium,
                                      tv_evidence_mode_t mode);

// Brings a tree that was reset to sum equilibrium with its required instantiations alone.
tv_status_t initialize_extended(TreeEngine& engine);

}  // namespace tv

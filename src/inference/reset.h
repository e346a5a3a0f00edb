// Taking a tree back to its potentials.
#pragma once

#include "inference/engine.h"

namespace tv {

enum class ResetForm {
  full,  // the next propagation starts from the potentials; a tree with continuous nodes is brought
         // to sum equilibrium at once, and one whose initial tables are kept
  fast_retraction,  // every tree is; for a propagation that follows
  bare              // also for one: a tree is brought to it only where its initial tables are kept
};

// Resets the tree to its potentials, without the policies of decisions whose evidence the next propagation
// absorbs. If the reset fails, the tree is left as after any failure.
tv_status_t _tv_jt_reset_inference_engine(TreeEngine& engine, ResetForm form);

// The reset after a failure: never fails, reads no potential, and computes nothing; a copy of the initial
// tables that is still valid is loaded.
void recover_tree(TreeEngine& engine) noexcept;

// On its destruction, leaves the tree valid, whatever the state of the work on it, unless that is finished.
class TreeRecovery {
 public:
  explicit TreeRecovery(TreeEngine& engine) noexcept : engine_(&engine) {}
  ~TreeRecovery() {
    if (engine_) recover_tree(*engine_);
  }
  TreeRecovery(const TreeRecovery&) = delete;
  TreeRecovery& operator=(const TreeRecovery&) = delete;
  void dismiss() noexcept { engine_ = nullptr; }

 private:
  TreeEngine* engine_;
};

// Leaves all trees valid, also after a failure.
class StateRecovery {
 public:
  explicit StateRecovery(InferenceState& state) noexcept : state_(&state) {}
  ~StateRecovery() {
    if (state_)
      for (const auto& engine : state_->trees) recover_tree(*engine);
  }
  StateRecovery(const StateRecovery&) = delete;
  StateRecovery& operator=(const StateRecovery&) = delete;
  void dismiss() noexcept { state_ = nullptr; }

 private:
  InferenceState* state_;
};

// Whether the selected states of required instantiations differ from those that the tables were built for.
bool has_new_tables(const TreeEngine& engine) noexcept;

// The node's potential has changed: the next propagation of its tree starts with a reset.
void _tv_node_touch_table(Node& node) noexcept;

// Forgets the conflicts that the last propagation measured.
void forget_conflicts(TreeEngine& engine) noexcept;

// Counts the nodes whose entered evidence differs from the propagated one.
void count_evidence_to_propagate(TreeEngine& engine) noexcept;

}  // namespace tv

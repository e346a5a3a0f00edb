#include "inference/calibrate_tables.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "api/boundary.h"
#include "api/float_environment.h"
#include "inference/answers/queries.h"
#include "inference/compress/initial_tables.h"
#include "inference/evidence/absorb_evidence.h"
#include "inference/extended/clique_conflicts.h"
#include "inference/extended/propagate_extended.h"
#include "inference/former_potentials.h"
#include "inference/range.h"
#include "inference/schedule/run_schedule.h"
#include "inference/schedule/schedule_cache.h"
#include "inference/schedule/subtree.h"
#include "inference/utility/utility_engine.h"
#include "network/node_operations.h"

namespace tv {
namespace {

// The part of a tree's state that a first propagation changes, restored at the end.
class StateOfTree {
 public:
  explicit StateOfTree(TreeEngine& engine) noexcept
      : engine_(engine),
        equilibrium_(engine.equilibrium),
        constant_(engine.constant),
        log_constant_(engine.log_constant),
        step_constant_(engine.step_constant),
        step_log_constant_(engine.step_log_constant) {
    engine.equilibrium = tv_equilibrium_none;  // nothing to divide by, and no conflict is measured
  }
  ~StateOfTree() {
    engine_.equilibrium = equilibrium_;
    engine_.constant = constant_;
    engine_.log_constant = log_constant_;
    engine_.step_constant = step_constant_;
    engine_.step_log_constant = step_log_constant_;
  }
  StateOfTree(const StateOfTree&) = delete;
  StateOfTree& operator=(const StateOfTree&) = delete;

 private:
  TreeEngine& engine_;
  tv_equilibrium_t equilibrium_;
  double constant_, log_constant_, step_constant_, step_log_constant_;
};

// From the potentials again, should an earlier attempt have failed halfway; a sparse tree from its tables
// without evidence, which rest on the former numbers.
tv_status_t propagate_without_beliefs(TreeEngine& engine, tv_equilibrium_t equilibrium) {
  const bool is_sparse = engine.tree->sparse != nullptr;
  SavedTables saved = std::move(engine.saved_potentials);
  forget_tables(engine);
  if (is_sparse) load_initial_numbers(engine);
  engine.saved_potentials = std::move(saved);
  engine.marginals_only = true;
  mark_all_cliques(engine);
  enter_findings_again(engine);
  observe_states(engine);
  target_no_beliefs(engine);
  const PropagationRequest request = {engine, equilibrium, tv_evidence_normal, !is_sparse};
  const tv_status_t status = _tv_jt_global_propagate(request, _tv_identify_subtree(engine, kNone));
  if (status || !is_sparse) return status;
  engine.lost_share -= std::min(0.0, engine.step_log_constant) / std::numbers::ln2;
  return engine.lost_share > kNegligibleLater ? kOutOfRange : tv_status_none;
}

tv_status_t calibrate_from_former_numbers(TreeEngine& engine, tv_equilibrium_t equilibrium) {
  const FormerNumbers numbers = former_numbers(engine);
  const FloatEnvironment environment;
  tv_status_t status = engine.is_extended ? kOutOfRange : propagate_without_beliefs(engine, equilibrium);
  if (status == kOutOfRange) status = calibrate_extended_tables(engine, equilibrium, tv_evidence_normal);
  if (status == tv_status_none && range_flags())
    engine.lost_share = std::max(engine.lost_share, lost_share_of(engine));
  return status;
}

// The engine of the domain's own state to whose potentials the node's table belongs; null if none.
TreeEngine* engine_with_potential(const Node& node) noexcept {
  return result_engine(own_state(*node.domain), node);
}

// The same where conflicts of its cliques are still to be measured from its present potentials.
TreeEngine* engine_with_unmeasured_conflicts(const Node& node) noexcept {
  TreeEngine* const engine = engine_with_potential(node);
  if (!engine) return nullptr;
  const bool is_measured = engine->conflict_root == TreeEngine::kNoConflictRoot;
  return is_measured || engine->marginals_only ? nullptr : engine;  // former numbers are saved there
}

// Where a tree saves the table of a node while its answers rest on the table's former numbers.
struct SavedSlot {
  SavedTables* saved = nullptr;
  size_t position = 0, positions = 0;
};

SavedSlot saved_slot_of(const Node& node) noexcept {
  TreeEngine* const engine = engine_with_potential(node);
  if (!engine) return {};
  if (engine->marginals_only && placement(node).tree)
    return {&engine->saved_potentials, placement(node).position, engine->tree->nodes.size()};
  UtilityEngine* const utilities = engine->utilities.get();
  if (!utilities || utilities->stale) return {};
  const size_t position = operand_of(*utilities, node);
  if (position == kNone) return {};
  return {&utilities->saved_tables, position, utilities->operands.size()};
}

}  // namespace

tv_status_t calibrate_tables(TreeEngine& engine) {
  if (!engine.marginals_only) return tv_status_none;
  const bool is_initial = engine.evidence_count == 0 && engine.equilibrium == tv_equilibrium_sum;
  if (engine.awaits_initial_numbers && is_initial && engine.lost_share <= kNegligibleLater) {
    load_initial_numbers(engine);  // which are calibrated
    engine.marginals_only = false;
    return tv_status_none;
  }
  if (engine.saved_potentials.are_lost) return tv_status_no_equilibrium;
  if (!engine.saved_potentials.are_untouched())
    if (tv_status_t status = measure_conflicts(engine)) return status;
  const tv_equilibrium_t equilibrium = engine.equilibrium;
  const StateOfTree state(engine);
  if (tv_status_t status = calibrate_from_former_numbers(engine, equilibrium)) return status;
  engine.marginals_only = false;
  engine.saved_potentials.clear();
  engine.schedules->note_tables_needed();
  return tv_status_none;
}

void note_changed_potential(const Node& node) noexcept {
  if (TreeEngine* const engine = engine_with_unmeasured_conflicts(node))
    engine->conflict_root = TreeEngine::kLostConflicts;
  const SavedSlot slot = saved_slot_of(node);
  if (slot.saved && !slot.saved->holds(slot.position)) slot.saved->are_lost = true;
}

void save_potential(Node& node) noexcept {
  if (!is_compiled(*node.domain) || !node.table) return;
  if (TreeEngine* const engine = engine_with_unmeasured_conflicts(node))
    succeeds_with_memory([&] { measure_conflicts(*engine); });
  const SavedSlot slot = saved_slot_of(node);
  if (!slot.saved || slot.saved->are_lost) return;
  succeeds_with_memory([&] { slot.saved->save(*node.table, slot.position, slot.positions); });
}

}  // namespace tv

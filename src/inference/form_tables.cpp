#include "inference/form_tables.h"

#include "inference/enter_evidence.h"
#include "inference/messages.h"
#include "inference/schedule.h"
#include "inference/tape_cache.h"

namespace tv {
namespace {

// What a first propagation changes of a tree's state, put back at the end.
class StateOfTree {
 public:
  explicit StateOfTree(JunctionTree& tree) noexcept
      : tree_(tree),
        constant_(tree.constant),
        log_constant_(tree.log_constant),
        step_constant_(tree.step_constant),
        step_log_constant_(tree.step_log_constant) {
    tree.equilibrium = tv_equilibrium_none;  // nothing to divide by, and no conflict is measured
  }
  ~StateOfTree() {
    tree_.equilibrium = tv_equilibrium_sum;
    tree_.constant = constant_;
    tree_.log_constant = log_constant_;
    tree_.step_constant = step_constant_;
    tree_.step_log_constant = step_log_constant_;
  }
  StateOfTree(const StateOfTree&) = delete;
  StateOfTree& operator=(const StateOfTree&) = delete;

 private:
  JunctionTree& tree_;
  double constant_, log_constant_, step_constant_, step_log_constant_;
};

// Again from the start, should an earlier attempt have failed halfway.
tv_status_t propagate_without_beliefs(TreeEngine& engine) {
  forget_tables(engine);
  engine.has_beliefs_only = true;
  mark_all_cliques(engine);
  enter_all_evidence(engine, tv_equilibrium_sum);
  fix_states(engine);
  want_no_beliefs(engine);
  const Sweep sweep = {engine, tv_equilibrium_sum, tv_evidence_normal, true};
  return _tv_jt_global_propagate(sweep, _tv_identify_subtree(engine, kNone));
}

}  // namespace

tv_status_t form_tables(JunctionTree& tree) {
  TreeEngine& engine = engine_of(tree);
  if (!engine.has_beliefs_only) return tv_status_none;
  const StateOfTree state(tree);
  if (tv_status_t status = propagate_without_beliefs(engine)) return status;
  engine.has_beliefs_only = false;
  engine.kept_tapes->want_tables();
  return tv_status_none;
}

}  // namespace tv

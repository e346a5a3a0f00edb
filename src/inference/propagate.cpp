// Propagation: decides for each tree whether it must start from the potentials, which evidence is absorbed,
// which cliques take part and whose beliefs change. Messages are the subject of schedules.

#include "inference/propagate.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "api/boundary.h"
#include "api/float_environment.h"
#include "inference/answers/queries.h"
#include "inference/calibrate_tables.h"
#include "inference/compress/initial_tables.h"
#include "inference/elimination/elimination_schedule.h"
#include "inference/evidence/absorb_evidence.h"
#include "inference/evidence/d_connection.h"
#include "inference/evidence/evidence.h"
#include "inference/explain_failure.h"
#include "inference/extended/propagate_extended.h"
#include "inference/gaussian/cg_engine.h"
#include "inference/model_tables.h"
#include "inference/range.h"
#include "inference/reset.h"
#include "inference/schedule/finding_vectors.h"
#include "inference/schedule/lazy_clique.h"
#include "inference/schedule/run_schedule.h"
#include "inference/schedule/schedule_cache.h"
#include "inference/schedule/subtree.h"
#include "inference/tree_order.h"
#include "inference/utility/utility_engine.h"

namespace tv {
namespace {

bool has_made_decision(const TreeEngine& engine) noexcept {
  if (engine.tree->domain->counters.decision == 0) return false;
  return std::any_of(engine.tree->nodes.begin(), engine.tree->nodes.end(),
                     [&](const Node* node) { return decision_is_made(*node, engine.entered(*node)); });
}

bool decision_evidence_changes(const TreeEngine& engine) noexcept {
  if (engine.tree->domain->counters.decision == 0) return false;
  for (const Node* node : engine.tree->nodes)
    if (node->category == tv_category_decision && _tv_node_evidence_to_propagate(*node, engine[*node]))
      return true;
  return false;
}

bool reset_is_needed(const TreeEngine& engine, tv_evidence_mode_t mode) {
  if (engine.tables_touched || engine.equilibrium == tv_equilibrium_none || has_new_tables(engine))
    return true;
  if (mode == tv_evidence_fast_retraction) {
    if (engine.mode != tv_evidence_fast_retraction && engine.evidence_propagated) return true;
  } else if (engine.evidence_to_propagate > 0 && engine.mode != tv_evidence_fast_retraction &&
             engine.evidence_propagated && evidence_must_be_retracted(engine)) {
    return true;
  }
  return engine.evidence_to_propagate > 0 && decision_evidence_changes(engine);
}

// Once values are propagated no conflict is measured, and an equilibrium without evidence would serve only
// that.
bool holds_entered_values(const TreeEngine& engine) noexcept {
  return engine.tree->has_continuous &&
         std::any_of(engine.tree->nodes.begin(), engine.tree->nodes.end(),
                     [&](const Node* node) { return engine.entered(*node).value_flag; });
}

bool has_nothing_to_do(const TreeEngine& engine, tv_equilibrium_t equilibrium,
                       tv_evidence_mode_t mode) noexcept {
  return engine.equilibrium == equilibrium && (engine.mode == mode || !engine.evidence_propagated) &&
         engine.evidence_to_propagate == 0;
}

// Whether a sparse tree that was just reset has all answers, because there is no evidence.
bool holds_answers_without_evidence(const TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept {
  return engine.tree->sparse && equilibrium == tv_equilibrium_sum && engine.evidence_to_propagate == 0;
}

void start_step(TreeEngine& engine) noexcept {
  forget_conflicts(engine);
  target_no_beliefs(engine);
  engine.conflict = engine.step_constant = 1.0;
  engine.step_log_constant = 0.0;
  engine.finding_probability = {0.5, 1};
  engine.former_states.clear();
  engine.former_findings.clear();
  engine.knows_constants = false;
}

void enter_normal(TreeEngine& engine, tv_equilibrium_t equilibrium) noexcept {
  collect_pending_nodes(engine);
  if (is_calibrated(engine, equilibrium)) {
    clear_marks(engine);
  } else {
    mark_all_cliques(engine);
    tidy_evidence(engine);
  }
  if (engine.mode == tv_evidence_fast_retraction) {
    copy_pending_evidence(engine);
    tidy_evidence(engine);
    enter_all_evidence(engine, equilibrium);
  } else {
    enter_pending_evidence(engine, equilibrium);
  }
}

void enter_for_fast_retraction(TreeEngine& engine, tv_equilibrium_t equilibrium) {
  materialize_all_tables(engine);  // findings are applied to entries of tables
  collect_pending_nodes(engine);
  if (engine.equilibrium == equilibrium) {
    clear_marks(engine);
    mark_homes_of_pending(engine);
  } else {
    mark_all_cliques(engine);
  }
  copy_pending_evidence(engine);
}

// The largest share of a table that may have underflowed while messages were distributed; it grows when
// improbable evidence is divided out. Results that are too small for a float count, too. Under fast
// retraction findings are still to come.
tv_status_t note_lost_share(TreeEngine& engine, tv_evidence_mode_t mode) noexcept {
  if (engine.marginals_only) return tv_status_none;
  const unsigned flags = range_flags();
  if ((flags & kOverflowFlag) || (flags && mode == tv_evidence_fast_retraction)) return kOutOfRange;
  engine.lost_share -= std::min(0.0, engine.step_log_constant) / std::numbers::ln2;
  if (flags) engine.lost_share = std::max(engine.lost_share, lost_share_of(engine));
  return engine.lost_share > kNegligibleLater ? kOutOfRange : tv_status_none;
}

// Only under sum propagation is a node unaffected by evidence that is d-separated from it: the largest entry
// over an unobserved common effect depends on all its causes.
void choose_targets(TreeEngine& engine, tv_equilibrium_t equilibrium, tv_evidence_mode_t mode) noexcept {
  const bool prunes = equilibrium == tv_equilibrium_sum && is_calibrated(engine, equilibrium) &&
                      mode == tv_evidence_normal &&
                      (engine.mode == tv_evidence_normal || !engine.evidence_propagated) &&
                      engine.approximation_constant == 1.0 &&
                      !engine.tree->has_chain_components;  // the search knows directed links only
  if (prunes) return target_d_connected_beliefs(engine);
  target_all_beliefs(engine);
}

void note_success(TreeEngine& engine, tv_equilibrium_t equilibrium, tv_evidence_mode_t mode) noexcept {
  engine.state->sampler.reset();
  engine.equilibrium = equilibrium;
  engine.mode = mode;
  engine.evidence_to_propagate = 0;
  count_pending_as_propagated(engine);
  engine.cg_evidence_propagated = engine.cg && engine.cg->observed > 0;
  engine.evidence_propagated = engine.evidence_count > 0 || engine.cg_evidence_propagated;
  engine.likelihood_propagated = engine.likelihood_count > 0;
}

// Computes beliefs by an elimination schedule, without tables. `no_value` where that does not pay, memory is
// short, or a product of factors becomes too small.
tv_status_t propagate_by_elimination(const PropagationRequest& request, const ScheduleCache::Found& cached) {
  TreeEngine& engine = request.engine;
  ScheduleCache& cache = *engine.schedules;
  if (!may_eliminate(request)) return tv_status_no_value;
  const EliminationSchedule* schedule = cached.elimination;
  std::shared_ptr<const CachedSchedule> fresh;
  if (schedule ? !may_run(engine, *schedule)
               : !succeeds_with_memory([&] { fresh = build_elimination(request); }))
    return tv_status_no_value;
  if (fresh) schedule = fresh->elimination.get();
  if (!schedule) return tv_status_no_value;
  tv_status_t status = tv_status_none;
  if (!succeeds_with_memory([&] { status = run_elimination(engine, *schedule, cached.subtrees); }))
    return tv_status_no_value;
  if (status == tv_status_no_value) cache.note_tables_needed();
  if (status) return status;
  observe_states_without_shapes(engine);
  for (CliqueWork& work : engine.cliques) work.findings.clear();  // the schedule has multiplied by them
  engine.marginals_only = true;
  if (fresh) cache.insert(fresh);
  return tv_status_none;
}

// Propagates from the potentials. All cliques take part, so that the schedule depends only on which nodes are
// observed.
tv_status_t propagate_anew(const PropagationRequest& request) {
  TreeEngine& engine = request.engine;
  if (takes_finding_vectors(request)) return propagate_finding_vectors(request);
  const ScheduleCache::Found cached = engine.schedules->find(engine, request.equilibrium);
  if (tv_status_t status = propagate_by_elimination(request, cached); status != tv_status_no_value)
    return status;
  if (cached.schedule) {
    observe_states_without_shapes(engine);
    return run_schedule(request, *cached.schedule, cached.subtrees);
  }
  observe_states(engine);
  choose_targets(engine, request.equilibrium, request.mode);
  const size_t start = _tv_identify_subtree(engine, kNone);
  ScheduleLists lists;
  if (!engine.schedules->admits(ScheduleCache::Kind::schedule) || !reserve_schedule(*engine.tree, lists))
    return _tv_jt_global_propagate(request, start);
  const Schedule schedule = build_schedule(request, start, lists);
  if (tv_status_t status = run_schedule(request, schedule)) return status;
  engine.schedules->insert(engine, lists, request.equilibrium);
  return tv_status_none;
}

// From one equilibrium to the next.
tv_status_t propagate_on(const PropagationRequest& request, const Clique* root) {
  TreeEngine& engine = request.engine;
  if (request.mode == tv_evidence_normal)
    observe_states(engine);
  else
    refresh_shapes(engine);  // nothing is observed, but a cached schedule may have left shapes stale
  const size_t start = _tv_identify_subtree(engine, root ? root->position : kNone);
  choose_targets(engine, request.equilibrium, request.mode);
  return _tv_jt_global_propagate(request, start);
}

// From the tables without evidence of a sparse tree, or by elimination where that is cheaper.
tv_status_t propagate_from_initial_tables(const PropagationRequest& request, const Clique* root) {
  TreeEngine& engine = request.engine;
  const ScheduleCache::Found cached =
      root ? ScheduleCache::Found{} : engine.schedules->find(engine, request.equilibrium);
  const tv_status_t status = root ? tv_status_no_value : propagate_by_elimination(request, cached);
  if (status != tv_status_no_value) return status;
  load_awaited_numbers(engine);
  return propagate_on(request, root);
}

// The tree is in equilibrium but for the values of continuous nodes, whose density is multiplied in.
tv_status_t propagate_values(TreeEngine& engine, const Clique* root) {
  const bool may_have_lost = engine.cg->holds_densities;
  if (may_have_lost) engine.cg->growth -= engine.step_log_constant;
  ++engine.cg->round;
  record_values(*engine.cg);
  refresh_shapes(engine);
  clear_marks(engine);
  CgAbsorption change;
  if (tv_status_t status = absorb_densities(*engine.cg, change)) return status;
  if (!change.any) return tv_status_none;
  target_all_beliefs(engine);
  const double before = engine.step_constant, log_before = engine.step_log_constant;
  const PropagationRequest request = {engine, tv_equilibrium_sum, tv_evidence_normal};
  const size_t start = _tv_identify_subtree(engine, root ? root->position : kNone);
  if (tv_status_t status = _tv_jt_global_propagate(request, start)) return status;
  if (may_have_lost) engine.cg->growth += change.growth - engine.step_log_constant;
  engine.step_constant *= before * std::exp(change.shift);
  engine.step_log_constant += log_before + change.shift;
  engine.constant *= std::exp(change.shift);
  engine.log_constant += change.shift;
  return tv_status_none;
}

// In single precision; `kOutOfRange` where that does not suffice.
tv_status_t propagate_in_range(const PropagationRequest& request, const Clique* root) {
  TreeEngine& engine = request.engine;
  const bool starts_anew = request.first && !root;
  const bool is_loaded = engine.tree->sparse && engine.equilibrium == tv_equilibrium_none;
  tv_status_t status = starts_anew ? propagate_anew(request)
                       : is_loaded ? propagate_from_initial_tables(request, root)
                                   : propagate_on(request, root);
  if (!status && request.engine.cg) status = propagate_values(engine, root);
  return status ? status : note_lost_share(engine, request.mode);
}

// Whether a tree in equilibrium reaches the next one from its potentials: single precision did not suffice;
// or all cliques would take part, and their tables are not calibrated anyway or have lost numbers, which may
// matter more to sums than they did to maxima.
bool starts_over(const PropagationRequest& request) noexcept {
  const TreeEngine& engine = request.engine;
  if (engine.is_extended) return true;
  if (engine.equilibrium == tv_equilibrium_none || engine.equilibrium == request.equilibrium) return false;
  const bool has_lost_numbers = engine.lost_share > -std::numeric_limits<double>::infinity();
  if (!engine.marginals_only) return has_lost_numbers && request.mode == tv_evidence_normal;
  return engine.saved_potentials.are_untouched() && may_eliminate(request);
}

// From the present tables, or from the potentials when there are none, to the entered evidence.
tv_status_t propagate_evidence(TreeEngine& engine, const Clique* root, tv_equilibrium_t equilibrium,
                               tv_evidence_mode_t mode) {
  const FloatEnvironment environment;
  const FormerConstants former(engine);
  start_step(engine);
  if (mode == tv_evidence_normal)
    enter_normal(engine, equilibrium);
  else
    enter_for_fast_retraction(engine, equilibrium);
  const bool is_first = engine.equilibrium == tv_equilibrium_none && !engine.tree->sparse;
  const PropagationRequest request = {engine, equilibrium, mode, is_first};
  tv_status_t status = starts_over(request) ? kOutOfRange : propagate_in_range(request, root);
  if (status == kOutOfRange) status = propagate_extended(engine, root, equilibrium, mode, former);
  return status;
}

// The densities of values may be so far apart that entries of the tables underflow. An entry that would have
// grown by no more than this since then is still far below single precision; beyond it the tables are made
// anew.
constexpr double kHarmlessGrowth = 46.0;  // the logarithm of 1e20

bool is_equilibrium(tv_equilibrium_t equilibrium) noexcept {
  return equilibrium == tv_equilibrium_sum || equilibrium == tv_equilibrium_max;
}

bool is_mode(tv_evidence_mode_t mode) noexcept {
  return mode == tv_evidence_normal || mode == tv_evidence_fast_retraction;
}

bool is_plain_request(tv_equilibrium_t equilibrium, tv_evidence_mode_t mode) noexcept {
  return equilibrium == tv_equilibrium_sum && mode == tv_evidence_normal;
}

tv_status_t refuse_fast_retraction() noexcept {
  return refuse(tv_status_compressed, "fast retraction needs full tables, and the network is compressed");
}

bool is_refused(const Domain& domain, tv_evidence_mode_t mode) noexcept {
  return domain.compressed && mode == tv_evidence_fast_retraction;
}

tv_status_t refuse_for_continuous() noexcept {
  return refuse(tv_status_usage,
                "networks with continuous nodes know sum propagation with normal evidence alone");
}

// Trees with continuous nodes are brought to the equilibrium without evidence after a failure, if possible.
void reset_continuous(TreeEngine& engine) noexcept {
  if (engine.tree->has_continuous)
    succeeds_with_memory([&] { _tv_jt_reset_inference_engine(engine, ResetForm::full); });
}

// A failure in one tree resets all of them.
tv_status_t propagate_all_trees(InferenceState& state, tv_equilibrium_t equilibrium,
                                tv_evidence_mode_t mode) {
  StateRecovery recovery(state);
  const auto propagate = [&](TreeEngine& engine) {
    return _tv_jt_make_consistent(engine, nullptr, equilibrium, mode);
  };
  if (tv_status_t status = for_each_tree_in_order(state, propagate)) return status;
  recovery.dismiss();
  return tv_status_none;
}

tv_status_t propagate_tree(TreeEngine& engine, Clique* root, tv_equilibrium_t equilibrium,
                           tv_evidence_mode_t mode) {
  if (!is_compiled(*engine.domain)) return refuse_uncompiled();
  if (engine.tree->has_continuous && !is_plain_request(equilibrium, mode)) return refuse_for_continuous();
  if (is_refused(*engine.domain, mode)) return refuse_fast_retraction();
  if (!_tv_jt_evidence_is_valid(engine) || !_tv_domain_ijt_nodes_are_instantiated(*engine.state))
    return tv_status_invalid_evidence;
  const tv_status_t status = _tv_jt_make_consistent(engine, root, equilibrium, mode);
  if (status && status != tv_status_error) reset_continuous(engine);
  return explain_failure(*engine.state, status);
}

// Every tree is reset, even after a failure; the first failure is reported.
tv_status_t reset_all_trees(Domain& domain) {
  tv_status_t first = tv_status_none;
  const auto reset = [&](TreeEngine& engine) {
    tv_status_t status = tv_status_none;
    if (!succeeds_with_memory([&] { status = _tv_jt_reset_inference_engine(engine, ResetForm::full); }))
      status = tv_status_no_memory;
    if (first == tv_status_none) first = status;
    return tv_status_none;
  };
  for_each_tree_in_order(own_state(domain), reset);
  return first;
}

}  // namespace

tv_status_t _tv_jt_make_consistent(TreeEngine& engine, Clique* root, tv_equilibrium_t equilibrium,
                                   tv_evidence_mode_t mode) {
  TreeRecovery recovery(engine);
  if (engine.state->is_own())
    if (tv_status_t status = refresh_model_tables(*engine.tree)) return status;
  const bool is_reset = reset_is_needed(engine, mode);
  if (is_reset) {
    const ResetForm form = mode == tv_evidence_fast_retraction ? ResetForm::fast_retraction
                           : holds_entered_values(engine) || has_made_decision(engine) ? ResetForm::bare
                                                                                       : ResetForm::full;
    if (tv_status_t status = _tv_jt_reset_inference_engine(engine, form)) return status;
  }
  if ((engine.cg || !is_reset) && has_nothing_to_do(engine, equilibrium, mode)) {
    recovery.dismiss();
    return tv_status_none;
  }
  if (is_reset && holds_answers_without_evidence(engine, equilibrium)) {
    note_success(engine, equilibrium, mode);
    engine.marginals_only |= engine.awaits_initial_numbers;
    recovery.dismiss();
    return tv_status_none;
  }
  if (!starts_over({engine, equilibrium, mode}))
    if (tv_status_t status = calibrate_tables(engine)) return status;
  const bool may_have_lost = engine.cg && engine.cg->holds_densities;
  tv_status_t status = propagate_evidence(engine, root, equilibrium, mode);
  const bool stopped = status == tv_status_error;
  if (may_have_lost && !stopped && (status || engine.cg->growth > kHarmlessGrowth)) {
    if (tv_status_t reset = _tv_jt_reset_inference_engine(engine, ResetForm::bare)) return reset;
    status = propagate_evidence(engine, root, equilibrium, mode);
  }
  if (status) return status;
  note_success(engine, equilibrium, mode);
  update_expected_utilities(engine, engine.pending);
  recovery.dismiss();
  return tv_status_none;
}

tv_status_t propagate_state(InferenceState& state, tv_equilibrium_t equilibrium, tv_evidence_mode_t mode) {
  if (!_tv_domain_evidence_is_valid(state) || !_tv_domain_ijt_nodes_are_instantiated(state))
    return tv_status_invalid_evidence;
  const tv_status_t status = propagate_all_trees(state, equilibrium, mode);
  if (status && status != tv_status_error)
    for (const auto& engine : state.trees) reset_continuous(*engine);
  return explain_failure(state, status);
}

tv_status_t check_propagation(const Domain& domain, tv_equilibrium_t equilibrium,
                              tv_evidence_mode_t mode) noexcept {
  if (!check(is_equilibrium(equilibrium) && is_mode(mode))) return tv_status_usage;
  if (domain.counters.continuous > 0 && !is_plain_request(equilibrium, mode)) return refuse_for_continuous();
  if (is_refused(domain, mode)) return refuse_fast_retraction();
  return tv_status_none;
}

}  // namespace tv

tv_status_t tv_domain_propagate(tv_domain_t* domain, tv_equilibrium_t equilibrium, tv_evidence_mode_t mode) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain && tv::is_equilibrium(equilibrium) && tv::is_mode(mode))) return tv_status_usage;
    if (!tv::is_compiled(*domain)) return tv::refuse_uncompiled();
    if (domain->counters.continuous > 0 && !tv::is_plain_request(equilibrium, mode))
      return tv::refuse_for_continuous();
    if (tv::is_refused(*domain, mode)) return tv::refuse_fast_retraction();
    return tv::propagate_state(tv::own_state(*domain), equilibrium, mode);
  });
}

tv_status_t tv_jt_propagate(tv_junction_tree_t* jt, tv_equilibrium_t equilibrium, tv_evidence_mode_t mode) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(jt && tv::is_equilibrium(equilibrium) && tv::is_mode(mode))) return tv_status_usage;
    return tv::propagate_tree(*jt->engine, nullptr, equilibrium, mode);
  });
}

tv_status_t tv_clique_propagate(tv_clique_t* clique, tv_equilibrium_t equilibrium, tv_evidence_mode_t mode) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(clique && tv::is_equilibrium(equilibrium) && tv::is_mode(mode))) return tv_status_usage;
    return tv::propagate_tree(*clique->tree->engine, clique, equilibrium, mode);
  });
}

tv_status_t tv_domain_reset_inference_engine(tv_domain_t* domain) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain)) return tv_status_usage;
    if (!tv::is_compiled(*domain)) return tv::refuse_uncompiled();
    if (!tv::_tv_domain_ijt_nodes_are_instantiated(tv::own_state(*domain))) return tv_status_invalid_evidence;
    return tv::reset_all_trees(*domain);
  });
}

tv_status_t tv_domain_initialize(tv_domain_t* domain) {
  if (tv_status_t status = tv_domain_reset_inference_engine(domain)) return status;
  return tv_domain_retract_findings(domain);
}

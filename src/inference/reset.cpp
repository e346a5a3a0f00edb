// Resetting the inference engine. A reset computes nothing by itself: it forgets the tables, and the next
// propagation multiplies the potentials under its own evidence, so that entries which that evidence rules out
// are never touched. Only where an equilibrium without evidence is needed (fast retraction, a copy of the
// initial tables) are the tables calibrated at once.

#include "inference/reset.h"

#include <algorithm>
#include <cmath>

#include "api/boundary.h"
#include "api/float_environment.h"
#include "inference/answers/queries.h"
#include "inference/calibrate_tables.h"
#include "inference/chain_divisor.h"
#include "inference/compress/initial_tables.h"
#include "inference/evidence/evidence.h"
#include "inference/extended/propagate_extended.h"
#include "inference/gaussian/cg_engine.h"
#include "inference/model_tables.h"
#include "inference/schedule/lazy_clique.h"
#include "inference/schedule/run_schedule.h"
#include "inference/schedule/subtree.h"
#include "inference/utility/utility_engine.h"
#include "network/node_operations.h"
#include "tables/table_operations.h"

namespace tv {
namespace {

void clear_state(TreeEngine& engine) noexcept {
  engine.state->sampler.reset();
  engine.equilibrium = tv_equilibrium_none;
  engine.mode = tv_evidence_normal;
  engine.step_constant = engine.constant = engine.conflict = 1.0;
  engine.step_log_constant = engine.log_constant = 0.0;
  engine.evidence_propagated = engine.likelihood_propagated = engine.cg_evidence_propagated = false;
  for (const uint32_t clique : engine.marked) engine.cliques[clique].conflict = 1.0;
  forget_conflicts(engine);
  clear_marks(engine);
  target_no_beliefs(engine);
  for_each_with_evidence(engine, [&](const Node& node) {
    NodeState& data = engine[node];
    data.propagated_state = kNoEvidence;
    data.value_propagated = data.policy_left_out = false;
  });
  engine.evidence_count = engine.likelihood_count = 0;
  // The evidence of required instantiations becomes part of the initial tables.
  if (engine.tree->domain->required_instantiations.empty()) return;
  for (const Node* node : engine.tree->nodes)
    if (node->is_required && engine.entered(*node).state >= 0) {
      engine[*node].propagated_state = engine.entered(*node).state;
      ++engine.evidence_count;
    }
}

tv_status_t jt_check_user_potentials(TreeEngine& engine) {
  for (Node* node : engine.tree->nodes) {
    if (node->table_checked || !node->table || node->category == tv_category_utility) continue;
    if (tv_status_t status = validate_conditional_probability_potential(*node->table, true)) return status;
    node->table_checked = true;
  }
  return tv_status_none;
}

constexpr size_t kForgotten = kNone - 1;  // equals no configuration

// The configuration of the required instantiations among the nodes of a node's table; kNone without any.
size_t configuration_of_required(const TreeEngine& engine, const Node& node) noexcept {
  size_t index = kNone;
  const auto append = [&](const Node* member) {
    if (!member->is_required) return;
    const auto state = static_cast<size_t>(std::max<ptrdiff_t>(engine.entered(*member).state, 0));
    index = (index == kNone ? 0 : index * member->number_of_states) + state;
  };
  if (!node.table)
    append(&node);  // it counts as uniform
  else
    for (const Node* member : node.table->nodes) append(member);
  return index;
}

void remember_configurations(TreeEngine& engine) noexcept {
  const bool any = !engine.tree->domain->required_instantiations.empty();
  if (!any && !engine.has_required) return;
  engine.has_required = any;
  for (const Node* node : engine.tree->nodes)
    engine[*node].table_configuration = any ? configuration_of_required(engine, *node) : kNone;
}

// Returns whether there are any. The next propagation then does not start from the initial tables.
bool leave_out_policies(TreeEngine& engine) noexcept {
  if (engine.tree->domain->counters.decision == 0) return false;
  bool any = false;
  for_each_with_evidence(engine, [&](const Node& node) {
    engine[node].policy_left_out = decision_is_made(node, engine.entered(node));
    any |= decision_is_made(node, engine.entered(node));
  });
  return any;
}

void observe_propagated_states(TreeEngine& engine) noexcept {
  if (engine.tree->sparse) return;
  for_each_with_evidence(
      engine, [&](const Node& node) { engine[node].next_observed_state = engine[node].propagated_state; });
  apply_observed_states(engine);
}

void set_constants(TreeEngine& engine, double log_constant) noexcept {
  engine.constant = std::exp(log_constant);
  engine.log_constant = log_constant;
}

// The constants begin with the probability of the required instantiations.
tv_status_t initialize_to_sum(TreeEngine& engine) {
  observe_propagated_states(engine);
  mark_all_cliques(engine);
  target_all_beliefs(engine);
  const PropagationRequest request = {engine, tv_equilibrium_sum, tv_evidence_normal, true};
  const FloatEnvironment environment;
  tv_status_t status = _tv_jt_global_propagate(request, 0);
  if (status == kOutOfRange) status = initialize_extended(engine);
  if (status) return status;
  if (engine.evidence_count == 0) set_constants(engine, 0.0);  // but for rounding
  engine.equilibrium = tv_equilibrium_sum;
  return tv_status_none;
}

// Calls visit(block) for the numbers of a tree and for each table that is stored elsewhere.
template <class Visit>
void for_each_block(const TreeEngine& engine, Visit visit) {
  visit(engine.numbers);
  for (const Block<float>& block : engine.stored) visit(block);
}

void save_tables(TreeEngine& engine) {
  materialize_all_tables(engine);  // a copy needs tables of fixed size
  size_t size = 0;
  for_each_block(engine, [&](const Block<float>& block) { size += block.size(); });
  Block<float> copy;
  copy.allocate_uninitialized(size);
  float* place = copy.data();
  for_each_block(engine,
                 [&](const Block<float>& block) { place = std::copy(block.begin(), block.end(), place); });
  std::vector<float> beliefs;
  for (const Node* node : engine.tree->nodes)
    beliefs.insert(beliefs.end(), engine[*node].belief, engine[*node].belief + node->number_of_states);
  engine.copied_beliefs = std::move(beliefs);
  engine.copy = std::move(copy);
  engine.copied_log_constant = engine.evidence_count == 0 ? 0.0 : engine.log_constant;
}

void load_tables(TreeEngine& engine) noexcept {
  forget_tables(engine);
  if (engine.cg) drop_values(*engine.cg);
  observe_propagated_states(engine);
  const float* place = engine.copy.data();
  for_each_block(engine, [&](const Block<float>& block) {
    std::copy_n(place, block.size(), block.begin());
    place += block.size();
  });
  for (CliqueWork& work : engine.cliques) work.initialized = true;
  const float* beliefs = engine.copied_beliefs.data();
  for (const Node* node : engine.tree->nodes) {
    std::copy(beliefs, beliefs + node->number_of_states, engine[*node].belief);
    beliefs += node->number_of_states;
  }
  set_constants(engine, engine.copied_log_constant);
  engine.equilibrium = tv_equilibrium_sum;
}

}  // namespace

bool has_new_tables(const TreeEngine& engine) noexcept {
  // The list itself may have changed since, too.
  const bool any = !engine.tree->domain->required_instantiations.empty();
  if (!any && !engine.has_required) return false;
  return std::any_of(engine.tree->nodes.begin(), engine.tree->nodes.end(), [&](const Node* node) {
    return engine[*node].table_configuration != (any ? configuration_of_required(engine, *node) : kNone);
  });
}

void count_evidence_to_propagate(TreeEngine& engine) noexcept {
  engine.evidence_to_propagate = 0;
  for_each_with_evidence(engine, [&](const Node& node) {
    engine.evidence_to_propagate += _tv_node_evidence_to_propagate(node, engine[node]);
    list_evidence(engine, node);
  });
}

void forget_conflicts(TreeEngine& engine) noexcept {
  for (const uint32_t clique : engine.measured) {
    engine.cliques[clique].measured = false;
    engine.cliques[clique].finding_probability = 1.0;
    engine.cliques[clique].conflict = 1.0;
  }
  engine.measured.clear();
  engine.conflict_root = TreeEngine::kNoConflictRoot;
  if (engine.all_in_conflict)
    for_each_with_evidence(engine, [&](const Node& node) { engine[node].in_conflict = false; });
  else
    for (const Node* node : engine.pending) engine[*node].in_conflict = false;
  engine.all_in_conflict = false;
}

namespace {

void forget_all(TreeEngine& engine) noexcept {
  clear_state(engine);
  count_evidence_to_propagate(engine);
  forget_tables(engine);
  forget_utilities(engine);
}

bool copy_holds(const TreeEngine& engine) noexcept {
  if (engine.tree->sparse) return has_initial_tables(engine);
  return engine.keep_copy && engine.copy.data() && !engine.tables_touched && !has_new_tables(engine);
}

// A sparse tree that was reset is in equilibrium; its numbers can wait.
void settle_without_evidence(TreeEngine& engine) noexcept {
  engine.equilibrium = tv_equilibrium_sum;
  engine.marginals_only = engine.awaits_initial_numbers;
}

void load_copy(TreeEngine& engine) noexcept {
  if (engine.tree->sparse) {
    load_initial_tables(engine);
    if (engine.keep_copy) settle_without_evidence(engine);
    return;
  }
  load_tables(engine);
  update_expected_utilities(engine, {});
}

}  // namespace

void recover_tree(TreeEngine& engine) noexcept {
  forget_all(engine);
  if (copy_holds(engine)) load_copy(engine);
}

tv_status_t _tv_jt_reset_inference_engine(TreeEngine& engine, ResetForm form) {
  TreeRecovery recovery(engine);
  if (engine.state->is_own())
    if (tv_status_t status = refresh_own_model_tables(*engine.tree)) return status;
  forget_all(engine);
  const bool is_decided = form != ResetForm::full && leave_out_policies(engine);
  const bool holds = copy_holds(engine);
  if (holds && !is_decided) {
    load_copy(engine);
    recovery.dismiss();
    return tv_status_none;
  }
  if (!holds) engine.copy.reset();  // later on the copy could not be recognised as stale
  if (engine.tables_touched) {
    if (engine.cg) forget_all_regressions(*engine.cg);
    if (tv_status_t status = jt_check_user_potentials(engine)) return status;
    if (tv_status_t status = compute_chain_divisors(*engine.domain->forest, *engine.tree)) return status;
  }
  if (engine.tree->sparse) {
    if (tv_status_t status = form_initial_tables(engine)) return status;
    engine.tables_touched = false;
    load_copy(engine);
    settle_without_evidence(engine);
    recovery.dismiss();
    return tv_status_none;
  }
  engine.approximation_constant = 1.0;
  const bool initializes = form == ResetForm::fast_retraction || (form == ResetForm::full && engine.cg);
  const bool keeps_copy = engine.keep_copy && !is_decided;
  if (initializes || keeps_copy) {
    if (engine.cg) drop_values(*engine.cg);
    if (tv_status_t status = initialize_to_sum(engine)) return status;
    update_expected_utilities(engine, {});
  }
  if (keeps_copy) save_tables(engine);
  remember_configurations(engine);
  engine.tables_touched = false;
  recovery.dismiss();
  return tv_status_none;
}

void _tv_node_touch_table(Node& node) noexcept {
  node.domain->log_likelihood_is_valid = false;
  node.table_checked = false;
  if (!is_compiled(*node.domain)) return;
  node.domain->forest->end_queries();
  InferenceState& state = own_state(*node.domain);
  if (state[node].table_configuration != kNone) state[node].table_configuration = kForgotten;
  state[node].table_touched = true;
  const JunctionTree* const tree = tree_with_potential(node);
  if (!tree) return;
  tree->engine->tables_touched = true;
  note_changed_potential(node);
}

namespace {

bool holds_initial_tables(const TreeEngine& engine) noexcept {
  return engine.equilibrium == tv_equilibrium_sum && engine.mode == tv_evidence_normal &&
         !engine.evidence_propagated && !engine.tables_touched;
}

tv_status_t save_domain_to_memory(Domain& domain) {
  for (const auto& engine : own_state(domain).trees) {
    if (engine->tree->sparse) continue;  // which has them anyway
    if (holds_initial_tables(*engine)) {
      if (tv_status_t status = calibrate_tables(*engine)) return status;
      save_tables(*engine);
    } else if (!engine->keep_copy) {
      engine->copy.reset();  // of an attempt that ran out of memory
    }
  }
  for (const auto& engine : own_state(domain).trees) engine->keep_copy = true;
  return tv_status_none;
}

}  // namespace
}  // namespace tv

tv_status_t tv_node_touch_table(tv_node_t* node) {
  if (tv::check(node && node->kind != tv_kind_error)) tv::_tv_node_touch_table(*node);
  return tv::current_status();
}

tv_status_t tv_domain_save_to_memory(tv_domain_t* domain) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain)) return tv_status_usage;
    if (!tv::is_compiled(*domain)) return tv_status_not_compiled;
    return tv::save_domain_to_memory(*domain);
  });
}

tv_status_t tv_domain_reclaim_memory_tables(tv_domain_t* domain) {
  if (!tv::check(domain)) return tv_status_usage;
  if (!tv::is_compiled(*domain)) return tv::store_status(tv_status_not_compiled);
  for (const auto& engine : tv::own_state(*domain).trees) {
    engine->keep_copy = false;
    engine->copy.reset();
    engine->copied_beliefs = {};
  }
  return tv_status_none;
}

// Resetting the inference engine. A reset computes nothing by itself: it forgets the tables, and the next
// propagation multiplies the potentials under its own evidence, so that entries which that evidence rules out
// are never touched. Only where an equilibrium without evidence is needed (fast retraction, a copy of the
// initial tables) are the tables calibrated at once.

#include "inference/reset.h"

#include <algorithm>
#include <cmath>

#include "api/boundary.h"
#include "api/float_environment.h"
#include "inference/calibrate_tables.h"
#include "inference/chain_divisor.h"
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

void clear_state(JunctionTree& tree) noexcept {
  tree.equilibrium = tv_equilibrium_none;
  tree.mode = tv_evidence_normal;
  tree.step_constant = tree.constant = tree.conflict = 1.0;
  tree.step_log_constant = tree.log_constant = 0.0;
  tree.evidence_propagated = tree.likelihood_propagated = tree.cg_evidence_propagated = false;
  TreeEngine& engine = engine_of(tree);
  for (const uint32_t clique : engine.marked) tree.cliques[clique]->conflict = 1.0;
  forget_conflicts(engine);
  clear_marks(engine);
  target_no_beliefs(engine);
  for_each_with_evidence(engine, [](const Node& node) {
    CompiledNode& data = compiled(node);
    data.propagated_state = kNoEvidence;
    data.value_propagated = data.policy_left_out = false;
  });
  engine.evidence_count = engine.likelihood_count = 0;
  // The evidence of required instantiations becomes part of the initial tables.
  if (tree.domain->required_instantiations.empty()) return;
  for (const Node* node : tree.nodes)
    if (node->is_required && node->entered.state >= 0) {
      compiled(*node).propagated_state = node->entered.state;
      ++engine.evidence_count;
    }
}

tv_status_t jt_check_user_potentials(JunctionTree& tree) {
  for (Node* node : tree.nodes) {
    if (node->table_checked || !node->table || node->category == tv_category_utility) continue;
    if (tv_status_t status = validate_conditional_probability_potential(*node->table, true)) return status;
    node->table_checked = true;
  }
  return tv_status_none;
}

constexpr size_t kForgotten = kNone - 1;  // equals no configuration

// The configuration of the required instantiations among the nodes of a node's table; kNone without any.
size_t configuration_of_required(const Node& node) noexcept {
  size_t index = kNone;
  const auto append = [&](const Node* member) {
    if (!member->is_required) return;
    const size_t state = member->entered.state >= 0 ? static_cast<size_t>(member->entered.state) : 0;
    index = (index == kNone ? 0 : index * member->number_of_states) + state;
  };
  if (!node.table)
    append(&node);  // it counts as uniform
  else
    for (const Node* member : node.table->nodes) append(member);
  return index;
}

void remember_configurations(JunctionTree& tree) noexcept {
  const bool any = !tree.domain->required_instantiations.empty();
  if (!any && !tree.has_required) return;
  tree.has_required = any;
  for (const Node* node : tree.nodes)
    compiled(*node).table_configuration = any ? configuration_of_required(*node) : kNone;
}

// Returns whether there are any. The next propagation then does not start from the initial tables.
bool leave_out_policies(JunctionTree& tree) noexcept {
  if (tree.domain->counters.decision == 0) return false;
  bool any = false;
  for_each_with_evidence(engine_of(tree), [&](const Node& node) {
    compiled(node).policy_left_out = decision_is_made(node);
    any |= decision_is_made(node);
  });
  return any;
}

void observe_propagated_states(JunctionTree& tree) noexcept {
  for_each_with_evidence(engine_of(tree), [](const Node& node) {
    compiled(node).next_observed_state = compiled(node).propagated_state;
  });
  apply_observed_states(engine_of(tree));
}

void set_constants(JunctionTree& tree, double log_constant) noexcept {
  tree.constant = std::exp(log_constant);
  tree.log_constant = log_constant;
}

// The constants begin with the probability of the required instantiations.
tv_status_t initialize_to_sum(JunctionTree& tree) {
  TreeEngine& engine = engine_of(tree);
  observe_propagated_states(tree);
  mark_all_cliques(engine);
  target_all_beliefs(engine);
  const PropagationRequest request = {engine, tv_equilibrium_sum, tv_evidence_normal, true};
  const FloatEnvironment environment;
  tv_status_t status = _tv_jt_global_propagate(request, 0);
  if (status == kOutOfRange) status = initialize_extended(tree);
  if (status) return status;
  if (engine.evidence_count == 0) set_constants(tree, 0.0);  // but for rounding
  tree.equilibrium = tv_equilibrium_sum;
  return tv_status_none;
}

// Calls visit(block) for the numbers of a tree and for each table that is stored elsewhere.
template <class Visit>
void for_each_block(const TreeEngine& engine, Visit visit) {
  visit(engine.numbers);
  for (const Block<float>& block : engine.stored) visit(block);
}

void save_tables(JunctionTree& tree) {
  TreeEngine& engine = engine_of(tree);
  materialize_all_tables(engine);  // a copy needs tables of fixed size
  size_t size = 0;
  for_each_block(engine, [&](const Block<float>& block) { size += block.size(); });
  Block<float> copy;
  copy.allocate_uninitialized(size);
  float* place = copy.data();
  for_each_block(engine,
                 [&](const Block<float>& block) { place = std::copy(block.begin(), block.end(), place); });
  std::vector<float> beliefs;
  for (const Node* node : tree.nodes)
    beliefs.insert(beliefs.end(), compiled(*node).belief, compiled(*node).belief + node->number_of_states);
  engine.copied_beliefs = std::move(beliefs);
  engine.copy = std::move(copy);
  engine.copied_log_constant = engine.evidence_count == 0 ? 0.0 : tree.log_constant;
}

void load_tables(JunctionTree& tree) noexcept {
  TreeEngine& engine = engine_of(tree);
  forget_tables(engine);
  if (engine.cg) drop_values(*engine.cg);
  observe_propagated_states(tree);
  const float* place = engine.copy.data();
  for_each_block(engine, [&](const Block<float>& block) {
    std::copy_n(place, block.size(), block.begin());
    place += block.size();
  });
  for (CliqueWork& work : engine.cliques) work.initialized = true;
  const float* beliefs = engine.copied_beliefs.data();
  for (const Node* node : tree.nodes) {
    std::copy(beliefs, beliefs + node->number_of_states, compiled(*node).belief);
    beliefs += node->number_of_states;
  }
  set_constants(tree, engine.copied_log_constant);
  tree.equilibrium = tv_equilibrium_sum;
}

}  // namespace

bool _tv_jt_has_new_tables(const JunctionTree& tree) noexcept {
  // The list itself may have changed since, too.
  const bool any = !tree.domain->required_instantiations.empty();
  if (!any && !tree.has_required) return false;
  return std::any_of(tree.nodes.begin(), tree.nodes.end(), [any](const Node* node) {
    return compiled(*node).table_configuration != (any ? configuration_of_required(*node) : kNone);
  });
}

void count_evidence_to_propagate(JunctionTree& tree) noexcept {
  tree.evidence_to_propagate = 0;
  for_each_with_evidence(engine_of(tree), [&](const Node& node) {
    tree.evidence_to_propagate += _tv_node_evidence_to_propagate(node);
    list_evidence(compiled(node));
  });
}

void forget_conflicts(TreeEngine& engine) noexcept {
  for (const uint32_t clique : engine.measured) {
    engine.cliques[clique].measured = false;
    engine.cliques[clique].finding_probability = 1.0;
    engine.cliques[clique].clique->conflict = 1.0;
  }
  engine.measured.clear();
  engine.conflict_root = TreeEngine::kNoConflictRoot;
  if (engine.all_in_conflict)
    for_each_with_evidence(engine, [](const Node& node) { compiled(node).in_conflict = false; });
  else
    for (const Node* node : engine.pending) compiled(*node).in_conflict = false;
  engine.all_in_conflict = false;
}

namespace {

void forget_all(JunctionTree& tree) noexcept {
  clear_state(tree);
  count_evidence_to_propagate(tree);
  forget_tables(engine_of(tree));
  forget_utilities(tree);
}

bool copy_holds(const JunctionTree& tree) noexcept {
  const TreeEngine& engine = engine_of(tree);
  return engine.keep_copy && engine.copy.data() && !tree.tables_touched && !_tv_jt_has_new_tables(tree);
}

void load_copy(JunctionTree& tree) noexcept {
  load_tables(tree);
  update_expected_utilities(tree, {});
}

}  // namespace

void recover_tree(JunctionTree& tree) noexcept {
  forget_all(tree);
  if (copy_holds(tree)) load_copy(tree);
}

tv_status_t _tv_jt_reset_inference_engine(JunctionTree& tree, ResetForm form) {
  TreeEngine& engine = engine_of(tree);
  TreeRecovery recovery(tree);
  if (tv_status_t status = refresh_own_model_tables(tree)) return status;
  forget_all(tree);
  const bool is_decided = form != ResetForm::full && leave_out_policies(tree);
  const bool holds = copy_holds(tree);
  if (holds && !is_decided) {
    load_copy(tree);
    recovery.dismiss();
    return tv_status_none;
  }
  if (!holds) engine.copy.reset();  // later on the copy could not be recognised as stale
  if (tree.tables_touched) {
    if (engine.cg) forget_all_regressions(*engine.cg);
    if (tv_status_t status = jt_check_user_potentials(tree)) return status;
    if (tv_status_t status = compute_chain_divisors(tree)) return status;
  }
  tree.approximation_constant = 1.0;
  const bool initializes = form == ResetForm::fast_retraction || (form == ResetForm::full && engine.cg);
  const bool keeps_copy = engine.keep_copy && !is_decided;
  if (initializes || keeps_copy) {
    if (engine.cg) drop_values(*engine.cg);
    if (tv_status_t status = initialize_to_sum(tree)) return status;
    update_expected_utilities(tree, {});
  }
  if (keeps_copy) save_tables(tree);
  remember_configurations(tree);
  tree.tables_touched = false;
  recovery.dismiss();
  return tv_status_none;
}

void _tv_node_touch_table(Node& node) noexcept {
  node.table_checked = false;
  if (!is_compiled(*node.domain)) return;
  CompiledNode& data = compiled(node);
  if (data.table_configuration != kNone) data.table_configuration = kForgotten;
  JunctionTree* tree = data.tree ? data.tree : data.assigned ? data.assigned->tree : nullptr;
  if (!tree) return;
  tree->tables_touched = true;
  note_changed_potential(node);
}

namespace {

bool holds_initial_tables(const JunctionTree& tree) noexcept {
  return tree.equilibrium == tv_equilibrium_sum && tree.mode == tv_evidence_normal &&
         !tree.evidence_propagated && !tree.tables_touched;
}

tv_status_t save_domain_to_memory(Domain& domain) {
  for (JunctionTree& tree : domain.forest->trees) {
    if (holds_initial_tables(tree)) {
      if (tv_status_t status = calibrate_tables(tree)) return status;
      save_tables(tree);
    } else if (!engine_of(tree).keep_copy) {
      engine_of(tree).copy.reset();  // of an attempt that ran out of memory
    }
  }
  for (JunctionTree& tree : domain.forest->trees) engine_of(tree).keep_copy = true;
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
  for (tv::JunctionTree& tree : domain->forest->trees) {
    tv::TreeEngine& engine = tv::engine_of(tree);
    engine.keep_copy = false;
    engine.copy.reset();
    engine.copied_beliefs = {};
  }
  return tv_status_none;
}

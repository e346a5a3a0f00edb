#include "inference/compress/sparse_engine.h"

#include <algorithm>
#include <utility>

#include "api/float_environment.h"
#include "api/status.h"
#include "inference/compress/find_sparse_tree.h"
#include "inference/compress/initial_tables.h"
#include "inference/compress/sparse_tree.h"
#include "inference/evidence/absorb_evidence.h"
#include "inference/evidence/evidence.h"
#include "inference/extended/clique_conflicts.h"
#include "inference/extended/propagate_extended.h"
#include "inference/memory_need.h"
#include "inference/schedule/lazy_clique.h"
#include "inference/schedule/run_schedule.h"
#include "inference/schedule/schedule_cache.h"
#include "inference/schedule/subtree.h"

namespace tv {
namespace {

// What the states of a tree's nodes were before its engine is made anew.
struct FormerState {
  explicit FormerState(const TreeEngine& engine) {
    for (const Node* node : engine.tree->nodes) {
      const NodeState& data = engine[*node];
      nodes.push_back(data);
      numbers.insert(numbers.end(), data.belief, data.belief + 3 * node->number_of_states);
    }
  }
  void restore(const TreeEngine& engine, bool with_beliefs = true) const noexcept {
    const float* next = numbers.data();
    for (size_t i = 0; i < nodes.size(); ++i) {
      const Node& node = *engine.tree->nodes[i];
      const size_t states = node.number_of_states, first = with_beliefs ? 0 : states;
      engine[node] = nodes[i];
      std::copy_n(next + first, 3 * states - first, engine[node].belief + first);
      next += 3 * states;
    }
  }
  std::vector<NodeState> nodes;
  std::vector<float> numbers;
};

void forget_node_states(const TreeEngine& engine) noexcept {
  for (const Node* node : engine.tree->nodes) {
    NodeState& data = engine[*node];
    data.propagated_state = kNoEvidence;
    data.observed_state = data.next_observed_state = -1;
    data.evidence_listed = data.evidence_changed = data.in_conflict = data.is_target = false;
    data.trail_marks = 0;
  }
}

// The evidence that was propagated.
void enter_former_evidence(TreeEngine& engine, const FormerState& former) {
  const float* next = former.numbers.data();
  for (size_t i = 0; i < former.nodes.size(); ++i) {
    const Node& node = *engine.tree->nodes[i];
    const size_t states = node.number_of_states;
    NodeState& data = engine[node];
    data.propagated_state = former.nodes[i].propagated_state;
    if (data.propagated_state != kNoEvidence) {
      tv_number_t* const finding = engine.propagated_finding(node);
      std::copy_n(next + states, states, finding);
      if (data.propagated_state >= 0)
        store_certain_belief(static_cast<size_t>(data.propagated_state), states, finding);
      list_evidence(engine, node);
      mark_clique(engine, placement(node).home->position);
    }
    next += 3 * states;
  }
}

// To the equilibrium that the engine's predecessor had.
tv_status_t calibrate_again(TreeEngine& engine, const TreeEngine& old, const FormerState& former) {
  clear_marks(engine);
  enter_former_evidence(engine, former);
  enter_findings_again(engine);
  if (engine.evidence.empty() && old.equilibrium == tv_equilibrium_sum) return tv_status_none;
  if (old.equilibrium != tv_equilibrium_sum) mark_all_cliques(engine);
  target_all_beliefs(engine);
  const FloatEnvironment environment;
  const PropagationRequest request = {engine, old.equilibrium, tv_evidence_normal};
  tv_status_t status = old.is_extended || engine.lost_share > 0.0
                           ? kOutOfRange
                           : _tv_jt_global_propagate(request, _tv_identify_subtree(engine, kNone));
  target_no_beliefs(engine);
  if (status != kOutOfRange) return status;
  const FormerConstants none(engine);
  return propagate_extended(engine, nullptr, old.equilibrium, tv_evidence_normal, none);
}

// In the lists of an engine that was made anew.
void list_evidence_anew(TreeEngine& engine) noexcept {
  engine.evidence.clear();
  engine.changed.clear();
  for (const Node* node : engine.tree->nodes) {
    NodeState& data = engine[*node];
    data.evidence_listed = data.evidence_changed = false;
    if (evidence_is_entered(*node, engine.entered(*node)) || data.propagated_state != kNoEvidence)
      list_evidence(engine, *node);
  }
}

// The results that a host sees are those of the predecessor, but where its beliefs left out findings.
void take_over_results(TreeEngine& engine, const TreeEngine& old, const FormerState& former) {
  const bool holds_all_findings = old.mode == tv_evidence_normal || !old.evidence_propagated;
  clear_marks(engine);
  former.restore(engine, holds_all_findings);
  for (Node* node : engine.tree->nodes) {
    NodeState& data = engine[*node];
    data.observed_state = data.next_observed_state = -1;
    data.is_target = false;
    if (data.propagated_state >= 0)
      store_certain_belief(static_cast<size_t>(data.propagated_state), node->number_of_states,
                           engine.propagated_finding(*node));
  }
  list_evidence_anew(engine);
  engine.equilibrium = old.equilibrium;
  engine.mode = tv_evidence_normal;
  engine.tables_touched = old.tables_touched;
  if (old.tables_touched)  // its new tables have numbers that are not propagated yet
    engine.marginals_only = engine.saved_potentials.are_lost = true;
  engine.evidence_to_propagate = old.evidence_to_propagate;
  engine.evidence_propagated = old.evidence_propagated;
  engine.likelihood_propagated = old.likelihood_propagated;
  if (holds_all_findings) {
    engine.step_constant = old.step_constant;
    engine.step_log_constant = old.step_log_constant;
    engine.constant = old.constant;
    engine.log_constant = old.log_constant;
  }
  engine.conflict = old.conflict;
  engine.approximation_constant = old.approximation_constant;
  engine.evidence_count = old.evidence_count;
  engine.likelihood_count = old.likelihood_count;
  engine.all_in_conflict = true;
  engine.keep_copy = false;
  for (size_t c = 0; c < engine.cliques.size(); ++c) {
    engine.cliques[c].conflict = old.cliques[c].conflict;
    engine.cliques[c].measured = old.cliques[c].measured;
    engine.cliques[c].finding_probability = old.cliques[c].finding_probability;
    engine.cliques[c].findings.clear();
    ++engine.cliques[c].version;
  }
  for (const uint32_t clique : old.measured) engine.measured.push_back(clique);
}

// Whether tables that were touched allow nothing that is not stored.
bool holds_all_possible(const TreeEngine& engine) noexcept {
  const std::vector<bool>& zeros = engine.tree->sparse->zeros;
  size_t first = 0;
  bool holds_all = true;
  for (const Node* node : engine.tree->nodes) {
    const bool is_touched = engine[*node].table_touched;
    const size_t size = node->table ? node->table->data.size() : 0;
    if (first + size > zeros.size()) return false;
    for (size_t i = 0; is_touched && i < size; ++i)
      holds_all = holds_all && !(zeros[first + i] && node->table->data[i] > 0.0f);
    first += size;
  }
  return holds_all && first == zeros.size();
}

void note_tables_looked_at(const TreeEngine& engine) noexcept {
  for (const Node* node : engine.tree->nodes) engine[*node].table_touched = false;
}

// For its lifetime a tree has another sparse tree; at the end the former one again, unless it is kept.
class ExchangedTree {
 public:
  ExchangedTree(JunctionTree& tree, FoundTree found) noexcept : tree_(&tree), other_(std::move(found)) {
    exchange();
  }
  ~ExchangedTree() {
    if (tree_) exchange();
  }
  ExchangedTree(ExchangedTree&& from) noexcept
      : tree_(std::exchange(from.tree_, nullptr)), other_(std::move(from.other_)) {}
  ExchangedTree& operator=(ExchangedTree&&) = delete;
  void keep() noexcept { tree_ = nullptr; }

 private:
  void exchange() noexcept {
    tree_->sparse.swap(other_.sparse);
    std::swap(tree_->possible_bytes, other_.possible_bytes);
  }

  JunctionTree* tree_;
  FoundTree other_;
};

class RestoredState {
 public:
  RestoredState(const TreeEngine& engine, const FormerState& former) noexcept
      : engine_(engine), former_(former) {}
  ~RestoredState() {
    if (!dismissed_) former_.restore(engine_);
  }
  RestoredState(const RestoredState&) = delete;
  RestoredState& operator=(const RestoredState&) = delete;
  void dismiss() noexcept { dismissed_ = true; }

 private:
  const TreeEngine& engine_;
  const FormerState& former_;
  bool dismissed_ = false;
};

// A sparse engine for a tree that has exchanged its sparse tree, in the place of `old`.
tv_status_t make_sparse_engine(const TreeEngine& old, const FormerState& former,
                               std::unique_ptr<TreeEngine>& engine) {
  engine = make_engine(*old.state, *old.tree);
  if (tv_status_t status = form_initial_tables(*engine)) return status;
  load_initial_tables(*engine);
  load_initial_numbers(*engine);
  engine->tables_touched = false;
  if (tv_status_t status = calibrate_again(*engine, old, former)) return status;
  take_over_results(*engine, old, former);
  return tv_status_none;
}

}  // namespace

tv_status_t renew_sparse_tree(TreeEngine& engine) {
  if (holds_all_possible(engine)) return note_tables_looked_at(engine), tv_status_none;
  auto& tree = const_cast<JunctionTree&>(*engine.tree);
  FoundTree found;
  if (tv_status_t status = find_sparse_tree(tree, found)) return status;
  if (!found.sparse) found.sparse = full_sparse_tree(tree);  // this engine has been one of a sparse tree
  ExchangedTree exchange(tree, std::move(found));
  std::unique_ptr<TreeEngine> fresh = make_engine(*engine.state, tree);
  fresh->keep_copy = engine.keep_copy;
  fresh->evidence_to_propagate = engine.evidence_to_propagate;
  std::swap(engine, *fresh);
  engine.buffers[kInverseOfMass] = &engine.inverse;
  list_evidence_anew(engine);
  exchange.keep();
  note_tables_looked_at(engine);
  return tv_status_none;
}

tv_status_t make_engines_sparse(Domain& domain) {
  InferenceState& state = own_state(domain);
  struct Change {
    size_t position;
    std::unique_ptr<TreeEngine> engine;
    ExchangedTree exchange;
  };
  std::vector<Change> changes;
  for (JunctionTree& tree : domain.forest->trees) {
    TreeEngine& old = *state.trees[tree.position];
    if (domain.compressed && old.approximation_constant == 1.0) continue;
    if (tv_status_t status = measure_conflicts(old)) return status;
    FoundTree found;
    if (tv_status_t status = find_sparse_tree_of(old, found)) return status;
    const bool is_sparse = found.sparse != nullptr;
    ExchangedTree exchange(tree, std::move(found));
    std::unique_ptr<TreeEngine> engine;
    if (is_sparse) {
      const FormerState former(old);
      RestoredState restored(old, former);
      forget_node_states(old);
      if (tv_status_t status = make_sparse_engine(old, former, engine)) return status;
      restored.dismiss();
    }
    changes.push_back({tree.position, std::move(engine), std::move(exchange)});
  }
  if (exceeds_memory_limit(domain))
    return refuse(tv_status_no_memory, "compressed tables need %zu bytes, the limit is %zu",
                  memory_needed(domain), domain.memory_limit);
  for (Change& change : changes) {
    change.exchange.keep();
    if (!change.engine) continue;
    state.trees[change.position] = std::move(change.engine);
    const_cast<JunctionTree&>(*state.trees[change.position]->tree).engine =
        state.trees[change.position].get();
  }
  return tv_status_none;
}

}  // namespace tv

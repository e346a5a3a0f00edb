#include "inference/compress/sparse_engine.h"

#include <algorithm>
#include <utility>

#include "api/float_environment.h"
#include "api/status.h"
#include "inference/calibrate_tables.h"
#include "inference/compress/initial_tables.h"
#include "inference/compress/sparse_tree.h"
#include "inference/evidence/absorb_evidence.h"
#include "inference/evidence/evidence.h"
#include "inference/extended/clique_conflicts.h"
#include "inference/memory_need.h"
#include "inference/schedule/lazy_clique.h"
#include "inference/schedule/run_schedule.h"
#include "inference/schedule/schedule_cache.h"
#include "inference/schedule/subtree.h"

namespace tv {
namespace {

bool is_whole(const SparseTree& sparse) noexcept {
  return std::all_of(sparse.cliques.begin(), sparse.cliques.end(),
                     [](const auto& clique) { return clique == nullptr; });
}

double bytes_of_rows(const JunctionTree& tree, const TreeSupport& support) noexcept {
  const auto bytes = [](const PackedRows& rows, size_t cg_size) {
    return static_cast<double>(rows.size()) *
           (sizeof(tv_number_t) + static_cast<double>(cg_size) * sizeof(double));
  };
  double sum = 0.0;
  for (size_t c = 0; c < tree.clique_count(); ++c) {
    sum += bytes(support.cliques[c], tree.cliques[c]->table.cg_size);
    if (const Separator* separator = tree.cliques[c]->parent_separator.get())
      sum += bytes(support.separators[c], separator->cg_size);
  }
  return sum;
}

tv_status_t find_rows(const SupportRequest& request, std::shared_ptr<SparseTree>& sparse, double& bytes) {
  TreeSupport support;
  if (tv_status_t status = find_support(request, support)) return status;
  bytes = bytes_of_rows(request.tree, support);
  const bool is_cut = request.keeps != nullptr;
  sparse = may_be_sparse(request.tree) ? make_sparse_tree(request.tree, support, is_cut) : nullptr;
  if (sparse && !is_cut && is_whole(*sparse)) sparse = nullptr;
  return tv_status_none;
}

size_t most_bytes(const JunctionTree& tree) noexcept {
  const size_t limit = tree.domain->memory_limit;
  return limit ? limit : SIZE_MAX;
}

// Leaves out the entries of an approximated tree that are zero although they agree with its evidence.
class PositiveEntries {
 public:
  explicit PositiveEntries(TreeEngine& engine) : engine_(engine), tables_(engine.cliques.size()) {}

  void read(size_t clique) {
    Block<float>& table = tables_[clique];
    table.allocate_uninitialized(engine_.cliques[clique].table.shape.size);
    const CliqueWork& work = engine_.cliques[clique];
    if (work.lazy)
      run_over_factors(engine_, work, table.data(), nullptr);
    else
      std::copy_n(work.table.numbers, table.size(), table.data());
  }

  static bool keeps(const void* context, size_t clique, const PackedRows& rows, size_t row) {
    return static_cast<const PositiveEntries*>(context)->keeps(clique, rows, row);
  }

 private:
  bool agrees(const Node& node, size_t state) const noexcept {
    const ptrdiff_t propagated = engine_[node].propagated_state;
    if (propagated >= 0) return static_cast<size_t>(propagated) == state;
    return propagated == kNoEvidence || engine_.propagated_finding(node)[state] > 0.0f;
  }

  bool keeps(size_t clique, const PackedRows& rows, size_t row) const {
    const ReducedTable& table = engine_.cliques[clique].table;
    std::vector<size_t> states(table.members->size());
    for (size_t n = 0; n < rows.nodes.size(); ++n) {
      const size_t state = rows.state(row, n);
      if (!agrees(*rows.nodes[n], state)) return true;
      states[table.members->position(rows.nodes[n])] = state;
    }
    const size_t entry = table.sparse ? table.sparse->find(states) : index_of(table, states);
    return entry != kNone && tables_[clique][entry] > 0.0f;
  }

  static size_t index_of(const ReducedTable& table, const std::vector<size_t>& states) noexcept {
    size_t index = 0;
    for (size_t m = 0; m < states.size(); ++m)
      if (table.spans(m)) index = index * table.shape.counts[table.dimension_of[m]] + states[m];
    return index;
  }

  TreeEngine& engine_;
  std::vector<Block<float>> tables_;
};

tv_status_t find_sparse_tree_of(TreeEngine& engine, std::shared_ptr<SparseTree>& sparse, double& bytes) {
  const JunctionTree& tree = *engine.tree;
  if (engine.approximation_constant == 1.0 || !may_be_sparse(tree))
    return find_rows({tree, most_bytes(tree)}, sparse, bytes);
  if (tv_status_t status = calibrate_tables(engine)) return status;
  refresh_shapes(engine);
  PositiveEntries positive(engine);
  for (size_t c = 0; c < engine.cliques.size(); ++c) positive.read(c);
  return find_rows({tree, most_bytes(tree), PositiveEntries::keeps, &positive}, sparse, bytes);
}

// What the states of a tree's nodes were before its engine is made anew.
struct FormerState {
  explicit FormerState(const TreeEngine& engine) {
    for (const Node* node : engine.tree->nodes) {
      const NodeState& data = engine[*node];
      nodes.push_back(data);
      numbers.insert(numbers.end(), data.belief, data.belief + 3 * node->number_of_states);
    }
  }
  void restore(const TreeEngine& engine) const noexcept {
    const float* next = numbers.data();
    for (size_t i = 0; i < nodes.size(); ++i) {
      const Node& node = *engine.tree->nodes[i];
      engine[node] = nodes[i];
      std::copy_n(next, 3 * node.number_of_states, engine[node].belief);
      next += 3 * node.number_of_states;
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
      if (data.propagated_state >= 0) {
        std::fill_n(finding, states, 0.0f);
        finding[data.propagated_state] = 1.0f;
      }
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
  forget_tables(engine);
  engine.is_extended = engine.marginals_only = true;
  return tv_status_none;
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

// The results that a host sees are those of the predecessor.
void take_over_results(TreeEngine& engine, const TreeEngine& old, const FormerState& former) {
  clear_marks(engine);
  former.restore(engine);
  for (Node* node : engine.tree->nodes) {
    NodeState& data = engine[*node];
    data.observed_state = data.next_observed_state = -1;
    data.is_target = false;
    if (data.propagated_state >= 0) {
      tv_number_t* const finding = engine.propagated_finding(*node);
      std::fill_n(finding, node->number_of_states, 0.0f);
      finding[data.propagated_state] = 1.0f;
    }
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
  engine.step_constant = old.step_constant;
  engine.step_log_constant = old.step_log_constant;
  engine.constant = old.constant;
  engine.log_constant = old.log_constant;
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
  ExchangedTree(JunctionTree& tree, std::shared_ptr<SparseTree> sparse, double bytes) noexcept
      : tree_(&tree), other_(std::move(sparse)), bytes_(bytes) {
    exchange();
  }
  ~ExchangedTree() {
    if (tree_) exchange();
  }
  ExchangedTree(ExchangedTree&& from) noexcept
      : tree_(std::exchange(from.tree_, nullptr)), other_(std::move(from.other_)), bytes_(from.bytes_) {}
  ExchangedTree& operator=(ExchangedTree&&) = delete;
  void keep() noexcept { tree_ = nullptr; }

 private:
  void exchange() noexcept {
    tree_->sparse.swap(other_);
    std::swap(tree_->possible_bytes, bytes_);
  }

  JunctionTree* tree_;
  std::shared_ptr<SparseTree> other_;
  double bytes_;
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

tv_status_t find_sparse_tree(const JunctionTree& tree, std::shared_ptr<SparseTree>& sparse, double& bytes) {
  return find_rows({tree, most_bytes(tree)}, sparse, bytes);
}

tv_status_t renew_sparse_tree(TreeEngine& engine) {
  if (holds_all_possible(engine)) return note_tables_looked_at(engine), tv_status_none;
  auto& tree = const_cast<JunctionTree&>(*engine.tree);
  TreeSupport support;
  if (tv_status_t status = find_support({tree, most_bytes(tree)}, support)) return status;
  ExchangedTree exchange(tree, make_sparse_tree(tree, support), bytes_of_rows(tree, support));
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
    std::shared_ptr<SparseTree> sparse;
    double bytes = 0.0;
    if (tv_status_t status = find_sparse_tree_of(old, sparse, bytes)) return status;
    const bool is_sparse = sparse != nullptr;
    ExchangedTree exchange(tree, std::move(sparse), bytes);
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

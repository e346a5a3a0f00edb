#include "inference/form_tables.h"

#include <algorithm>
#include <utility>

#include "api/boundary.h"
#include "inference/enter_evidence.h"
#include "inference/messages.h"
#include "inference/schedule.h"
#include "inference/tape_cache.h"
#include "network/node_operations.h"

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

// Whether the tables of nodes are those of the equilibrium, or were kept before they changed.
bool knows_potentials(const JunctionTree& tree) noexcept {
  const TreeEngine& engine = engine_of(tree);
  if (engine.has_lost_potentials) return false;
  for (size_t position = 0; position < engine.kept_potentials.size(); ++position) {
    const size_t layout = engine.kept_potentials[position].layout;
    const Table* const table = tree.nodes[position]->table.get();
    if (layout != kNone && !(table && table->layout == layout)) return false;
  }
  return true;
}

// Puts the numbers that were kept back into the tables of nodes, for its lifetime.
class FormerPotentials {
 public:
  explicit FormerPotentials(JunctionTree& tree) noexcept : tree_(tree) { exchange(); }
  ~FormerPotentials() { exchange(); }
  FormerPotentials(const FormerPotentials&) = delete;
  FormerPotentials& operator=(const FormerPotentials&) = delete;

 private:
  void exchange() noexcept {
    std::vector<KeptPotential>& kept = engine_of(tree_).kept_potentials;
    for (size_t position = 0; position < kept.size(); ++position) {
      Table* const table = tree_.nodes[position]->table.get();
      if (table && kept[position].layout == table->layout) std::swap(table->data, kept[position].numbers);
    }
  }

  JunctionTree& tree_;
};

// Again from the start, should an earlier attempt have failed halfway.
tv_status_t propagate_without_beliefs(TreeEngine& engine) {
  std::vector<KeptPotential> kept = std::move(engine.kept_potentials);
  forget_tables(engine);
  engine.kept_potentials = std::move(kept);
  engine.has_beliefs_only = true;
  mark_all_cliques(engine);
  enter_findings_again(engine);
  fix_states(engine);
  want_no_beliefs(engine);
  const Sweep sweep = {engine, tv_equilibrium_sum, tv_evidence_normal, true};
  return _tv_jt_global_propagate(sweep, _tv_identify_subtree(engine, kNone));
}

}  // namespace

tv_status_t form_tables(JunctionTree& tree) {
  TreeEngine& engine = engine_of(tree);
  if (!engine.has_beliefs_only) return tv_status_none;
  if (!knows_potentials(tree)) return tv_status_no_equilibrium;
  const StateOfTree state(tree);
  const FormerPotentials potentials(tree);
  if (tv_status_t status = propagate_without_beliefs(engine)) return status;
  engine.has_beliefs_only = false;
  engine.kept_tapes->want_tables();
  return tv_status_none;
}

void note_changed_potential(const Node& node) noexcept {
  JunctionTree* const tree = compiled(node).tree;
  if (!tree || !engine_of(*tree).has_beliefs_only) return;
  TreeEngine& engine = engine_of(*tree);
  const size_t position = compiled(node).position;
  if (engine.kept_potentials.empty() || engine.kept_potentials[position].layout == kNone)
    engine.has_lost_potentials = true;
}

void keep_potential(Node& node) noexcept {
  JunctionTree* const tree = is_compiled(*node.domain) ? compiled(node).tree : nullptr;
  if (!tree || !node.table) return;
  TreeEngine& engine = engine_of(*tree);
  if (!engine.has_beliefs_only || engine.has_lost_potentials) return;
  succeeds_with_memory([&] {
    engine.kept_potentials.resize(tree->nodes.size());
    KeptPotential& kept = engine.kept_potentials[compiled(node).position];
    if (kept.layout != kNone) return;
    kept.numbers.allocate_uninitialized(node.table->data.size());
    std::copy(node.table->data.begin(), node.table->data.end(), kept.numbers.begin());
    kept.layout = node.table->layout;
  });
}

}  // namespace tv

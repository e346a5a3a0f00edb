// Evidence on continuous nodes: noting it, and bringing its density into the discrete tables.

#include <algorithm>
#include <cmath>
#include <limits>

#include "inference/cg_engine.h"
#include "inference/materialize.h"

namespace tv {
namespace {

void set_evidence(CgEngine& engine, CgNode& record, bool observed, double value) noexcept {
  if (record.observed == observed && (!observed || record.value == value)) return;
  engine.observed += observed;
  engine.observed -= record.observed;
  record.observed = observed;
  record.value = value;
  mark_stale(engine, record);
}

bool holds_evidence(const CgEngine& engine, const CgComponent& component) noexcept {
  for (size_t c : component.cliques) {
    const CgClique& clique = engine.cliques[c];
    for (size_t i = clique.shared; i < clique.count; ++i)
      if (engine.nodes[clique.nodes[i]].observed) return true;
  }
  return false;
}

tv_status_t check_densities(const CgClique& root) noexcept {
  bool any_representable = false;
  for (size_t i = 0; i < root.size; ++i) {
    if (!root.possible[i]) continue;
    if (root.collected[i] & kCgVanishing) return tv_status_zero_variance;
    any_representable |= !(root.collected[i] & kCgLow);
  }
  return any_representable ? tv_status_none : tv_status_low_density;
}

// The most probable configuration keeps the weight one, so that no scale is lost.
tv_status_t weigh_root(CgEngine& engine, CgClique& root, double& shift) noexcept {
  read_table(*root.clique, engine.weights.data());
  double largest = -std::numeric_limits<double>::infinity();
  for (size_t i = 0; i < root.size; ++i)
    if (engine.weights[i] > 0.0f)
      largest = std::max(largest, root.densities[i] + std::log(static_cast<double>(engine.weights[i])));
  if (!std::isfinite(largest)) return tv_status_low_density;
  for (size_t i = 0; i < root.size; ++i)
    if (engine.weights[i] > 0.0f)
      engine.weights[i] = static_cast<float>(
          std::exp(root.densities[i] + std::log(static_cast<double>(engine.weights[i])) - largest));
  write_table(*root.clique, engine.weights.data());
  shift += largest;
  return tv_status_none;
}

}  // namespace

CgNode& cg_node(CgEngine& engine, const Node& node) noexcept {
  const CgClique& home = engine.cliques[engine.clique_at[compiled(node).home->position]];
  size_t place = 0;
  while (engine.nodes[home.nodes[place]].node != &node) ++place;
  return engine.nodes[home.nodes[place]];
}

void drop_values(CgEngine& engine) noexcept {
  for (CgNode& record : engine.nodes) set_evidence(engine, record, false, 0.0);
  forget_stale_regressions(engine);
}

void take_in_values(JunctionTree& tree) noexcept {
  CgEngine& engine = *engine_of(tree).cg;
  for (CgNode& record : engine.nodes) {
    const EnteredEvidence& entered = record.node->entered;
    CompiledNode& data = compiled(*record.node);
    data.value_propagated = entered.value_flag;
    data.propagated_value = entered.value;
    if (entered.value_flag) data.conflict_clique = data.home;
    set_evidence(engine, record, entered.value_flag, entered.value);
  }
  forget_stale_regressions(engine);
}

tv_status_t incorporate_densities(CgEngine& engine, double& shift) noexcept {
  shift = 0.0;
  for (size_t c = 0; c < engine.components.size(); ++c) {
    if (!holds_evidence(engine, engine.components[c])) continue;
    collect_component(engine, c);
    CgClique& root = engine.cliques[engine.components[c].cliques.front()];
    if (tv_status_t status = check_densities(root)) return status;
    if (tv_status_t status = weigh_root(engine, root, shift)) return status;
    root.clique->marked = true;
  }
  engine.incorporated = true;
  return tv_status_none;
}

}  // namespace tv

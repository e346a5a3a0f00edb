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

// Adds up what the components of a pool have to say about its configurations; whether any has evidence.
tv_status_t add_densities(CgEngine& engine, const CgPool& pool, bool& any) noexcept {
  any = false;
  for (size_t c : pool.components) {
    const CgComponent& component = engine.components[c];
    if (!holds_evidence(engine, component)) continue;
    collect_component(engine, c);
    const CgClique& root = engine.cliques[component.cliques.front()];
    if (tv_status_t status = check_densities(root)) return status;
    if (!any) std::fill_n(engine.totals.data(), pool.clique->table.size, 0.0);
    any = true;
    engine.walk_steps[0] = component.pool_steps;
    for (CgWalk walk(engine, *pool.clique, 1); !walk.done(); walk.next())
      if (root.possible[walk.offset(0)]) engine.totals[walk.index()] += root.densities[walk.offset(0)];
  }
  return tv_status_none;
}

// The most probable configuration keeps the weight one, so that no scale is lost.
tv_status_t weigh(CgEngine& engine, const Clique& clique, double& shift) noexcept {
  read_table(clique, engine.weights.data());
  double largest = -std::numeric_limits<double>::infinity();
  for (size_t i = 0; i < clique.table.size; ++i) {
    if (!(engine.weights[i] > 0.0f)) continue;
    engine.totals[i] += std::log(static_cast<double>(engine.weights[i]));
    largest = std::max(largest, engine.totals[i]);
  }
  if (!std::isfinite(largest)) return tv_status_low_density;
  for (size_t i = 0; i < clique.table.size; ++i)
    if (engine.weights[i] > 0.0f)
      engine.weights[i] = static_cast<float>(std::exp(engine.totals[i] - largest));
  write_table(clique, engine.weights.data());
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
  for (const CgPool& pool : engine.pools) {
    bool any = false;
    if (tv_status_t status = add_densities(engine, pool, any)) return status;
    if (!any) continue;
    if (tv_status_t status = weigh(engine, *pool.clique, shift)) return status;
    pool.clique->marked = true;
  }
  engine.incorporated = true;
  return tv_status_none;
}

}  // namespace tv

// Evidence on continuous nodes: recording it, and absorbing its density into the discrete tables.

#include <algorithm>
#include <cmath>
#include <limits>

#include "inference/answers/clique_view.h"
#include "inference/gaussian/cg_engine.h"
#include "inference/schedule/subtree.h"

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

tv_status_t check_densities(const CgClique& root) noexcept {
  bool any_representable = false;
  for (size_t i = 0; i < root.size; ++i) {
    if (!root.possible[i]) continue;
    if (root.collected[i] & kCgVanishing) return tv_status_zero_variance;
    any_representable |= !(root.collected[i] & kCgLow);
  }
  return any_representable ? tv_status_none : tv_status_low_density;
}

constexpr double kImpossible = -std::numeric_limits<double>::infinity();

bool has_changed(const CgEngine& engine, const CgAccumulator& accumulator) noexcept {
  return std::any_of(accumulator.components.begin(), accumulator.components.end(), [&](size_t c) {
    return (!engine.holds_densities || engine.components[c].changed) &&
           holds_evidence(engine, engine.components[c]);
  });
}

// Sums the log densities of an accumulator's components for each of its configurations.
tv_status_t add_densities(CgEngine& engine, const CgAccumulator& accumulator,
                          ProgressMeter& progress) noexcept {
  std::fill_n(engine.totals.data(), accumulator.clique->table.size, 0.0);
  for (size_t c : accumulator.components) {
    CgComponent& component = engine.components[c];
    if (!holds_evidence(engine, component)) continue;
    if (tv_status_t status = collect_component(engine, c, &progress)) return status;
    component.changed = false;
    const CgClique& root = engine.cliques[component.cliques.front()];
    if (tv_status_t status = check_densities(root)) return status;
    engine.walk_steps[0] = component.accumulator_steps;
    for (CgWalk walk(engine, *accumulator.clique, 1); !walk.done(); walk.next())
      engine.totals[walk.index()] +=
          root.possible[walk.offset(0)] ? root.densities[walk.offset(0)] : kImpossible;
  }
  return tv_status_none;
}

// Multiplies the change of the densities since they were last applied into the accumulator's table. The most
// probable configuration gets the weight one, so that no scale is lost.
tv_status_t apply_densities(CgEngine& engine, const CgAccumulator& accumulator,
                            CgAbsorption& result) noexcept {
  const size_t size = accumulator.clique->table.size;
  read_table(*engine.discrete, *accumulator.clique, engine.weights.data());
  double largest = kImpossible, largest_change = kImpossible;
  for (size_t i = 0; i < size; ++i) {
    const double density = engine.totals[i];
    if (density == kImpossible) continue;
    const double change = density - accumulator.applied[i];
    accumulator.applied[i] = density;
    largest_change = std::max(largest_change, change);
    engine.totals[i] = change + std::log(static_cast<double>(engine.weights[i]));
    largest = std::max(largest, engine.totals[i]);
  }
  if (!std::isfinite(largest)) return tv_status_low_density;
  for (size_t i = 0; i < size; ++i)
    engine.weights[i] = static_cast<float>(std::exp(engine.totals[i] - largest));
  write_table(*engine.discrete, *accumulator.clique, engine.weights.data());
  result.shift += largest;
  result.growth += largest_change - largest;
  return tv_status_none;
}

}  // namespace

bool holds_evidence(const CgEngine& engine, const CgComponent& component) noexcept {
  for (size_t c : component.cliques) {
    const CgClique& clique = engine.cliques[c];
    for (size_t i = clique.shared; i < clique.count; ++i)
      if (engine.nodes[clique.nodes[i]].observed) return true;
  }
  return false;
}

CgNode& cg_node(CgEngine& engine, const Node& node) noexcept {
  const CgClique& home = engine.cliques[engine.clique_at[placement(node).home->position]];
  size_t place = 0;
  while (engine.nodes[home.nodes[place]].node != &node) ++place;
  return engine.nodes[home.nodes[place]];
}

void drop_values(CgEngine& engine) noexcept {
  for (CgNode& record : engine.nodes) set_evidence(engine, record, false, 0.0);
  forget_stale_regressions(engine);
}

void record_values(CgEngine& engine) noexcept {
  engine.discrete->all_in_conflict = true;
  for (CgNode& record : engine.nodes) {
    NodeState& data = (*engine.discrete)[*record.node];
    const EnteredEvidence& entered = *data.entered;
    data.value_propagated = entered.value_flag;
    data.propagated_value = entered.value;
    if (entered.value_flag) data.in_conflict = true;
    set_evidence(engine, record, entered.value_flag, entered.value);
  }
  forget_stale_regressions(engine);
}

tv_status_t absorb_densities(CgEngine& engine, CgAbsorption& result) noexcept {
  if (!engine.holds_densities) std::fill(engine.applied.begin(), engine.applied.end(), 0.0);
  ProgressMeter progress(*engine.tree->domain, "propagation", engine.cliques.size());
  for (const CgAccumulator& accumulator : engine.accumulators) {
    if (!has_changed(engine, accumulator)) continue;
    if (tv_status_t status = add_densities(engine, accumulator, progress)) return status;
    if (tv_status_t status = apply_densities(engine, accumulator, result)) return status;
    mark_clique(*engine.discrete, accumulator.clique->position);
    result.any = true;
  }
  engine.holds_densities = engine.observed > 0;
  return tv_status_none;
}

tv_status_t add_all_densities(CgEngine& engine, const CgAccumulator& accumulator, bool& any) noexcept {
  std::fill_n(accumulator.applied, accumulator.clique->table.size, 0.0);
  any = has_changed(engine, accumulator);
  if (!any) return tv_status_none;
  ProgressMeter progress(*engine.tree->domain, "propagation", engine.cliques.size());
  if (tv_status_t status = add_densities(engine, accumulator, progress)) return status;
  std::copy_n(engine.totals.data(), accumulator.clique->table.size, accumulator.applied);
  return tv_status_none;
}

// Configurations that were found possible remain so, although the tables were made anew meanwhile.
void note_densities(CgEngine& engine) noexcept {
  engine.holds_densities = engine.observed > 0;
  engine.growth = 0.0;
  for (CgComponent& component : engine.components)
    if (component.collected + 1 == engine.round) component.resets = engine.resets;
}

}  // namespace tv

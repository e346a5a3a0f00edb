#include "inference/extended/propagate_extended.h"

#include <cmath>
#include <numbers>

#include "inference/compress/initial_tables.h"
#include "inference/elimination/elimination_schedule.h"
#include "inference/evidence/absorb_evidence.h"
#include "inference/extended/extended_propagation.h"
#include "inference/gaussian/cg_engine.h"
#include "inference/schedule/lazy_clique.h"
#include "inference/schedule/run_schedule.h"
#include "inference/schedule/schedule_cache.h"
#include "inference/schedule/subtree.h"

namespace tv {
namespace {

// Gives all cliques a table of the shape that the propagated evidence determines, without numbers.
void shape_tables(TreeEngine& engine, tv_evidence_mode_t mode) {
  SavedTables saved = std::move(engine.saved_potentials);
  const bool is_asked_for = engine.marginals_only;  // which it stays until they are there
  forget_tables(engine);
  engine.saved_potentials = std::move(saved);
  engine.marginals_only = is_asked_for;
  if (mode == tv_evidence_normal) {
    const tv_equilibrium_t equilibrium = engine.equilibrium;
    engine.equilibrium = tv_equilibrium_none;  // every clique is shaped anew
    observe_states(engine);
    engine.equilibrium = equilibrium;
  }
  materialize_all_tables(engine);
}

void note_tables(TreeEngine& engine) noexcept {
  for (CliqueWork& work : engine.cliques) {
    work.initialized = true;
    ++work.version;
  }
  engine.is_extended = true;
  engine.marginals_only = false;
}

tv_status_t run(ExtendedPropagation& propagation, TreeEngine& engine, size_t root, tv_evidence_mode_t mode,
                ExtendedPropagation::Results results) {
  if (tv_status_t status = propagation.collect(root)) return status;
  if (results.tables) shape_tables(engine, mode);
  if (tv_status_t status = propagation.distribute(results)) return status;
  if (results.tables) note_tables(engine);
  return tv_status_none;
}

// The product of the probabilities that the findings of this step had before it.
WideNumber probability_of_findings(const TreeEngine& engine, tv_equilibrium_t equilibrium,
                                   tv_evidence_mode_t mode) noexcept {
  if (mode == tv_evidence_normal) return engine.finding_probability;
  WideNumber product = {0.5, 1};
  for_each_with_evidence(engine, [&](const Node& node) {
    const ptrdiff_t state = engine[node].propagated_state;
    if (is_discrete(node) && state != kNoEvidence)
      product.multiply(
          probability_of_evidence(engine, node, state, engine.propagated_finding(node), equilibrium));
  });
  return product;
}

void set_constants(TreeEngine& engine, WideNumber mass, const FormerConstants& former) noexcept {
  mass.exponent += engine.tree->potential_exponent;
  engine.constant = mass.value();
  engine.log_constant = mass.logarithm();
  engine.step_log_constant = engine.log_constant - former.log_constant;
  engine.step_constant =
      former.log_constant == 0.0 ? engine.constant / former.constant : std::exp(engine.step_log_constant);
}

// The densities of all observed values, by accumulator. The tables hold the probabilities without them.
tv_status_t collect_densities(TreeEngine& engine, std::vector<LogFactor>& factors) {
  CgEngine& cg = *engine.cg;
  ++cg.round;
  record_values(*engine.cg);
  return collect_densities(cg, [&](const CgAccumulator& accumulator, std::span<const double> logarithms) {
    factors.push_back({accumulator.clique->position, {logarithms.begin(), logarithms.end()}});
  });
}

// The conflict of the tree; those of its cliques are measured when they are asked for.
void set_conflict(TreeEngine& engine, size_t root, WideNumber findings) noexcept {
  engine.conflict = std::exp(findings.logarithm() - engine.step_log_constant);
  for (const uint32_t clique : engine.marked) {
    if (engine.cliques[clique].measured) continue;
    engine.cliques[clique].measured = true;
    engine.measured.push_back(clique);
  }
  for (const uint32_t clique : engine.measured) engine.cliques[clique].conflict = 1.0;
  engine.cliques[root].conflict = engine.conflict;
  engine.conflict_root = static_cast<uint32_t>(root);
  engine.former_equilibrium = engine.equilibrium;
}

// Collects once more with the densities of the observed values.
tv_status_t multiply_densities(TreeEngine& engine, size_t root, WideNumber& mass) {
  std::vector<LogFactor> factors;
  if (tv_status_t status = collect_densities(engine, factors)) return status;
  if (!factors.empty()) {
    ExtendedPropagation propagation(engine, tv_equilibrium_sum, tv_evidence_normal, factors);
    if (tv_status_t status =
            run(propagation, engine, root, tv_evidence_normal, {.beliefs = true, .tables = true}))
      return status;
    mass = propagation.mass();
  }
  note_densities(*engine.cg);
  return tv_status_none;
}

WideNumber mass_of_elimination(const TreeEngine& engine) noexcept {
  const double binary = engine.log_constant / std::numbers::ln2, whole = std::floor(binary);
  return {std::exp2(binary - whole), static_cast<int64_t>(whole)};
}

// Propagates by elimination over the unobserved nodes alone. `kOutOfRange` where doubles do not suffice for
// that, or no elimination schedule can be built.
tv_status_t eliminate(const PropagationRequest& request, WideNumber& mass) {
  TreeEngine& engine = request.engine;
  if (!may_eliminate(request)) return kOutOfRange;
  forget_tables(engine);
  tidy_evidence(engine);
  const EliminationSchedule* schedule = engine.schedules->find(engine, request.equilibrium).elimination;
  std::shared_ptr<const CachedSchedule> fresh;
  if (!schedule) fresh = build_any_elimination(request);
  if (fresh) schedule = fresh->elimination.get();
  if (!schedule) return kOutOfRange;
  const double constant = engine.constant, log_constant = engine.log_constant;
  const double step_constant = engine.step_constant, step_log_constant = engine.step_log_constant;
  engine.log_constant = 0.0;
  const tv_status_t status = run_elimination(engine, *schedule);
  mass = mass_of_elimination(engine);
  engine.constant = constant;
  engine.log_constant = log_constant;
  engine.step_constant = step_constant;
  engine.step_log_constant = step_log_constant;
  if (status == tv_status_no_value) return tv_status_inconsistency_or_underflow;
  if (status) return status;
  if (fresh) engine.schedules->insert(fresh);
  return tv_status_none;
}

}  // namespace

tv_status_t propagate_extended(TreeEngine& engine, const Clique* root, tv_equilibrium_t equilibrium,
                               tv_evidence_mode_t mode, const FormerConstants& former) {
  const bool measures = engine.equilibrium != tv_equilibrium_none && !engine.knows_constants;
  const WideNumber findings = probability_of_findings(engine, equilibrium, mode);
  mark_newly_observed(engine);
  const size_t start = _tv_identify_subtree(engine, root ? root->position : kNone);
  WideNumber mass;
  const bool waits = !engine.cg && mode == tv_evidence_normal;
  tv_status_t status = waits ? eliminate({engine, equilibrium, mode, true}, mass) : kOutOfRange;
  bool is_extended = engine.is_extended;
  if (status == kOutOfRange) {
    is_extended = true;
    ExtendedPropagation propagation(engine, equilibrium, mode);
    status = run(propagation, engine, start, mode, {.beliefs = true, .tables = !waits});
    if (!status) mass = propagation.mass();
  }
  if (!status && engine.cg) status = multiply_densities(engine, start, mass);
  if (status) return status;
  if (!engine.knows_constants || engine.cg) set_constants(engine, mass, former);
  if (measures) set_conflict(engine, start, findings);
  engine.approximation_constant = constant_of_stored_entries(engine);  // nothing else is left out here
  if (!waits) return tv_status_none;
  forget_tables(engine);
  observe_states_without_shapes(engine);
  engine.is_extended = is_extended;
  engine.marginals_only = true;
  return tv_status_none;
}

tv_status_t calibrate_extended_tables(TreeEngine& engine, tv_equilibrium_t equilibrium,
                                      tv_evidence_mode_t mode) {
  ExtendedPropagation propagation(engine, equilibrium, mode);
  return run(propagation, engine, 0, mode, {.tables = true});
}

tv_status_t initialize_extended(TreeEngine& engine) {
  ExtendedPropagation propagation(engine, tv_equilibrium_sum, tv_evidence_normal);
  if (tv_status_t status = run(propagation, engine, 0, tv_evidence_normal, {.beliefs = true, .tables = true}))
    return status;
  set_constants(engine, propagation.mass(), FormerConstants(engine));
  return tv_status_none;
}

}  // namespace tv

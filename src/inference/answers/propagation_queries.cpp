// What a host can ask about the state that propagation left: which equilibrium holds, in which mode
// evidence was propagated, the probability of the evidence and the conflict within it.
#include "api/boundary.h"
#include "inference/answers/queries.h"
#include "inference/extended/clique_conflicts.h"

namespace tv {
namespace {

bool is_equilibrium(tv_equilibrium_t equilibrium) noexcept {
  return equilibrium == tv_equilibrium_none || equilibrium == tv_equilibrium_sum ||
         equilibrium == tv_equilibrium_max;
}

bool is_evidence_mode(tv_evidence_mode_t mode) noexcept {
  return mode == tv_evidence_normal || mode == tv_evidence_fast_retraction;
}

bool is_not_sum(const TreeEngine& engine) noexcept { return engine.equilibrium != tv_equilibrium_sum; }
bool has_cg_evidence(const TreeEngine& engine) noexcept { return engine.cg_evidence_propagated; }
bool has_touched_tables(const TreeEngine& engine) noexcept { return engine.tables_touched; }

// Without evidence both modes give the same results.
bool agrees_with_mode(const TreeEngine& engine, tv_evidence_mode_t mode) noexcept {
  return engine.mode == mode || !engine.evidence_propagated;
}

}  // namespace
}  // namespace tv

int tv_domain_equilibrium_is(const tv_domain_t* domain, tv_equilibrium_t equilibrium) {
  if (!tv::check(domain && tv::is_equilibrium(equilibrium)) || !tv::require_compiled(*domain)) return -1;
  return !tv::any_tree(*domain,
                       [&](const tv::TreeEngine& engine) { return engine.equilibrium != equilibrium; });
}

int tv_jt_equilibrium_is(const tv_junction_tree_t* jt, tv_equilibrium_t equilibrium) {
  if (!tv::check(jt && tv::is_equilibrium(equilibrium)) || !tv::require_compiled(*jt->domain)) return -1;
  return jt->engine->equilibrium == equilibrium;
}

int tv_domain_evidence_mode_is(const tv_domain_t* domain, tv_evidence_mode_t mode) {
  if (!tv::check(domain && tv::is_evidence_mode(mode)) || !tv::check_equilibrium(domain)) return -1;
  return !tv::any_tree(*domain,
                       [&](const tv::TreeEngine& engine) { return !tv::agrees_with_mode(engine, mode); });
}

int tv_jt_evidence_mode_is(const tv_junction_tree_t* jt, tv_evidence_mode_t mode) {
  if (!tv::check(jt && tv::is_evidence_mode(mode)) || !tv::check_equilibrium(jt)) return -1;
  return tv::agrees_with_mode(*jt->engine, mode);
}

double tv_domain_get_normalization_constant(const tv_domain_t* domain) {
  if (!tv::check_equilibrium(domain)) return -1;
  double product = 1;
  for (const auto& engine : tv::own_state(*domain).trees) product *= engine->constant;
  return product;
}

double tv_domain_get_log_normalization_constant(const tv_domain_t* domain) {
  if (!tv::check_equilibrium(domain)) return -1;
  double sum = 0;
  for (const auto& engine : tv::own_state(*domain).trees) sum += engine->log_constant;
  return sum;
}

double tv_domain_get_conflict(const tv_domain_t* domain) {
  if (!tv::check(domain && domain->counters.decision == 0) || !tv::check_equilibrium(domain)) return -1;
  if (!tv::require(!tv::any_tree(*domain, tv::is_not_sum), tv_status_usage)) return -1;
  if (!tv::require(!tv::any_tree(*domain, tv::has_cg_evidence), tv_status_cg_evidence_incorporated))
    return -1;
  double product = 1;
  for (const auto& engine : tv::own_state(*domain).trees) product *= engine->conflict;
  return product;
}

double tv_jt_get_conflict(const tv_junction_tree_t* jt) {
  if (!tv::check(jt && jt->domain->counters.decision == 0) || !tv::check_equilibrium(jt)) return -1;
  if (!tv::require(!tv::is_not_sum(*jt->engine), tv_status_usage)) return -1;
  if (!tv::require(!tv::has_cg_evidence(*jt->engine), tv_status_cg_evidence_incorporated)) return -1;
  return jt->engine->conflict;
}

double tv_clique_get_conflict(const tv_clique_t* clique) {
  if (!tv::check(clique) || !tv::require_compiled(clique->domain())) return -1;
  const tv_status_t status = tv::guarded([&] { return tv::measure_conflicts(*clique->tree->engine); });
  return status ? -1 : tv::work_of(*clique).conflict;
}

tv_clique_t* tv_node_get_conflict_clique(const tv_node_t* node) {
  if (!tv::check(node && tv::is_discrete_or_continuous(*node))) return nullptr;
  const tv::Node& answering = tv::answering_node(*node);
  if (!tv::require_compiled(*answering.domain)) return nullptr;
  const tv::NodeState& record = tv::own_state(*answering.domain)[answering];
  return record.in_conflict ? tv::placement(answering).home : nullptr;
}

int tv_domain_tables_to_propagate(const tv_domain_t* domain) {
  return tv::check_compiled(domain) ? tv::any_tree(*domain, tv::has_touched_tables) : -1;
}

int tv_jt_tables_to_propagate(const tv_junction_tree_t* jt) {
  return tv::check_compiled(jt) ? jt->engine->tables_touched : -1;
}

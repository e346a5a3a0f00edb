// Queries: evidence, propagation and answers beside the domain's own, over the same forest and potentials,
// which they only read. Threads may work on different queries at the same time.

#include "inference/query.h"

#include <algorithm>

#include "api/boundary.h"
#include "inference/answers/beliefs.h"
#include "inference/answers/queries.h"
#include "inference/elimination/elimination_schedule.h"
#include "inference/evidence/evidence.h"
#include "inference/memory_need.h"
#include "inference/model_tables.h"
#include "inference/propagate.h"
#include "inference/reset.h"
#include "inference/utility/expected_utility.h"
#include "network/refusals.h"

namespace tv {

tv_status_t check_tables_for_queries(const Domain& domain) noexcept {
  if (tv_status_t status = check_for_tables_of_results(domain)) return status;
  if (any_tree(domain, [](const TreeEngine& engine) { return engine.tables_touched; }))
    return refuse(tv_status_no_equilibrium, "tables have changed: propagate the network first");
  return tv_status_none;
}

namespace {

using Query = tv_query_s;

// ---- Making one ----

tv_status_t check_memory(const Domain& domain) noexcept {
  const size_t need = memory_needed(domain);
  const auto queries = static_cast<size_t>(domain.forest->open_queries.use_count());
  const size_t states = std::max<size_t>(queries, 1) + 1;  // one holder is the forest
  if (domain.memory_limit == 0 || size_multiply(need, states) <= domain.memory_limit) return tv_status_none;
  return refuse(tv_status_no_memory, "%zu states of %zu bytes each are more than the limit, %zu", states,
                need, domain.memory_limit);
}

Query* new_query(Domain& domain) {
  if (check_tables_for_queries(domain) || check_memory(domain)) return nullptr;
  auto query = std::make_unique<Query>();
  Forest& forest = *domain.forest;
  if (!forest.open_queries) forest.open_queries = std::make_shared<std::atomic<bool>>(true);
  query->is_open = forest.open_queries;
  query->state.domain = &domain;
  query->state.entered.resize(forest.nodes.size());
  if (tv_status_t status = create_engines(query->state)) return store_status(status), nullptr;
  for (const auto& engine : query->state.trees) {
    engine->tables_touched = false;
    const PropagationRequest usual = {*engine, tv_equilibrium_sum, tv_evidence_normal};
    engine->elimination_pays = may_eliminate(usual) && elimination_pays(*engine);
  }
  return query.release();
}

// ---- Using one ----

tv_status_t check_query(const Query* query) noexcept {
  if (!check(query)) return tv_status_usage;
  if (query->is_open->load(std::memory_order_acquire)) return tv_status_none;
  return refuse(tv_status_not_compiled,
                "the query is over: its network has been changed, uncompiled or deleted since it was made");
}

tv_status_t check_node(const Query* query, const Node* node) noexcept {
  if (tv_status_t status = check_query(query)) return status;
  return check(node && node->domain == query->state.domain) ? tv_status_none : tv_status_usage;
}

// The node to be read for what was propagated; null, with the status stored, where its tree has no result.
const Node* answering(const Query* query, const Node* node) noexcept {
  const Node& source = answering_node(*node);
  const TreeEngine* const engine = result_engine(query->state, source);
  if (engine && engine->equilibrium == tv_equilibrium_none) return refuse_without_equilibrium(), nullptr;
  return &source;
}

bool all_in_equilibrium(const Query& query) noexcept {
  const auto is_none = [](const auto& engine) { return engine->equilibrium == tv_equilibrium_none; };
  return std::none_of(query.state.trees.begin(), query.state.trees.end(), is_none) ||
         refuse_without_equilibrium() == tv_status_none;
}

double mean_or_variance(const Query* query, const Node* node, double MeanAndVariance::*part) noexcept {
  if (check_node(query, node)) return -1;
  if (!is_continuous_node(node)) return refuse_for_kind(node, "a continuous one"), -1;
  const Node* const source = answering(query, node);
  if (!source) return -1;
  MeanAndVariance result;
  const tv_status_t status = mean_and_variance(query->state, *source, result);
  return require(status == tv_status_none, status) ? result.*part : -1;
}

}  // namespace
}  // namespace tv

tv_query_t* tv_domain_new_query(tv_domain_t* domain) {
  return tv::guarded<tv_query_t*>(nullptr, [&]() -> tv_query_t* {
    return tv::check_compiled(domain) ? tv::new_query(*domain) : nullptr;
  });
}

tv_status_t tv_query_delete(tv_query_t* query) {
  if (!tv::check(query)) return tv_status_usage;
  delete query;
  return tv_status_none;
}

int tv_query_is_open(const tv_query_t* query) {
  return tv::check(query) ? query->is_open->load(std::memory_order_acquire) : -1;
}

// ---- Evidence ----

tv_status_t tv_query_select_state(tv_query_t* query, tv_node_t* node, size_t state) {
  if (tv_status_t status = tv::check_node(query, node)) return status;
  if (tv_status_t status = tv::check_state(node, state)) return status;
  tv::_tv_node_select_state(*node, state, &query->state);
  return tv_status_none;
}

tv_status_t tv_query_enter_finding(tv_query_t* query, tv_node_t* node, size_t state, tv_number_t value) {
  return tv::guarded([&]() -> tv_status_t {
    if (tv_status_t status = tv::check_node(query, node)) return status;
    if (tv_status_t status = tv::check_finding(node, state, value)) return status;
    tv::_tv_node_enter_finding(*node, state, value, &query->state);
    return tv_status_none;
  });
}

tv_status_t tv_query_enter_value(tv_query_t* query, tv_node_t* node, double value) {
  if (tv_status_t status = tv::check_node(query, node)) return status;
  if (tv_status_t status = tv::check_value(node, value)) return status;
  tv::_tv_node_enter_value(*node, value, &query->state);
  return tv_status_none;
}

tv_status_t tv_query_retract_node_findings(tv_query_t* query, tv_node_t* node) {
  if (tv_status_t status = tv::check_node(query, node)) return status;
  if (!tv::check(tv::takes_evidence(node))) return tv_status_usage;
  tv::_tv_node_retract_findings(*node, &query->state);
  return tv_status_none;
}

tv_status_t tv_query_retract_findings(tv_query_t* query) {
  if (tv_status_t status = tv::check_query(query)) return status;
  tv::retract_listed_findings(query->state);
  for (const auto& engine : query->state.trees) tv::recover_tree(*engine);
  return tv_status_none;
}

// ---- Propagation and answers ----

tv_status_t tv_query_propagate(tv_query_t* query, tv_equilibrium_t equilibrium, tv_evidence_mode_t mode) {
  return tv::guarded([&]() -> tv_status_t {
    if (tv_status_t status = tv::check_query(query)) return status;
    if (tv_status_t status = tv::check_propagation(*query->state.domain, equilibrium, mode)) return status;
    return tv::propagate_state(query->state, equilibrium, mode);
  });
}

tv_number_t tv_query_get_belief(const tv_query_t* query, const tv_node_t* node, size_t state) {
  if (tv::check_node(query, node)) return -1;
  if (!tv::is_state(node, state)) return tv::refuse_state(node, state), -1;
  return tv::checked_belief(query->state, tv::answering_node(*node), state);
}

double tv_query_get_mean(const tv_query_t* query, const tv_node_t* node) {
  return tv::mean_or_variance(query, node, &tv::MeanAndVariance::mean);
}

double tv_query_get_variance(const tv_query_t* query, const tv_node_t* node) {
  return tv::mean_or_variance(query, node, &tv::MeanAndVariance::variance);
}

double tv_query_get_log_normalization_constant(const tv_query_t* query) {
  if (tv::check_query(query) || !tv::all_in_equilibrium(*query)) return -1;
  double sum = 0;
  for (const auto& engine : query->state.trees) sum += engine->log_constant;
  return sum;
}

tv_number_t tv_query_get_node_expected_utility(const tv_query_t* query, const tv_node_t* node, size_t state) {
  if (tv::check_node(query, node)) return -1;
  if (!tv::check(tv::has_expected_utility(node, state))) return -1;
  const tv::Node* const source = tv::answering(query, node);
  return source ? tv::checked_expected_utility(query->state, *source, state) : -1;
}

double tv_query_get_expected_utility(const tv_query_t* query) {
  if (tv::check_query(query) || !tv::all_in_equilibrium(*query)) return -1;
  return tv::checked_total_utility(query->state);
}

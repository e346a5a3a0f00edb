// What a host can ask about evidence. Questions about entered evidence read the node itself; questions
// about propagated evidence need tables in equilibrium and are answered by the linked node, if any.
#include "api/boundary.h"
#include "inference/answers/queries.h"
#include "inference/evidence/evidence.h"

namespace tv {
namespace {

bool can_have_evidence(const Node* node) noexcept { return node && is_discrete_or_continuous(*node); }

}  // namespace
}  // namespace tv

// ---- Entered evidence ----

ptrdiff_t tv_node_get_selected_state(const tv_node_t* node) {
  if (!tv::check(tv::is_discrete_node(node) && !node->domain->is_class)) return -1;
  return node->entered.state;
}

tv_number_t tv_node_get_entered_finding(const tv_node_t* node, size_t state) {
  if (!tv::check(tv::is_state(node, state) && !node->domain->is_class)) return -1;
  return tv::entered_finding(*node, state);
}

double tv_node_get_entered_value(const tv_node_t* node) {
  if (!tv::check(tv::is_continuous_node(node) && !node->domain->is_class)) return -1;
  if (!tv::require(node->entered.value_flag, tv_status_no_value)) return -1;
  return node->entered.value;
}

int tv_node_evidence_is_entered(const tv_node_t* node) {
  return tv::check(tv::can_have_evidence(node)) ? tv::_tv_node_evidence_is_entered(*node) : -1;
}

int tv_node_likelihood_is_entered(const tv_node_t* node) {
  if (!tv::check(tv::can_have_evidence(node) && !node->domain->is_class)) return -1;
  return tv::likelihood_is_entered(*node);
}

// ---- Propagated evidence ----

tv_number_t tv_node_get_propagated_finding(const tv_node_t* node, size_t state) {
  const tv::Node* source = tv::node_with_results(node, tv::is_state(node, state));
  return source ? tv::finding_that_is_propagated(*source, tv::state_of(*source), state) : -1;
}

ptrdiff_t tv_node_get_propagated_state(const tv_node_t* node) {
  const tv::Node* source = tv::node_with_results(node, tv::is_discrete_node(node));
  return source ? tv::state_of(*source).propagated_state : -1;
}

double tv_node_get_propagated_value(const tv_node_t* node) {
  const tv::Node* source = tv::node_with_results(node, tv::is_continuous_node(node));
  if (!source) return -1;
  const tv::NodeState& record = tv::state_of(*source);
  return tv::require(record.value_propagated, tv_status_no_value) ? record.propagated_value : -1;
}

int tv_node_evidence_is_propagated(const tv_node_t* node) {
  const tv::Node* source = tv::node_with_results(node, tv::can_have_evidence(node));
  return source ? tv::evidence_is_propagated(*source, tv::state_of(*source)) : -1;
}

int tv_node_likelihood_is_propagated(const tv_node_t* node) {
  const tv::Node* source = tv::node_with_results(node, tv::can_have_evidence(node));
  return source ? tv::likelihood_is_propagated(*source, tv::state_of(*source)) : -1;
}

int tv_node_evidence_to_propagate(const tv_node_t* node) {
  const tv::Node* source = tv::node_with_results(node, tv::can_have_evidence(node));
  if (!source || !tv::require(tv::placement(*source).tree, tv_status_usage)) return -1;
  return tv::_tv_node_evidence_to_propagate(*source, tv::state_of(*source));
}

// ---- Domains and trees ----

int tv_domain_evidence_to_propagate(const tv_domain_t* domain) {
  return tv::guarded(
      -1, [&] { return tv::check_compiled(domain) ? tv::_tv_domain_evidence_to_propagate(*domain) : -1; });
}

int tv_jt_evidence_to_propagate(const tv_junction_tree_t* jt) {
  return tv::guarded(
      -1, [&] { return tv::check_compiled(jt) ? tv::tree_has_evidence_to_propagate(*jt->engine) : -1; });
}

int tv_domain_evidence_is_propagated(const tv_domain_t* domain) {
  return tv::check_compiled(domain) ? tv::_tv_domain_evidence_is_propagated(*domain) : -1;
}

int tv_jt_evidence_is_propagated(const tv_junction_tree_t* jt) {
  return tv::check_compiled(jt) ? jt->engine->evidence_propagated : -1;
}

int tv_domain_likelihood_is_propagated(const tv_domain_t* domain) {
  if (!tv::check_compiled(domain)) return -1;
  return tv::any_tree(*domain, [](const tv::TreeEngine& engine) { return engine.likelihood_propagated; });
}

int tv_jt_likelihood_is_propagated(const tv_junction_tree_t* jt) {
  return tv::check_compiled(jt) ? jt->engine->likelihood_propagated : -1;
}

int tv_domain_cg_evidence_is_propagated(const tv_domain_t* domain) {
  if (!tv::check_compiled(domain)) return -1;
  return tv::any_tree(*domain, [](const tv::TreeEngine& engine) { return engine.cg_evidence_propagated; });
}

int tv_jt_cg_evidence_is_propagated(const tv_junction_tree_t* jt) {
  return tv::check_compiled(jt) ? jt->engine->cg_evidence_propagated : -1;
}

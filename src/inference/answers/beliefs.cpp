// Beliefs and the quantities that follow from them. Propagation leaves one number for each state of
// each node; hard evidence in normal mode is answered exactly, whatever rounding those numbers hold.
#include "inference/answers/beliefs.h"

#include <algorithm>
#include <cmath>

#include "api/boundary.h"
#include "inference/answers/joint_marginal.h"
#include "inference/answers/queries.h"
#include "inference/evidence/evidence.h"
#include "inference/gaussian/cg_answers.h"
#include "network/links/links.h"
#include "network/refusals.h"
#include "text/state_text.h"

namespace tv {
namespace {

// In fast retraction a belief leaves out the node's own evidence, so that its state does not follow from it.
bool state_is_known(const NodeState& record, const TreeEngine* engine) noexcept {
  return engine && engine->mode == tv_evidence_normal && record.propagated_state >= 0;
}

tv_number_t belief_in(const NodeState& record, const TreeEngine* engine, size_t state) noexcept {
  if (state_is_known(record, engine)) return static_cast<size_t>(record.propagated_state) == state ? 1 : 0;
  return record.belief[state];
}

bool has_real_valued_functions(const Domain& domain) noexcept {
  if (domain.counters.function == 0) return false;
  for (const Node& node : domain.nodes)
    if (is_real_valued_function(node)) return true;
  return false;
}

// Sum over the joint of p(a,b) ln(p(a,b) / (p(a) p(b))), with the beliefs as the marginals.
double mutual_information_in(const InferenceState& state, const Table& joint) noexcept {
  const Node& a = *joint.nodes[0];
  const Node& b = *joint.nodes[1];
  double information = 0;
  for (size_t i = 0; i < joint.size; ++i) {
    const double p = joint.data[i];
    const double independent = double(belief_of(state, a, i / b.number_of_states)) *
                               double(belief_of(state, b, i % b.number_of_states));
    if (p > 0 && independent > 0) information += p * std::log(p / independent);
  }
  return information > 0 ? information : 0;
}

// The nodes differ, and the trees of both are in equilibrium.
double mutual_information(const Node& a, const Node& b) {
  InferenceState& state = own_state(*a.domain);
  const TreeEngine *const of_a = result_engine(state, a), *const of_b = result_engine(state, b);
  const bool independent = of_a != of_b || _tv_node_hard_evidence_is_propagated(a, state[a]) ||
                           _tv_node_hard_evidence_is_propagated(b, state[b]);
  if (!require(holds_marginals(*of_a) && holds_marginals(*of_b), tv_status_usage)) return -1;
  if (!independent) {
    const std::unique_ptr<Table> joint =
        joint_marginal(state, {const_cast<Node*>(&a), const_cast<Node*>(&b)});
    return joint ? mutual_information_in(state, *joint) : -1;
  }
  if (has_real_valued_functions(*a.domain) && !_tv_function_nodes_satisfy_limid_constraints(*a.domain)) {
    store_status(tv_status_functional_dependency);
    return 9;  // what callers have always received here
  }
  return 0;
}

}  // namespace

StateSpan state_span(const Node& node, size_t state) noexcept {
  const std::vector<double>& values = node.state_values;
  return {values[state], values[node.subtype == tv_subtype_interval ? state + 1 : state]};
}

tv_number_t belief_of(const InferenceState& all, const Node& node, size_t state) noexcept {
  return belief_in(all[node], result_engine(all, node), state);
}

tv_number_t own_belief(const Node& node, size_t state) noexcept {
  return belief_of(own_state(*node.domain), node, state);
}

ptrdiff_t get_inferred_state(const Node& node) noexcept {
  ptrdiff_t inferred = -1;
  for (size_t state = 0; state < node.number_of_states; ++state) {
    if (!(own_belief(node, state) > 0)) continue;
    if (inferred >= 0) return -1;
    inferred = static_cast<ptrdiff_t>(state);
  }
  return inferred;
}

double node_entropy(const Node& node) noexcept {
  double sum = 0;
  for (size_t state = 0; state < node.number_of_states; ++state) {
    const double p = own_belief(node, state);
    if (p > 0 && p < 1) sum -= p * std::log(p);
  }
  return sum;
}

tv_status_t mean_and_variance(const InferenceState& all, const Node& node, MeanAndVariance& result) noexcept {
  if (is_continuous(node)) return cg_mean_and_variance(all, node, result);
  const bool is_numeric =
      is_discrete(node) && (node.subtype == tv_subtype_number || node.subtype == tv_subtype_interval);
  if (!is_numeric || !holds_marginals(*result_engine(all, node))) return tv_status_usage;
  if (!state_values_are_valid(node)) return tv_status_invalid_state_values;

  double mean = 0;
  for (size_t state = 0; state < node.number_of_states; ++state) {
    const double p = belief_of(all, node, state);
    if (p > 0) mean += p * state_span(node, state).mean();
  }
  double variance = 0;
  for (size_t state = 0; state < node.number_of_states; ++state) {
    const double p = belief_of(all, node, state);
    if (!(p > 0)) continue;
    const StateSpan span = state_span(node, state);
    variance += p * (span.variance() + (span.mean() - mean) * (span.mean() - mean));
  }
  if (!std::isfinite(mean) || !std::isfinite(variance)) return tv_status_invalid_state_values;
  result = {mean, variance};
  return tv_status_none;
}

tv_status_t own_mean_and_variance(const Node& node, MeanAndVariance& result) noexcept {
  return mean_and_variance(own_state(*node.domain), node, result);
}

// ---- Checks of the public queries ----

namespace {

double mean_or_variance(const Node* node, double MeanAndVariance::*part) noexcept {
  const Node* source = node_with_results(node, is_continuous_node(node));
  if (!source) return -1;
  MeanAndVariance result;
  const tv_status_t status = own_mean_and_variance(*source, result);
  return require(status == tv_status_none, status) ? result.*part : -1;
}

}  // namespace

tv_number_t checked_belief(const InferenceState& all, const Node& node, size_t state) noexcept {
  const NodeState& record = all[node];  // hosts ask for one number at a time
  const TreeEngine* engine = result_engine(all, node);
  if (engine && engine->equilibrium == tv_equilibrium_none) return refuse_without_equilibrium(), -1;
  if (!require(record.belief, tv_status_usage)) return -1;
  return belief_in(record, engine, state);
}

}  // namespace tv

tv_number_t tv_node_get_belief(const tv_node_t* node, size_t state) {
  if (!tv::check(tv::is_state(node, state))) return tv::refuse_state(node, state), -1;
  const tv::Node& answering = tv::answering_node(*node);
  if (!tv::require_compiled(*answering.domain)) return -1;
  return tv::checked_belief(tv::own_state(*answering.domain), answering, state);
}

double tv_node_get_entropy(const tv_node_t* node) {
  const tv::Node* source = tv::node_with_results(node, tv::is_discrete_node(node));
  if (!source ||
      !tv::require(tv::holds_marginals(*tv::result_engine(tv::own_state(*source->domain), *source)),
                   tv_status_usage))
    return -1;
  return tv::node_entropy(*source);
}

double tv_node_get_mutual_information(tv_node_t* node1, tv_node_t* node2) {
  if (node1 == node2) return tv_node_get_entropy(node1);
  return tv::guarded(-1.0, [&]() -> double {
    if (!tv::check(tv::is_discrete_node(node1) && tv::is_discrete_node(node2) &&
                   node1->domain == node2->domain))
      return -1;
    const tv::Node& a = tv::answering_node(*node1);
    const tv::Node& b = tv::answering_node(*node2);
    if (!tv::require_equilibrium(a) || !tv::require_equilibrium(b)) return -1;
    return tv::mutual_information(a, b);
  });
}

double tv_node_get_mean(const tv_node_t* node) {
  return tv::mean_or_variance(node, &tv::MeanAndVariance::mean);
}

double tv_node_get_variance(const tv_node_t* node) {
  return tv::mean_or_variance(node, &tv::MeanAndVariance::variance);
}

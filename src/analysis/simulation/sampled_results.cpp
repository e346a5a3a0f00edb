#include "analysis/simulation/sampled_results.h"

#include <cmath>

#include "expr/function_value.h"
#include "expr/table_generator.h"
#include "inference/answers/beliefs.h"
#include "inference/state.h"
#include "text/state_text.h"

namespace tv {
namespace {

// ---- Results as expressions read them: everything is known ----

size_t sampled_state(const Node& node) noexcept { return node.domain->sample.states[node.number - 1]; }

tv_status_t sampled_number(Node& node, double& number) {
  const Sample& sample = node.domain->sample;
  if (is_discrete(node)) return number_of_state(node, sampled_state(node), number);
  number = sample.values[node.number - 1];
  return sample.has_value[node.number - 1] ? tv_status_none : tv_status_no_value;
}

tv_status_t sampled_state_of(const Node& node, size_t& state) {
  if (!is_discrete(node)) return tv_status_usage;
  state = sampled_state(node);
  return tv_status_none;
}

// Of an interval only the bounds are known.
tv_status_t sampled_variance(Node& node, double& variance) {
  double number;
  if (tv_status_t status = sampled_number(node, number)) return status;
  variance = is_discrete(node) ? state_span(node, sampled_state(node)).variance() : 0.0;
  return tv_status_none;
}

tv_status_t sampled_quantile(Node& node, double probability, double& quantile) {
  if (tv_status_t status = sampled_number(node, quantile)) return status;
  if (!is_discrete(node)) return tv_status_none;
  const StateSpan span = state_span(node, sampled_state(node));
  quantile = span.low + probability * (span.high - span.low);
  return tv_status_none;
}

tv_status_t sampled_beliefs(const Node& node, std::vector<double>& beliefs) {
  beliefs.assign(node.number_of_states, 0.0);
  beliefs[sampled_state(node)] = 1.0;
  return tv_status_none;
}

constexpr PropagationResults kSampledResults = {.number = sampled_number,
                                                .state = sampled_state_of,
                                                .variance = sampled_variance,
                                                .quantile = sampled_quantile,
                                                .beliefs = sampled_beliefs};

// ---- Utilities ----

tv_status_t prepare_utility(Node& node) {
  if (is_compiled(*node.domain) || !node.model) return tv_status_none;  // else the propagation has done so
  return depends_on_results(node) ? tv_status_no_value : refresh_table(node);
}

void evaluate_utility(Node& node, Sample& sample) {
  if (prepare_utility(node)) return;
  double utility = 0.0;
  if (const Table* table = node.table.get(); table && has_data(*table)) {
    size_t index = 0;
    for (const Node* parent : table->nodes) index = index * parent->number_of_states + sampled_state(*parent);
    utility = static_cast<double>(table->data[index]);
  }
  sample.values[node.number - 1] = utility;
  sample.has_value[node.number - 1] = 1;
}

}  // namespace

tv_status_t number_of_state(const Node& node, size_t state, double& number) noexcept {
  if (node.subtype != tv_subtype_number && node.subtype != tv_subtype_interval) return tv_status_usage;
  if (!state_values_are_valid(node)) return tv_status_invalid_state_values;
  number = state_span(node, state).mean();
  return std::isfinite(number) ? tv_status_none : tv_status_invalid_state_values;
}

tv_status_t evaluate_sampled_nodes(Domain& domain) {
  Sample& sample = domain.sample;
  if (domain.counters.utility > 0)
    for (Node& node : domain.nodes)
      if (node.category == tv_category_utility) evaluate_utility(node, sample);
  if (domain.counters.function == 0) return tv_status_none;
  FunctionValues functions(&kSampledResults);
  for (Node& node : domain.nodes) {
    if (!is_real_valued_function(node)) continue;
    double value = 0;
    const tv_status_t status = functions.number(node, value);
    if (status == tv_status_no_memory) return status;
    if (status) continue;
    sample.values[node.number - 1] = value;
    sample.has_value[node.number - 1] = 1;
  }
  return tv_status_none;
}

}  // namespace tv

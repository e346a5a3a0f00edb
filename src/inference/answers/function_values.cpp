// Results of propagation for expressions, and the values of real-valued function nodes. A result counts only
// where the tables hold marginals given all evidence.
#include "inference/answers/function_values.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "api/boundary.h"
#include "expr/function_value.h"
#include "expr/results.h"
#include "inference/answers/beliefs.h"
#include "inference/answers/queries.h"
#include "inference/gaussian/cg_answers.h"
#include "inference/utility/expected_utility.h"
#include "tables/mixture.h"
#include "text/state_text.h"

namespace tv {
namespace {

// The node from which the results of `node` are read; null where there are none.
const Node* node_to_read(const Node& node, tv_status_t& status) noexcept {
  const Node& answering = answering_node(node);
  status = tv_status_not_compiled;
  if (!is_compiled(*answering.domain)) return nullptr;
  status = tv_status_no_equilibrium;
  const TreeEngine* engine = result_engine(own_state(*answering.domain), answering);
  if (!engine || !holds_marginals(*engine)) return nullptr;
  status = tv_status_none;
  return &answering;
}

// The least value up to which the probability is at least p; inside an interval it grows evenly.
tv_status_t discrete_quantile(const Node& node, double p, double& quantile) noexcept {
  if (!state_values_are_valid(node)) return tv_status_invalid_state_values;
  const bool intervals = node.subtype == tv_subtype_interval;
  double below = 0;
  quantile = std::numeric_limits<double>::quiet_NaN();
  for (size_t state = 0; state < node.number_of_states; ++state) {
    const double belief = own_belief(node, state);
    if (!(belief > 0)) continue;
    quantile = node.state_values[state];
    if (intervals && p > below)
      quantile += std::min((p - below) / belief, 1.0) * (node.state_values[state + 1] - quantile);
    below += belief;
    if (below >= p) break;
  }
  return std::isfinite(quantile) ? tv_status_none : tv_status_computation_failed;
}

tv_status_t result_number(Node& node, double& number) {
  tv_status_t status;
  const Node* source = node_to_read(node, status);
  if (!source) return status;
  if (source->category == tv_category_utility) {
    number = expected_utility(own_state(*source->domain), *source, 0);
    return tv_status_none;
  }
  MeanAndVariance result;
  if (tv_status_t failure = own_mean_and_variance(*source, result)) return failure;
  number = result.mean;
  return tv_status_none;
}

tv_status_t result_state(const Node& node, size_t& state) {
  tv_status_t status;
  const Node* source = node_to_read(node, status);
  if (!source) return status;
  const ptrdiff_t inferred = get_inferred_state(*source);
  if (inferred < 0) return tv_status_computation_failed;
  state = static_cast<size_t>(inferred);
  return tv_status_none;
}

tv_status_t result_variance(Node& node, double& variance) {
  tv_status_t status;
  const Node* source = node_to_read(node, status);
  if (!source) return status;
  MeanAndVariance result;
  if (tv_status_t failure = own_mean_and_variance(*source, result)) return failure;
  variance = result.variance;
  return tv_status_none;
}

tv_status_t result_quantile(Node& node, double probability, double& quantile) {
  tv_status_t status;
  const Node* source = node_to_read(node, status);
  if (!source) return status;
  if (is_discrete(*source)) return discrete_quantile(*source, probability, quantile);
  if (!is_continuous(*source) || !(probability > 0 && probability < 1))
    return tv_status_inappropriate_arguments;
  const std::unique_ptr<Table> table = cg_distribution(own_state(*source->domain), *source);
  if (!table) return current_status();
  quantile = Mixture(*table, 0).quantile(probability);
  return tv_status_none;
}

tv_status_t result_beliefs(const Node& node, std::vector<double>& beliefs) {
  tv_status_t status;
  const Node* source = node_to_read(node, status);
  if (!source) return status;
  beliefs.resize(source->number_of_states);
  for (size_t state = 0; state < beliefs.size(); ++state) beliefs[state] = own_belief(*source, state);
  return tv_status_none;
}

}  // namespace

const PropagationResults kPropagationResults = {.number = result_number,
                                                .state = result_state,
                                                .variance = result_variance,
                                                .quantile = result_quantile,
                                                .beliefs = result_beliefs};

}  // namespace tv

double tv_node_get_value(tv_node_t* node) {
  return tv::guarded(-1.0, [&]() -> double {
    const tv::Node* source = tv::node_with_results(node, node && tv::is_real_valued_function(*node));
    if (!source) return -1;
    tv::FunctionValues values;
    double value = 0;
    const tv_status_t status = values.number(const_cast<tv::Node&>(*source), value);
    return tv::store_status(status) ? -1 : value;
  });
}

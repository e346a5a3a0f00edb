// Expected utilities as the host asks for them. Propagation leaves them with the nodes.
#include "inference/utility/expected_utility.h"

#include <algorithm>

#include "api/boundary.h"
#include "inference/answers/queries.h"

namespace tv {
namespace {

bool is_utility(const Node* node) noexcept { return node && node->category == tv_category_utility; }

// Propagation leaves expected utilities, under either equilibrium, with these nodes of decision models; all
// others are read like beliefs.
bool has_own_results(const Node& node) noexcept {
  return node.domain->counters.utility > 0 && node.category != tv_category_function;
}

// The least or greatest entry of a utility node's table; a node without numbers counts as zero.
template <class Better>
tv_number_t extreme_utility(const Node* node, Better better) noexcept {
  const Node* source = node_with_results(node, is_utility(node));
  if (!source) return -1;
  const Table* table = source->table.get();
  if (!table || !has_data(*table)) return 0;
  return *std::min_element(table->data.begin(), table->data.end(), better);
}

}  // namespace

double expected_utility(const InferenceState& all, const Node& node, size_t state) noexcept {
  const double* expected = all[node].expected_utility;
  return expected ? expected[state] : 0.0;
}

double total_expected_utility(const InferenceState& all) noexcept {
  double sum = 0.0;
  for (const Node& node : all.domain->nodes)
    if (is_utility(&node)) sum += expected_utility(all, node, 0);
  return sum;
}

bool has_expected_utility(const Node* node, size_t state) noexcept {
  return is_utility(node) ? state == 0 : is_state(node, state);
}

tv_number_t checked_expected_utility(const InferenceState& all, const Node& node, size_t state) noexcept {
  if (!has_own_results(node) && !require(holds_marginals(*result_engine(all, node)), tv_status_usage))
    return -1;
  return static_cast<tv_number_t>(expected_utility(all, node, state));
}

double checked_total_utility(const InferenceState& all) noexcept {
  if (all.domain->counters.utility > 0) return total_expected_utility(all);
  const bool holds = std::all_of(all.trees.begin(), all.trees.end(),
                                 [](const auto& engine) { return holds_marginals(*engine); });
  return require(holds, tv_status_usage) ? 0 : -1;
}

}  // namespace tv

tv_number_t tv_node_get_expected_utility(const tv_node_t* node, size_t state) {
  const tv::Node* source = tv::node_with_results(node, tv::has_expected_utility(node, state));
  return source ? tv::checked_expected_utility(tv::own_state(*source->domain), *source, state) : -1;
}

tv_number_t tv_node_get_min_utility(const tv_node_t* node) {
  return tv::extreme_utility(node, [](tv_number_t a, tv_number_t b) { return a < b; });
}

tv_number_t tv_node_get_max_utility(const tv_node_t* node) {
  return tv::extreme_utility(node, [](tv_number_t a, tv_number_t b) { return a > b; });
}

double tv_node_get_variance_of_utility(const tv_node_t* node) {
  const tv::Node* source = tv::node_with_results(node, tv::is_utility(node));
  return source ? tv::expected_utility(tv::own_state(*source->domain), *source, 1) : -1;
}

double tv_domain_get_expected_utility(const tv_domain_t* domain) {
  return tv::check_equilibrium(domain) ? tv::checked_total_utility(tv::own_state(*domain)) : -1;
}

// tarvo decide: load, compile, enter the evidence, update the policies, read them.
#include <algorithm>
#include <cstdlib>

#include "memory.h"
#include "policies.h"

namespace program {
namespace {

bool is_decision(const tv_node_t* node) { return tv_node_get_category(node) == tv_category_decision; }
bool is_made(const tv_node_t* node) { return tv_node_get_selected_state(node) >= 0; }

std::vector<tv_node_t*> decisions_of(const Network& network) {
  std::vector<tv_node_t*> decisions;
  for (tv_node_t* node : network.nodes())
    if (is_decision(node)) decisions.push_back(node);
  return decisions;
}

void propagate(const Network& network) {
  expect(tv_domain_propagate(network.domain(), tv_equilibrium_sum, tv_evidence_normal), network.file());
}

double update(const Network& network) {
  propagate(network);
  expect(tv_domain_update_policies(network.domain()), network.file());
  return tv_domain_get_expected_utility(network.domain());
}

std::vector<tv_number_t> numbers_of(tv_node_t* decision) {
  tv_table_t* table = tv_node_get_table(decision);
  const tv_number_t* data = tv_table_get_data(table);
  return {data, data + tv_table_get_size(table)};
}

// The probability of each configuration of the parents, the last one fastest.
std::vector<double> parent_distribution(const Network& network, const std::vector<tv_node_t*>& parents) {
  if (parents.empty()) return {1.0};
  std::vector<tv_node_t*> list = parents;
  list.push_back(nullptr);
  tv_table_t* table = tv_domain_get_marginal(network.domain(), list.data());
  if (!table) fail_with_status(network.file());
  const tv_number_t* data = tv_table_get_data(table);
  std::vector<double> distribution(data, data + tv_table_get_size(table));
  tv_table_delete(table);
  return distribution;
}

Policy policy_of(const Network& network, tv_node_t* decision) {
  Policy policy;
  policy.decision = decision;
  if (is_made(decision)) policy.made = static_cast<size_t>(tv_node_get_selected_state(decision));
  std::vector<tv_node_t*> requisite;
  for (tv_node_t* node : each(tv_node_get_requisite_parents(decision))) requisite.push_back(node);
  for (tv_node_t* node : each(tv_table_get_nodes(tv_node_get_table(decision)))) {
    if (node == decision) continue;
    policy.parents.push_back(node);
    policy.requisite.push_back(std::find(requisite.begin(), requisite.end(), node) != requisite.end());
  }
  const std::vector<tv_number_t> numbers = numbers_of(decision);
  const std::vector<double> probabilities = parent_distribution(network, policy.parents);
  const auto states = static_cast<std::ptrdiff_t>(tv_node_get_number_of_states(decision));
  std::vector<size_t> position(policy.parents.size(), 0);
  for (size_t row = 0; row < probabilities.size(); ++row) {
    const auto first = numbers.begin() + static_cast<std::ptrdiff_t>(row) * states;
    policy.rows.push_back({position, probabilities[row], {first, first + states}});
    for (size_t p = position.size(); p-- > 0;) {
      if (++position[p] < tv_node_get_number_of_states(policy.parents[p])) break;
      position[p] = 0;
    }
  }
  return policy;
}

bool is_open(const tv_node_t* node) {
  return is_decision(node) && !is_made(node) && tv_node_get_number_of_states(node) > 1;
}

// The first open decision that has no open decision among its ancestors.
tv_node_t* next_decision(const std::vector<tv_node_t*>& decisions) {
  for (tv_node_t* decision : decisions) {
    if (!is_open(decision)) continue;
    tv_node_t** ancestors = tv_node_get_ancestors(decision);
    bool waits = false;
    for (const tv_node_t* node : each(ancestors)) waits |= is_open(node);
    std::free(ancestors);
    if (!waits) return decision;
  }
  return nullptr;
}

// What the states of a decision lead to; the other policies are chosen anew for each and put back.
std::vector<double> utilities_of_states(const Network& network, const std::vector<tv_node_t*>& decisions,
                                        tv_node_t* decision) {
  std::vector<std::vector<tv_number_t>> kept;
  for (tv_node_t* node : decisions) kept.push_back(numbers_of(node));
  std::vector<double> utilities;
  for (size_t state = 0; state < tv_node_get_number_of_states(decision); ++state) {
    expect(tv_node_select_state(decision, state), network.file());
    utilities.push_back(update(network));
    for (size_t d = 0; d < decisions.size(); ++d) {
      std::copy(kept[d].begin(), kept[d].end(), tv_table_get_data(tv_node_get_table(decisions[d])));
      expect(tv_node_touch_table(decisions[d]), network.file());
    }
  }
  expect(tv_node_retract_findings(decision), network.file());
  return utilities;
}

}  // namespace

ExitCode decide(const DecideOptions& options) {
  const Network network(options.file);
  const std::vector<tv_node_t*> decisions = decisions_of(network);
  if (decisions.empty()) throw Failure(kFailed, network.file() + ": the network has no decisions");
  expect(tv_domain_triangulate(network.domain(), tv_method_best_greedy), network.file());
  if (compile_within_limit(network, four_fifths_of_physical_memory()) != tv_status_none)
    fail_to_compile(network, tv_error_code(), "best_greedy");
  for (const Finding& finding : options.findings) enter(network, finding);

  Plan plan;
  plan.expected_utility = update(network);
  plan.probability = tv_domain_get_normalization_constant(network.domain());
  for (tv_node_t* decision : decisions) plan.policies.push_back(policy_of(network, decision));
  if (tv_node_t* next = next_decision(decisions))
    plan.next = NextDecision{next, utilities_of_states(network, decisions, next)};
  print(network, options, plan);
  return kSuccess;
}

}  // namespace program

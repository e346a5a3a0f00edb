// tarvo decide: load, compile, enter the evidence, update the policies, read them.
#include <algorithm>
#include <cstdlib>

#include "memory.h"
#include "policies.h"
#include "progress.h"
#include "propagation.h"

namespace program {
namespace {

bool is_made(const tv_node_t* node) { return tv_node_get_selected_state(node) >= 0; }
bool is_open(const tv_node_t* node) { return is_decision(node) && !is_made(node) && states_of(node) > 1; }

std::vector<tv_node_t*> decisions_of(const Network& network) {
  std::vector<tv_node_t*> decisions;
  std::copy_if(network.nodes().begin(), network.nodes().end(), std::back_inserter(decisions), is_decision);
  return decisions;
}

double update(const Network& network) {
  propagate(network);
  const Activity updating("improving the policies");
  expect(tv_domain_update_policies(network.domain()), network.file());
  return tv_domain_get_expected_utility(network.domain());
}

tv_table_t* distribution_of(const Network& network, std::vector<tv_node_t*> nodes) {
  nodes.push_back(nullptr);
  tv_table_t* table = tv_domain_get_marginal(network.domain(), nodes.data());
  if (!table) fail_with_status(network.file());
  return table;
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
  if (!policy.parents.empty() && !policy.made)
    policy.configurations.reset(distribution_of(network, policy.parents));
  return policy;
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

std::vector<tv_number_t> numbers_of(tv_node_t* decision) {
  tv_table_t* table = tv_node_get_table(decision);
  const tv_number_t* data = table ? tv_table_get_data(table) : nullptr;
  if (!data) fail_with_status(name_of(decision));
  return {data, data + tv_table_get_size(table)};
}

// What the states of a decision lead to; the other policies are chosen anew for each and put back.
std::vector<double> utilities_of_states(const Network& network, const std::vector<tv_node_t*>& decisions,
                                        tv_node_t* decision) {
  std::vector<std::vector<tv_number_t>> kept;
  for (tv_node_t* node : decisions) kept.push_back(numbers_of(node));
  std::vector<double> utilities;
  for (size_t state = 0; state < states_of(decision); ++state) {
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

bool Policy::has_open_parent() const {
  return std::any_of(parents.begin(), parents.end(), [](const tv_node_t* parent) {
    return tv_node_get_selected_state(parent) < 0 && states_of(parent) > 1;
  });
}

ExitCode decide(const DecideOptions& options) {
  const std::vector<Finding> findings = parse_findings(options.evidence);
  const Network network(options.source);
  const std::vector<tv_node_t*> decisions = decisions_of(network);
  if (decisions.empty())
    throw Failure(kFailed,
                  network.file() + ": the network has no decisions; \"tarvo beliefs\" answers for it");
  // For each number of a policy there is a copy, and at most one probability of a configuration.
  expect_to_fit(network, decisions, 2 * sizeof(tv_number_t));
  const CompressionFigures compression = compile(network, options.triangulation, options.compression);
  expect_to_fit(network, decisions, 2 * sizeof(tv_number_t), tv_domain_get_memory_need(network.domain()));
  enter_evidence(network, findings, options.evidence.case_file);

  Plan plan;
  plan.expected_utility = update(network);
  plan.probability = tv_domain_get_normalization_constant(network.domain());
  plan.evidence = entered_evidence(network);
  plan.compression = compression;
  for (tv_node_t* decision : decisions) plan.policies.push_back(policy_of(network, decision));
  if (tv_node_t* next = next_decision(decisions))
    plan.next = NextDecision{next, utilities_of_states(network, decisions, next)};
  if (options.format == Format::kText) print_as_text(network, plan);
  if (options.format == Format::kJson) print_as_json(network, plan);
  if (options.format == Format::kCsv) print_as_csv(plan);
  return kSuccess;
}

}  // namespace program

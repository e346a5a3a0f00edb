// What observing nodes is worth to a decision: the policy of a copy of the network is made the best one, with
// and without a link from the node to the decision.
#include <algorithm>
#include <cmath>
#include <memory>

#include "analysis/observations/candidates.h"
#include "api/boundary.h"
#include "inference/evidence/evidence.h"
#include "limid/minimize_limid.h"
#include "network/links/links.h"
#include "network/node_operations.h"
#include "network/progress.h"
#include "network/refusals.h"

struct tv_observation_values_s {
  struct Entry {
    tv::Node* node;
    double value, price;
  };
  std::vector<Entry> entries;
  double expected_utility = 0;
};

namespace tv {
namespace {

using Values = tv_observation_values_s;

Node& twin(Domain& copy, const Node& node) noexcept {
  Node* found = copy.nodes.first();
  while (found->number != node.number) found = found->next;
  return *found;
}

bool is_open(const Node& node) noexcept {
  return node.category == tv_category_decision && !decision_is_made(node, node.entered);
}

// The rules of evidence, which the copy, where other decisions are like chance nodes, does not check.
tv_status_t check_evidence(const Domain& domain) {
  const std::vector<bool> is_influenced = influenced_by_open_decisions(domain);
  for (const Node& node : domain.nodes) {
    if (node.category == tv_category_decision && node.entered.state == kFindingVector)
      return refuse(tv_status_invalid_evidence, "decision \"%s\" takes one state, no likelihood",
                    shown_name(node));
    if (node.category == tv_category_chance && is_influenced[node.number - 1] &&
        _tv_node_evidence_is_entered(node))
      return refuse(tv_status_invalid_evidence,
                    "\"%s\" is observed, but a decision that may influence it is not made yet",
                    shown_name(node));
  }
  return tv_status_none;
}

// A copy in which this decision is the only one that is open: the others follow their policies.
std::unique_ptr<Domain> copy_with_one_decision(const Node& decision) {
  std::unique_ptr<Domain> copy = clone_domain(*decision.domain);
  for (Node& node : copy->nodes)
    if (is_open(node) && node.number != decision.number)
      if (set_category(node, tv_category_chance)) return nullptr;
  return copy;
}

// Makes the policy the best one; a refusal is stored.
tv_status_t solve(Domain& domain, double& expected_utility) {
  if (tv_status_t status = tv_domain_compile(&domain)) return status;
  if (tv_status_t status = tv_domain_propagate(&domain, tv_equilibrium_sum, tv_evidence_normal))
    return status;
  if (tv_status_t status = tv_domain_update_policies(&domain)) return status;
  expected_utility = tv_domain_get_expected_utility(&domain);
  return current_status();
}

// Of a copy whose policy is the best one without the observation.
tv_status_t value_of(const Domain& solved, const Node& decision, const Node& node, double before,
                     double& value) {
  value = 0;
  if (is_parent(node, decision)) return tv_status_none;
  const std::unique_ptr<Domain> copy = clone_domain(solved);
  Node &knower = twin(*copy, decision), &known = twin(*copy, node);
  if (tv_status_t status = add_parent(knower, known)) return status;
  if (!analysis_of_parents(*copy).requisite_parents[knower.number - 1].contains(&known))
    return tv_status_none;
  double after = 0;
  if (tv_status_t status = solve(*copy, after)) return status;
  value = std::max(after - before, 0.0);
  return tv_status_none;
}

tv_status_t check_decision(const Node* decision) noexcept {
  if (!check(decision && !decision->domain->is_class)) return tv_status_usage;
  if (decision->category != tv_category_decision) return refuse_for_kind(decision, "a decision");
  if (!is_open(*decision)) return refuse(tv_status_usage, "decision \"%s\" is made", shown_name(*decision));
  if (decision->domain->counters.utility == 0)
    return refuse(tv_status_usage,
                  "the network has no utility node, so that nothing is worth more than another");
  return tv_status_none;
}

tv_status_t check_candidates(const std::vector<Candidate>& candidates, const std::vector<bool>& is_below,
                             const Node& decision) noexcept {
  for (const Candidate& candidate : candidates)
    if (is_below[candidate.node->number - 1])
      return refuse(tv_status_usage,
                    "decision \"%s\" influences node \"%s\", which cannot be known before it",
                    shown_name(decision), shown_name(*candidate.node));
  return tv_status_none;
}

Values* value_observations(Node* decision, Node* const* listed, const double* prices) {
  if (check_decision(decision)) return nullptr;
  std::vector<bool> is_below(decision->domain->node_count, false);
  for (const Node* node : find_descendants(*decision)) is_below[node->number - 1] = true;
  std::vector<Candidate> candidates;
  if (collect_candidates(*decision, listed, prices, CandidateKind::discrete_chance, is_below, candidates) ||
      check_candidates(candidates, is_below, *decision) || check_evidence(*decision->domain))
    return nullptr;
  const std::unique_ptr<Domain> copy = copy_with_one_decision(*decision);
  auto values = std::make_unique<Values>();
  if (!copy || solve(*copy, values->expected_utility)) return nullptr;
  ProgressMeter progress(*decision->domain, "observations", candidates.size());
  for (const auto& [node, price] : candidates) {
    if (store_status(progress.advance())) return nullptr;
    double value = 0;
    if (value_of(*copy, *decision, *node, values->expected_utility, value)) return nullptr;
    values->entries.push_back({node, value, price});
  }
  std::stable_sort(values->entries.begin(), values->entries.end(),
                   [](const auto& a, const auto& b) { return a.value - a.price > b.value - b.price; });
  store_status(tv_status_none);
  return values.release();
}

const Values::Entry* checked_entry(const Values* values, size_t index) noexcept {
  return check(values && index < values->entries.size()) ? &values->entries[index] : nullptr;
}

}  // namespace
}  // namespace tv

tv_observation_values_t* tv_node_value_observations(tv_node_t* decision, tv_node_t** candidates,
                                                    const double* prices) {
  return tv::guarded<tv_observation_values_t*>(
      nullptr, [&] { return tv::value_observations(decision, candidates, prices); });
}

tv_status_t tv_observation_values_delete(tv_observation_values_t* values) {
  if (!tv::check(values)) return tv_status_usage;
  delete values;
  return tv_status_none;
}

size_t tv_observation_values_get_number(const tv_observation_values_t* values) {
  return tv::check(values) ? values->entries.size() : tv::kNone;
}

tv_node_t* tv_observation_values_get_node(const tv_observation_values_t* values, size_t index) {
  const tv_observation_values_s::Entry* const entry = tv::checked_entry(values, index);
  return entry ? entry->node : nullptr;
}

double tv_observation_values_get_value(const tv_observation_values_t* values, size_t index) {
  const tv_observation_values_s::Entry* const entry = tv::checked_entry(values, index);
  return entry ? entry->value : -1;
}

double tv_observation_values_get_price(const tv_observation_values_t* values, size_t index) {
  const tv_observation_values_s::Entry* const entry = tv::checked_entry(values, index);
  return entry ? entry->price : -1;
}

double tv_observation_values_get_expected_utility(const tv_observation_values_t* values) {
  return tv::check(values) ? values->expected_utility : -1;
}

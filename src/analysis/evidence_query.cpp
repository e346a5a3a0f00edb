#include "analysis/evidence_query.h"

#include <algorithm>
#include <cmath>

#include "api/status.h"
#include "inference/answers/beliefs.h"
#include "inference/answers/queries.h"
#include "inference/evidence/evidence.h"
#include "inference/propagate.h"
#include "network/refusals.h"

namespace tv {
namespace {

constexpr double kNothing = 1e-29;  // as exact as small beliefs are: what is below may be impossible

double without_noise(double belief) noexcept { return belief < kNothing ? 0 : belief; }

}  // namespace

tv_status_t EvidenceQuery::start() {
  query_.reset(tv_domain_new_query(&domain_));
  if (!query_) return current_status();
  place_.assign(domain_.node_count, kNone);
  for (Node& node : domain_.nodes) {
    if (!is_discrete_or_continuous(node) || !_tv_node_evidence_is_entered(node)) continue;
    if (node.category == tv_category_decision || node.is_required) {
      enter_evidence(node);
      continue;
    }
    place_[node.number - 1] = findings_.size();
    findings_.push_back(&node);
  }
  is_entered_.assign(findings_.size(), false);
  return tv_status_none;
}

void EvidenceQuery::enter_evidence(Node& node) {
  const EnteredEvidence& entered = node.entered;
  if (is_continuous(node)) {
    _tv_node_enter_value(node, entered.value, &state());
  } else if (entered.state >= 0) {
    _tv_node_select_state(node, static_cast<size_t>(entered.state), &state());
  } else {
    for (size_t s = 0; s < node.number_of_states; ++s)
      _tv_node_enter_finding(node, s, entered.finding[s], &state());
  }
}

void EvidenceQuery::enter(size_t finding) {
  if (is_entered_[finding]) return;
  enter_evidence(*findings_[finding]);
  is_entered_[finding] = true;
}

void EvidenceQuery::leave_out(size_t finding) {
  if (!is_entered_[finding]) return;
  _tv_node_retract_findings(*findings_[finding], &state());
  is_entered_[finding] = false;
}

void EvidenceQuery::enter_all() {
  for (size_t f = 0; f < findings_.size(); ++f) enter(f);
}

void EvidenceQuery::leave_out_all() {
  for (size_t f = 0; f < findings_.size(); ++f) leave_out(f);
}

void EvidenceQuery::enter_only(const std::vector<size_t>& findings) {
  for (size_t f = 0; f < findings_.size(); ++f)
    std::binary_search(findings.begin(), findings.end(), f) ? enter(f) : leave_out(f);
}

void EvidenceQuery::suppose(Node& node, size_t state) { _tv_node_select_state(node, state, &this->state()); }

void EvidenceQuery::drop_supposition(Node& node) {
  _tv_node_retract_findings(node, &state());
  if (const size_t finding = place_[node.number - 1]; finding != kNone && is_entered_[finding])
    enter_evidence(node);
}

tv_status_t EvidenceQuery::propagate() {
  if (tv_status_t status = progress_.advance()) return store_status(status);
  return store_status(propagate_state(state(), tv_equilibrium_sum, tv_evidence_normal));
}

Distribution EvidenceQuery::distribution(const Node& node) const {
  Distribution result(node.number_of_states);
  double sum = 0;
  for (size_t s = 0; s < result.size(); ++s)
    sum += result[s] = without_noise(static_cast<double>(belief_of(state(), node, s)));
  for (double& p : result) p /= sum;
  return result;
}

double EvidenceQuery::log_probability() const noexcept {
  double sum = 0;
  for (const auto& engine : state().trees) sum += engine->log_constant;
  return sum;
}

double relative_entropy(const Distribution& of, const Distribution& to) noexcept {
  double sum = 0;
  for (size_t s = 0; s < of.size(); ++s)
    if (of[s] > 0) sum += of[s] * std::log(of[s] / to[s]);
  return std::max(sum, 0.0);
}

tv_status_t refuse_impossible_state(const Node& node, size_t state) noexcept {
  char shown[64];
  show_state(node, state, shown, sizeof shown);
  return refuse(tv_status_usage, "node \"%s\" can never be in state \"%s\"", shown_name(node), shown);
}

bool is_observed(const Node& node) noexcept {
  return is_continuous(node) ? node.entered.value_flag : node.entered.state >= 0;
}

tv_status_t check_open_question(const Node* node) noexcept {
  if (!check(is_discrete_node(node) && !node->domain->is_class))
    return is_discrete_node(node) ? tv_status_usage : refuse_for_kind(node, "a discrete one");
  if (!is_observed(*node)) return tv_status_none;
  return refuse(tv_status_usage, "the state of node \"%s\" is known", shown_name(*node));
}

std::vector<bool> influenced_by_open_decisions(const Domain& domain) {
  std::vector<bool> is_influenced(domain.node_count, false);
  if (domain.counters.decision == 0) return is_influenced;
  std::vector<const Node*> reached;
  for (const Node& node : domain.nodes)
    if (node.category == tv_category_decision && node.number_of_states > 1 &&
        !decision_is_made(node, node.entered))
      reached.push_back(&node);
  while (!reached.empty()) {
    const Node& node = *reached.back();
    reached.pop_back();
    for (const Node* child : node.children) {
      if (child->category == tv_category_decision || is_influenced[child->number - 1]) continue;
      is_influenced[child->number - 1] = true;
      reached.push_back(child);
    }
  }
  return is_influenced;
}

tv_status_t check_no_decision_above(const Node& node) {
  if (!influenced_by_open_decisions(*node.domain)[node.number - 1]) return tv_status_none;
  return refuse(tv_status_invalid_evidence, "a decision that may influence node \"%s\" is not made yet",
                shown_name(node));
}

}  // namespace tv

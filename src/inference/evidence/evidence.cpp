// Entering and retracting evidence, and the rules that evidence must obey before it is propagated.
// Every change of a node's entered evidence goes through `change_evidence`, which keeps the count of
// its tree exact; vectors are allocated before anything changes, so the changes themselves cannot fail.
#include "inference/evidence/evidence.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "api/boundary.h"
#include "inference/answers/queries.h"
#include "inference/engine.h"
#include "inference/reset.h"
#include "network/links/graph_search.h"
#include "network/refusals.h"

namespace tv {
namespace {

bool is_zero_or_one(tv_number_t value) noexcept { return value == 0 || value == 1; }

bool is_likelihood(const tv_number_t* finding, size_t count) noexcept {
  return !std::all_of(finding, finding + count, is_zero_or_one);
}

bool is_to_propagate(const Node& node, const CompiledNode& record) noexcept {
  const EnteredEvidence& entered = node.entered;
  if (is_continuous(node)) {
    return entered.value_flag != record.value_propagated ||
           (entered.value_flag && entered.value != record.propagated_value);
  }
  if (entered.state != record.propagated_state) {
    // The state of a node that has only one is no evidence.
    return node.number_of_states > 1 || entered.state == kFindingVector ||
           record.propagated_state == kFindingVector;
  }
  return entered.state == kFindingVector &&
         !std::equal(entered.finding.begin(), entered.finding.end(), propagated_finding(node));
}

// Changes the entered evidence of one node and keeps the count of its tree.
template <class Change>
void change_evidence(Node& node, Change change) noexcept {
  CompiledNode* record = is_compiled(*node.domain) ? &compiled(node) : nullptr;
  JunctionTree* tree = record ? record->tree : nullptr;
  if (!tree) {
    change();
    return;
  }
  if (is_to_propagate(node, *record)) --tree->evidence_to_propagate;
  change();
  if (is_to_propagate(node, *record)) ++tree->evidence_to_propagate;
  list_evidence(*record);
}

// Finding vectors for a node and all that mirror it. What a fresh one holds does not matter yet.
void allocate_findings(Node& node) {
  for (Node* member = &node; member; member = member->linked_node)
    if (member->entered.finding.size() != member->number_of_states)
      member->entered.finding.assign(member->number_of_states, 1);
}

void enter_findings_in_chain(Node* first, const tv_number_t* findings) noexcept {
  for (Node* node = first; node; node = node->linked_node) {
    change_evidence(*node, [&] {
      std::copy_n(findings, node->number_of_states, node->entered.finding.begin());
      node->entered.state = convert_entered_findings_to_state_index(*node);
    });
  }
}

// Brings a stale vector up to date with the index.
void rebuild_findings(EnteredEvidence& entered) noexcept {
  if (entered.state == kFindingVector) return;
  const bool known = entered.state >= 0;
  std::fill(entered.finding.begin(), entered.finding.end(), tv_number_t(known ? 0 : 1));
  if (known) entered.finding[static_cast<size_t>(entered.state)] = 1;
}

}  // namespace

void list_evidence(CompiledNode& record) noexcept {
  TreeEngine& engine = engine_of(*record.tree);
  if (!record.evidence_changed) engine.changed.push_back(record.position);
  record.evidence_changed = true;
  if (!record.evidence_listed) engine.evidence.push_back(record.position);
  record.evidence_listed = true;
}

ptrdiff_t convert_entered_findings_to_state_index(const Node& node) noexcept {
  const std::vector<tv_number_t>& finding = node.entered.finding;
  size_t ones = 0;
  ptrdiff_t state = kNoEvidence;
  for (size_t i = 0; i < finding.size(); ++i) {
    if (!is_zero_or_one(finding[i])) return kFindingVector;
    if (finding[i] == 1) {
      ++ones;
      state = static_cast<ptrdiff_t>(i);
    }
  }
  if (ones == 1) return state;
  return ones == finding.size() ? kNoEvidence : kFindingVector;
}

void _tv_node_select_state(Node& node, size_t state) noexcept {
  for (Node* member = &node; member; member = member->linked_node)
    change_evidence(*member, [&] { member->entered.state = static_cast<ptrdiff_t>(state); });
}

void _tv_node_enter_finding(Node& node, size_t state, tv_number_t value) {
  allocate_findings(node);
  change_evidence(node, [&] {
    EnteredEvidence& entered = node.entered;
    rebuild_findings(entered);
    entered.finding[state] = value;
    entered.state = is_zero_or_one(value) ? convert_entered_findings_to_state_index(node) : kFindingVector;
  });
  enter_findings_in_chain(node.linked_node, node.entered.finding.data());
}

void _tv_node_enter_findings(Node& node, const tv_number_t* findings) {
  allocate_findings(node);
  enter_findings_in_chain(&node, findings);
}

void _tv_node_enter_value(Node& node, double value) noexcept {
  for (Node* member = &node; member; member = member->linked_node) {
    change_evidence(*member, [&] {
      member->entered.value = value;
      member->entered.value_flag = true;
    });
  }
}

void _tv_node_retract_findings(Node& node) noexcept {
  for (Node* member = &node; member; member = member->linked_node) {
    if (!_tv_node_evidence_is_entered(*member)) continue;
    change_evidence(*member, [&] {
      member->entered.state = kNoEvidence;
      member->entered.value_flag = false;
    });
  }
}

void _tv_domain_retract_findings(Domain& domain) noexcept {
  const bool all_listed = is_compiled(domain) && domain.forest->participants ==
                                                     domain.counters.discrete + domain.counters.continuous;
  if (all_listed) {
    for (JunctionTree& tree : domain.forest->trees)
      for (const uint32_t position : engine_of(tree).evidence)
        _tv_node_retract_findings(*tree.nodes[position]);
    return;
  }
  for (Node& node : domain.nodes)
    if (is_discrete_or_continuous(node)) _tv_node_retract_findings(node);
}

void _tv_node_copy_evidence(Node& node, const Node* source) {
  if (!source || !_tv_node_evidence_is_entered(*source)) {
    _tv_node_retract_findings(node);
  } else if (is_continuous(node)) {
    _tv_node_enter_value(node, source->entered.value);
  } else if (source->entered.state == kFindingVector) {
    _tv_node_enter_findings(node, source->entered.finding.data());
  } else {
    _tv_node_select_state(node, static_cast<size_t>(source->entered.state));
  }
}

bool _tv_node_evidence_is_entered(const Node& node) noexcept {
  return is_continuous(node) ? node.entered.value_flag : node.entered.state != kNoEvidence;
}

bool _tv_node_likelihood_is_entered(const Node& node) noexcept {
  return is_discrete(node) && node.entered.state == kFindingVector &&
         is_likelihood(node.entered.finding.data(), node.number_of_states);
}

tv_number_t _tv_node_get_entered_finding(const Node& node, size_t state) noexcept {
  const EnteredEvidence& entered = node.entered;
  if (entered.state == kFindingVector) return entered.finding[state];
  return entered.state == kNoEvidence || static_cast<size_t>(entered.state) == state ? 1 : 0;
}

bool _tv_node_evidence_is_propagated(const Node& node) noexcept {
  const CompiledNode& record = compiled(node);
  return is_continuous(node) ? record.value_propagated : record.propagated_state != kNoEvidence;
}

bool _tv_node_hard_evidence_is_propagated(const Node& node) noexcept {
  const CompiledNode& record = compiled(node);
  return is_continuous(node) ? record.value_propagated : record.propagated_state >= 0;
}

bool _tv_node_likelihood_is_propagated(const Node& node) noexcept {
  const CompiledNode& record = compiled(node);
  return is_discrete(node) && record.propagated_state == kFindingVector &&
         is_likelihood(propagated_finding(node), node.number_of_states);
}

tv_number_t _tv_node_get_propagated_finding(const Node& node, size_t state) noexcept {
  const CompiledNode& record = compiled(node);
  if (record.propagated_state == kFindingVector) return propagated_finding(node)[state];
  return record.propagated_state == kNoEvidence || static_cast<size_t>(record.propagated_state) == state ? 1
                                                                                                         : 0;
}

bool _tv_node_evidence_to_propagate(const Node& node) noexcept {
  return is_to_propagate(node, compiled(node));
}

bool _tv_jt_evidence_to_propagate(const JunctionTree& tree) {
  return tree.evidence_to_propagate > 0 || _tv_jt_has_new_tables(tree);
}

bool _tv_domain_evidence_to_propagate(const Domain& domain) {
  return any_tree(domain, _tv_jt_evidence_to_propagate);
}

bool _tv_domain_evidence_is_propagated(const Domain& domain) noexcept {
  return any_tree(domain, [](const JunctionTree& tree) { return tree.evidence_propagated; });
}

// ---- The rules of decisions and of required instantiations ----

namespace {

bool is_decided(const Node& decision) noexcept {
  return _tv_node_evidence_is_entered(decision) || (is_discrete(decision) && decision.number_of_states == 1);
}

// An observed node that an open decision may influence through chance nodes; null when there is none.
Node* find_unfree_observation(const JunctionTree& tree) {
  MarkedNodes influenced;
  for (Node* node : tree.nodes)
    if (node->category == tv_category_decision && !is_decided(*node)) influenced.reach(node, 1);
  for (size_t i = 0; i < influenced.size(); ++i) {
    for (Node* child : influenced[i]->children) {
      if (child->category != tv_category_chance) continue;
      if (_tv_node_evidence_is_entered(*child)) return child;
      influenced.reach(child, 1);
    }
  }
  return nullptr;
}

// Names one of those decisions.
tv_status_t refuse_unfree(Node& observed) {
  MarkedNodes causes;
  causes.reach(&observed, 1);
  for (size_t i = 0; i < causes.size(); ++i)
    for (Node* parent : causes[i]->parents) {
      if (parent->category == tv_category_chance) causes.reach(parent, 1);
      if (parent->category == tv_category_decision && !is_decided(*parent))
        return refuse(tv_status_invalid_evidence,
                      "\"%s\" is observed, but decision \"%s\", which may influence it, is not made yet",
                      shown_name(observed), shown_name(*parent));
    }
  return store_status(tv_status_invalid_evidence);
}

}  // namespace

bool _tv_jt_evidence_is_valid(const JunctionTree& tree) {
  if (tree.domain->counters.decision == 0) return true;
  for (const Node* node : tree.nodes) {
    if (node->category != tv_category_decision || !is_discrete(*node)) continue;
    if (node->entered.state == kFindingVector) {
      refuse(tv_status_invalid_evidence, "decision \"%s\" takes one state, no likelihood", shown_name(*node));
      return false;
    }
  }
  if (Node* observed = find_unfree_observation(tree)) return refuse_unfree(*observed), false;
  return true;
}

bool _tv_domain_evidence_is_valid(const Domain& domain) {
  if (domain.counters.decision == 0) return true;
  return !any_tree(domain, [](const JunctionTree& tree) { return !_tv_jt_evidence_is_valid(tree); });
}

bool _tv_domain_ijt_nodes_are_instantiated(const Domain& domain) noexcept {
  const auto lacks_state = [](const Node* node) { return node->entered.state < 0; };
  const NodeList& required = domain.required_instantiations;
  const auto node = std::find_if(required.begin(), required.end(), lacks_state);
  if (node == required.end()) return true;
  refuse(tv_status_invalid_evidence, "node \"%s\" needs a selected state", shown_name(**node));
  return false;
}

// ---- What a host may enter ----

namespace {

bool takes_evidence(const Node* node) noexcept {
  return node && is_discrete_or_continuous(*node) && !node->domain->is_class;
}

bool is_likelihood_value(tv_number_t value) noexcept {
  return value >= 0 && value < std::numeric_limits<tv_number_t>::max();
}

tv_status_t refuse_finding(const Node* node, size_t state) noexcept {
  if (!is_state(node, state)) return refuse_state(node, state);
  return refuse(tv_status_usage, "node \"%s\": a likelihood is a finite number that is not negative",
                shown_name(*node));
}

tv_status_t refuse_value(const Node* node) noexcept {
  if (!is_continuous_node(node)) return refuse_for_kind(node, "a continuous one");
  return refuse(tv_status_usage, "node \"%s\": a value is a finite number", shown_name(*node));
}

}  // namespace
}  // namespace tv

tv_status_t tv_node_select_state(tv_node_t* node, size_t state) {
  if (!tv::check(tv::takes_evidence(node) && tv::is_discrete(*node) && state < node->number_of_states))
    return tv::refuse_state(node, state);
  tv::_tv_node_select_state(*node, state);
  return tv_status_none;
}

tv_status_t tv_node_enter_finding(tv_node_t* node, size_t state, tv_number_t value) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(tv::takes_evidence(node) && tv::is_discrete(*node) && state < node->number_of_states &&
                   tv::is_likelihood_value(value)))
      return tv::refuse_finding(node, state);
    tv::_tv_node_enter_finding(*node, state, value);
    return tv_status_none;
  });
}

tv_status_t tv_node_enter_value(tv_node_t* node, double value) {
  if (!tv::check(tv::takes_evidence(node) && tv::is_continuous(*node) && std::isfinite(value)))
    return tv::refuse_value(node);
  tv::_tv_node_enter_value(*node, value);
  return tv_status_none;
}

tv_status_t tv_node_retract_findings(tv_node_t* node) {
  if (!tv::check(tv::takes_evidence(node))) return tv_status_usage;
  tv::_tv_node_retract_findings(*node);
  return tv_status_none;
}

tv_status_t tv_domain_retract_findings(tv_domain_t* domain) {
  if (!tv::check(domain)) return tv_status_usage;
  tv::_tv_domain_retract_findings(*domain);
  return tv_status_none;
}

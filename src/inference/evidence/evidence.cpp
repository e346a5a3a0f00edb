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
#include "network/refusals.h"

namespace tv {
namespace {

bool is_zero_or_one(tv_number_t value) noexcept { return value == 0 || value == 1; }

bool is_likelihood(const tv_number_t* finding, size_t count) noexcept {
  return !std::all_of(finding, finding + count, is_zero_or_one);
}

EnteredEvidence& entered_on(Node& node, InferenceState* query) noexcept {
  return query ? query->entered[node.number - 1] : node.entered;
}

// Null where nothing is compiled, and for a node that lies in no tree.
TreeEngine* engine_with(const Node& node, InferenceState* query) noexcept {
  if (!query && !is_compiled(*node.domain)) return nullptr;
  return (query ? *query : own_state(*node.domain)).engine_of(node);
}

// Changes the entered evidence of one node and keeps the count of its tree.
template <class Change>
void change_evidence(Node& node, InferenceState* query, Change change) noexcept {
  EnteredEvidence& entered = entered_on(node, query);
  TreeEngine* const engine = engine_with(node, query);
  if (!engine) return change(entered);
  const NodeState& state = (*engine)[node];
  engine->evidence_to_propagate -= _tv_node_evidence_to_propagate(node, state);
  change(entered);
  engine->evidence_to_propagate += _tv_node_evidence_to_propagate(node, state);
  list_evidence(*engine, node);
}

// Finding vectors for a node and all that mirror it. What a fresh one holds does not matter yet.
void allocate_findings(Node& node, InferenceState* query) {
  for (Node* member = &node; member; member = member->linked_node)
    if (EnteredEvidence& entered = entered_on(*member, query);
        entered.finding.size() != member->number_of_states)
      entered.finding.assign(member->number_of_states, 1);
}

void enter_findings_in_chain(Node* first, const tv_number_t* findings, InferenceState* query) noexcept {
  for (Node* node = first; node; node = node->linked_node)
    change_evidence(*node, query, [&](EnteredEvidence& entered) {
      std::copy_n(findings, node->number_of_states, entered.finding.begin());
      entered.state = convert_entered_findings_to_state_index(entered.finding);
    });
}

// Brings a stale vector up to date with the index.
void rebuild_findings(EnteredEvidence& entered) noexcept {
  if (entered.state == kFindingVector) return;
  const bool known = entered.state >= 0;
  std::fill(entered.finding.begin(), entered.finding.end(), tv_number_t(known ? 0 : 1));
  if (known) entered.finding[static_cast<size_t>(entered.state)] = 1;
}

}  // namespace

void list_evidence(TreeEngine& engine, const Node& node) noexcept {
  NodeState& state = engine[node];
  const uint32_t position = placement(node).position;
  if (!state.evidence_changed) engine.changed.push_back(position);
  state.evidence_changed = true;
  if (!state.evidence_listed) engine.evidence.push_back(position);
  state.evidence_listed = true;
}

ptrdiff_t convert_entered_findings_to_state_index(const std::vector<tv_number_t>& finding) noexcept {
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

void _tv_node_select_state(Node& node, size_t state, InferenceState* query) noexcept {
  for (Node* member = &node; member; member = member->linked_node)
    change_evidence(*member, query,
                    [&](EnteredEvidence& entered) { entered.state = static_cast<ptrdiff_t>(state); });
}

void _tv_node_enter_finding(Node& node, size_t state, tv_number_t value, InferenceState* query) {
  allocate_findings(node, query);
  change_evidence(node, query, [&](EnteredEvidence& entered) {
    rebuild_findings(entered);
    entered.finding[state] = value;
    entered.state =
        is_zero_or_one(value) ? convert_entered_findings_to_state_index(entered.finding) : kFindingVector;
  });
  enter_findings_in_chain(node.linked_node, entered_on(node, query).finding.data(), query);
}

void _tv_node_enter_findings(Node& node, const tv_number_t* findings) {
  allocate_findings(node, nullptr);
  enter_findings_in_chain(&node, findings, nullptr);
}

void _tv_node_enter_value(Node& node, double value, InferenceState* query) noexcept {
  for (Node* member = &node; member; member = member->linked_node)
    change_evidence(*member, query, [&](EnteredEvidence& entered) {
      entered.value = value;
      entered.value_flag = true;
    });
}

void _tv_node_retract_findings(Node& node, InferenceState* query) noexcept {
  for (Node* member = &node; member; member = member->linked_node) {
    if (!evidence_is_entered(*member, entered_on(*member, query))) continue;
    change_evidence(*member, query, [&](EnteredEvidence& entered) {
      entered.state = kNoEvidence;
      entered.value_flag = false;
    });
  }
}

void retract_listed_findings(InferenceState& state) noexcept {
  InferenceState* const query = state.is_own() ? nullptr : &state;
  for (const auto& engine : state.trees)
    for (const uint32_t position : engine->evidence)
      _tv_node_retract_findings(*engine->tree->nodes[position], query);
}

void retract_all_findings(Domain& domain) noexcept {
  const bool all_listed = is_compiled(domain) && domain.forest->participants ==
                                                     domain.counters.discrete + domain.counters.continuous;
  if (all_listed) return retract_listed_findings(own_state(domain));
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
  return evidence_is_entered(node, node.entered);
}

bool likelihood_is_entered(const Node& node) noexcept {
  return is_discrete(node) && node.entered.state == kFindingVector &&
         is_likelihood(node.entered.finding.data(), node.number_of_states);
}

tv_number_t entered_finding(const Node& node, size_t state) noexcept {
  const EnteredEvidence& entered = node.entered;
  if (entered.state == kFindingVector) return entered.finding[state];
  return entered.state == kNoEvidence || static_cast<size_t>(entered.state) == state ? 1 : 0;
}

bool evidence_is_propagated(const Node& node, const NodeState& state) noexcept {
  return is_continuous(node) ? state.value_propagated : state.propagated_state != kNoEvidence;
}

bool _tv_node_hard_evidence_is_propagated(const Node& node, const NodeState& state) noexcept {
  return is_continuous(node) ? state.value_propagated : state.propagated_state >= 0;
}

bool likelihood_is_propagated(const Node& node, const NodeState& state) noexcept {
  return is_discrete(node) && state.propagated_state == kFindingVector &&
         is_likelihood(propagated_finding(node, state), node.number_of_states);
}

tv_number_t finding_that_is_propagated(const Node& node, const NodeState& record, size_t state) noexcept {
  if (record.propagated_state == kFindingVector) return propagated_finding(node, record)[state];
  return record.propagated_state == kNoEvidence || static_cast<size_t>(record.propagated_state) == state ? 1
                                                                                                         : 0;
}

bool _tv_node_evidence_to_propagate(const Node& node, const NodeState& state) noexcept {
  const EnteredEvidence& entered = *state.entered;
  if (is_continuous(node)) {
    return entered.value_flag != state.value_propagated ||
           (entered.value_flag && entered.value != state.propagated_value);
  }
  if (entered.state != state.propagated_state) {
    // The state of a node that has only one is no evidence.
    return node.number_of_states > 1 || entered.state == kFindingVector ||
           state.propagated_state == kFindingVector;
  }
  return entered.state == kFindingVector &&
         !std::equal(entered.finding.begin(), entered.finding.end(), propagated_finding(node, state));
}

bool tree_has_evidence_to_propagate(const TreeEngine& engine) {
  return engine.evidence_to_propagate > 0 || has_new_tables(engine);
}

bool _tv_domain_evidence_to_propagate(const Domain& domain) {
  return any_tree(domain, tree_has_evidence_to_propagate);
}

bool _tv_domain_evidence_is_propagated(const Domain& domain) noexcept {
  return any_tree(domain, [](const TreeEngine& engine) { return engine.evidence_propagated; });
}

// ---- The rules of decisions and of required instantiations ----

namespace {

bool is_decided(const TreeEngine& engine, const Node& decision) noexcept {
  return evidence_is_entered(decision, engine.entered(decision)) ||
         (is_discrete(decision) && decision.number_of_states == 1);
}

// The nodes that a search has reached, in that order. Other states of the domain may be searched meanwhile.
class ReachedNodes {
 public:
  explicit ReachedNodes(const Domain& domain) : is_reached_(domain.node_count + 1, false) {}

  void reach(Node* node) {
    if (is_reached_[node->number]) return;
    is_reached_[node->number] = true;
    nodes_.push_back(node);
  }
  size_t size() const noexcept { return nodes_.size(); }
  Node* operator[](size_t i) const noexcept { return nodes_[i]; }

 private:
  std::vector<bool> is_reached_;
  std::vector<Node*> nodes_;
};

// An observed node that an open decision may influence through chance nodes; null when there is none.
Node* find_unfree_observation(const TreeEngine& engine) {
  ReachedNodes influenced(*engine.tree->domain);
  for (Node* node : engine.tree->nodes)
    if (node->category == tv_category_decision && !is_decided(engine, *node)) influenced.reach(node);
  for (size_t i = 0; i < influenced.size(); ++i) {
    for (Node* child : influenced[i]->children) {
      if (child->category != tv_category_chance) continue;
      if (evidence_is_entered(*child, engine.entered(*child))) return child;
      influenced.reach(child);
    }
  }
  return nullptr;
}

// Names one of those decisions.
tv_status_t refuse_unfree(const TreeEngine& engine, Node& observed) {
  ReachedNodes causes(*observed.domain);
  causes.reach(&observed);
  for (size_t i = 0; i < causes.size(); ++i)
    for (Node* parent : causes[i]->parents) {
      if (parent->category == tv_category_chance) causes.reach(parent);
      if (parent->category == tv_category_decision && !is_decided(engine, *parent))
        return refuse(tv_status_invalid_evidence,
                      "\"%s\" is observed, but decision \"%s\", which may influence it, is not made yet",
                      shown_name(observed), shown_name(*parent));
    }
  return store_status(tv_status_invalid_evidence);
}

}  // namespace

bool _tv_jt_evidence_is_valid(const TreeEngine& engine) {
  if (engine.tree->domain->counters.decision == 0) return true;
  for (const Node* node : engine.tree->nodes) {
    if (node->category != tv_category_decision || !is_discrete(*node)) continue;
    if (engine.entered(*node).state == kFindingVector) {
      refuse(tv_status_invalid_evidence, "decision \"%s\" takes one state, no likelihood", shown_name(*node));
      return false;
    }
  }
  if (Node* observed = find_unfree_observation(engine)) return refuse_unfree(engine, *observed), false;
  return true;
}

bool _tv_domain_evidence_is_valid(const InferenceState& state) {
  if (state.domain->counters.decision == 0) return true;
  return std::all_of(state.trees.begin(), state.trees.end(),
                     [](const auto& engine) { return _tv_jt_evidence_is_valid(*engine); });
}

bool _tv_domain_ijt_nodes_are_instantiated(const InferenceState& state) noexcept {
  const auto lacks_state = [&](const Node* node) { return state[*node].entered->state < 0; };
  const NodeList& required = state.domain->required_instantiations;
  const auto node = std::find_if(required.begin(), required.end(), lacks_state);
  if (node == required.end()) return true;
  refuse(tv_status_invalid_evidence, "node \"%s\" needs a selected state", shown_name(**node));
  return false;
}

// ---- What a host may enter ----

namespace {

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

bool takes_evidence(const Node* node) noexcept {
  return node && is_discrete_or_continuous(*node) && !node->domain->is_class;
}

tv_status_t check_state(const Node* node, size_t state) noexcept {
  const bool valid = takes_evidence(node) && is_discrete(*node) && state < node->number_of_states;
  return check(valid) ? tv_status_none : refuse_state(node, state);
}

tv_status_t check_finding(const Node* node, size_t state, tv_number_t value) noexcept {
  const bool valid = takes_evidence(node) && is_discrete(*node) && state < node->number_of_states &&
                     is_likelihood_value(value);
  return check(valid) ? tv_status_none : refuse_finding(node, state);
}

tv_status_t check_value(const Node* node, double value) noexcept {
  const bool valid = takes_evidence(node) && is_continuous(*node) && std::isfinite(value);
  return check(valid) ? tv_status_none : refuse_value(node);
}

}  // namespace tv

tv_status_t tv_node_select_state(tv_node_t* node, size_t state) {
  if (tv_status_t status = tv::check_state(node, state)) return status;
  tv::_tv_node_select_state(*node, state);
  return tv_status_none;
}

tv_status_t tv_node_enter_finding(tv_node_t* node, size_t state, tv_number_t value) {
  return tv::guarded([&]() -> tv_status_t {
    if (tv_status_t status = tv::check_finding(node, state, value)) return status;
    tv::_tv_node_enter_finding(*node, state, value);
    return tv_status_none;
  });
}

tv_status_t tv_node_enter_value(tv_node_t* node, double value) {
  if (tv_status_t status = tv::check_value(node, value)) return status;
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
  tv::retract_all_findings(*domain);
  return tv_status_none;
}

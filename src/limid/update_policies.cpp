// Single policy updating (Lauritzen and Nilsson 2001): one decision at a time gets a policy that is optimal
// given the policies of the others, until a round changes nothing. The messages between cliques leave out
// nothing but the policy that is being updated, so that a changed policy makes only those messages invalid
// that flow out of its clique.

#include <algorithm>

#include "api/boundary.h"
#include "inference/answers/queries.h"
#include "inference/engine.h"
#include "inference/evidence/evidence.h"
#include "inference/propagate.h"
#include "inference/reset.h"
#include "inference/utility/utility_engine.h"
#include "limid/minimize_limid.h"
#include "network/links/links.h"
#include "network/node_operations.h"
#include "network/progress.h"
#include "tables/table_operations.h"

namespace tv {
namespace {

// States whose expected utility is within this of the best one count as optimal too.
constexpr double kOptimalAbove = 0.9999940395355225;  // of a best utility that is not negative
constexpr double kOptimalBelow = 1.0000059604644775;  // of one that is
constexpr double kRounding = 1e-14;                   // of the sum, in units of the largest of its terms

bool is_unmade(const Node& node) noexcept {
  return node.category == tv_category_decision && node.number_of_states > 1 &&
         !decision_is_made(node, node.entered);
}

// The policy for one configuration of the parents.
class PolicyColumn {
 public:
  PolicyColumn(tv_number_t* policy, const double* utilities, const double* masses, size_t states,
               double scale) noexcept
      : policy_(policy), utilities_(utilities), states_(states) {
    const double best = *std::max_element(utilities, utilities + states);
    // What the sums have lost by rounding makes no state worse than another.
    const double rounding = kRounding * scale * *std::max_element(masses, masses + states);
    threshold_ = best * (best >= 0.0 ? kOptimalAbove : kOptimalBelow) - rounding;
  }

  // Whether it was not optimal before.
  bool improve() noexcept {
    double kept = 0.0;
    size_t optimal = 0;
    bool changes = false;
    for (size_t s = 0; s < states_; ++s) {
      if (is_optimal(s)) {
        kept += static_cast<double>(policy_[s]);
        ++optimal;
      } else if (policy_[s] > 0) {
        policy_[s] = 0;
        changes = true;
      }
    }
    if (!changes) return false;
    for (size_t s = 0; s < states_; ++s) {
      if (kept > 0.0)
        policy_[s] = static_cast<tv_number_t>(static_cast<double>(policy_[s]) / kept);
      else
        policy_[s] = is_optimal(s) ? 1.0f / static_cast<tv_number_t>(optimal) : 0.0f;
    }
    return true;
  }

 private:
  bool is_optimal(size_t state) const noexcept { return utilities_[state] >= threshold_; }

  tv_number_t* policy_;
  const double* utilities_;
  size_t states_;
  double threshold_;
};

// Updating the policies of one tree.
class PolicyUpdate {
 public:
  explicit PolicyUpdate(TreeEngine& probabilities) noexcept : probabilities_(probabilities) {}

  bool any_change() const noexcept { return any_change_; }

  tv_status_t jt_update_policies() {
    if (!probabilities_.utilities) return tv_status_none;  // all states of its decisions are as good
    if (tv_status_t status = collect_decisions()) return status;
    const tv_status_t status = perform_SPU();
    if (any_change_)
      for (Node* decision : decisions_) _tv_node_touch_table(*decision);
    if (status || !any_change_) return status;
    return _tv_jt_make_consistent(probabilities_, nullptr, tv_equilibrium_sum, tv_evidence_normal);
  }

 private:
  tv_status_t collect_decisions() {
    size_t largest = 0;
    for (Node* decision : analysis_of_parents(*probabilities_.domain).update_order) {
      if (placement(*decision).tree != probabilities_.tree || !is_unmade(*decision)) continue;
      const Table* policy = filled_node_table(*decision);
      if (!policy) return tv_status_no_memory;
      largest = std::max(largest, policy->size);
      decisions_.push_back(decision);
    }
    utilities_.allocate_uninitialized(largest);
    masses_.allocate_uninitialized(largest);
    exponents_.allocate_uninitialized(largest);
    return tv_status_none;
  }

  tv_status_t perform_SPU() {
    ProgressMeter progress(*probabilities_.domain, "policies", 0);
    const Node* last_changed = nullptr;
    for (bool changed = true; changed;) {
      changed = false;
      for (Node* decision : decisions_) {
        if (decision == last_changed) return tv_status_none;  // a full round without a change
        if (tv_status_t status = progress.advance()) return status;
        if (!update_policy(*decision)) continue;
        changed = any_change_ = true;
        last_changed = decision;
      }
    }
    return tv_status_none;
  }

  // Whether the policy was not optimal given the others.
  bool update_policy(Node& decision) noexcept {
    UtilityEngine& engine = *probabilities_.utilities;
    const Table& policy = *decision.table;
    const size_t states = decision.number_of_states;
    std::fill_n(utilities_.data(), policy.size, 0.0);
    std::fill_n(masses_.data(), policy.size, 0.0);
    sum_over_family(engine, decision, utilities_.data(), masses_.data(), exponents_.data());
    bool changed = false;
    for (size_t i = 0; i < policy.size; i += states)
      changed |= PolicyColumn(policy.data.data() + i, utilities_.data() + i, masses_.data() + i, states,
                              engine.scale)
                     .improve();
    if (changed) invalidate_messages(engine, placement(decision).assigned->position);
    return changed;
  }

  TreeEngine& probabilities_;
  std::vector<Node*> decisions_;
  Block<double> utilities_, masses_;
  Block<int32_t> exponents_;
  bool any_change_ = false;
};

bool is_ready(const TreeEngine& engine) noexcept { return holds_marginals(engine) && !engine.tables_touched; }

tv_status_t update_policies(Domain& domain) {
  if (any_tree(domain, [](const TreeEngine& engine) { return !is_ready(engine); }) ||
      _tv_domain_evidence_to_propagate(domain))
    return tv_status_usage;
  if (domain.counters.utility == 0) return tv_status_none;
  if (!_tv_function_nodes_satisfy_limid_constraints(domain)) return tv_status_functional_dependency;
  bool any_change = false;
  for (const auto& engine : own_state(domain).trees) {
    TreeRecovery recovery(*engine);
    PolicyUpdate update(*engine);
    if (tv_status_t status = update.jt_update_policies()) return status;
    any_change |= update.any_change();
    recovery.dismiss();
  }
  // Tables that are computed from results follow the new policies.
  return any_change && domain.model_count > 0
             ? propagate_state(own_state(domain), tv_equilibrium_sum, tv_evidence_normal)
             : tv_status_none;
}

}  // namespace
}  // namespace tv

tv_status_t tv_domain_update_policies(tv_domain_t* domain) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain)) return tv_status_usage;
    if (!tv::is_compiled(*domain)) return tv_status_not_compiled;
    return tv::update_policies(*domain);
  });
}

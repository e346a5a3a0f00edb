// How the probability of a hypothesis depends on the findings.
#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "analysis/evidence_query.h"
#include "analysis/findings/findings.h"
#include "analysis/findings/groups.h"
#include "api/boundary.h"
#include "network/refusals.h"

namespace tv {
namespace {

using Findings = tv_findings_s;

size_t most_probable(const Distribution& distribution) noexcept {
  return static_cast<size_t>(std::max_element(distribution.begin(), distribution.end()) -
                             distribution.begin());
}

class FindingsAnalysis {
 public:
  FindingsAnalysis(Node& node, size_t state) : node_(node), state_(state), query_(*node.domain, "findings") {}

  tv_status_t run(size_t max_size) {
    if (tv_status_t status = query_.start()) return status;
    if (tv_status_t status = check_no_decision_above(node_)) return status;
    count_ = query_.findings().size();
    if (count_groups(count_, 1, max_size) > kMaxGroups)
      return refuse(tv_status_usage, "%zu findings have more than %zu groups of up to %zu", count_,
                    kMaxGroups, max_size);
    result_ = std::make_unique<Findings>();
    if (tv_status_t status = find_extremes()) return status;
    for (size_t f = 0; f < count_; ++f)
      if (tv_status_t status = look_at(f)) return status;
    for (size_t size = 1; size <= std::min(max_size, count_); ++size)
      if (tv_status_t status = look_at_groups(size)) return status;
    sort();
    return tv_status_none;
  }

  Findings* release() noexcept { return result_.release(); }

 private:
  // With all findings, and with none.
  tv_status_t find_extremes() {
    query_.enter_all();
    if (tv_status_t status = query_.propagate()) return status;
    with_all_ = query_.distribution(node_);
    query_.leave_out_all();
    if (tv_status_t status = query_.propagate()) return status;
    with_none_ = query_.distribution(node_);
    result_->prior = with_none_[state_];
    result_->posterior = with_all_[state_];
    return result_->prior > 0 ? tv_status_none : refuse_impossible_state(node_, state_);
  }

  tv_status_t look_at(size_t f) {
    Node& node = *query_.findings()[f];
    query_.enter_only({f});
    if (tv_status_t status = query_.propagate()) return status;
    const Distribution alone = query_.distribution(node_);
    query_.enter_all();
    query_.leave_out(f);
    if (tv_status_t status = query_.propagate()) return status;
    const Distribution without = query_.distribution(node_);
    result_->findings.push_back({&node,
                                 alone[state_],
                                 without[state_],
                                 relative_entropy(with_all_, without),
                                 relative_entropy(alone, with_none_),
                                 most_probable(with_all_) != most_probable(without),
                                 {}});
    return is_discrete(node) ? vary(node, without[state_], result_->findings.back().if_different)
                             : tv_status_none;
  }

  // Of the finding that is left out now: Bayes' rule tells for all of its states at once what the hypothesis
  // would be, from how probable they are with it and without it.
  tv_status_t vary(Node& node, double without, std::vector<double>& posteriors) {
    const Distribution expected = query_.distribution(node);
    posteriors.assign(expected.size(), 0);
    if (without > 0) {
      query_.suppose(node_, state_);
      if (tv_status_t status = query_.propagate()) return status;
      const Distribution given = query_.distribution(node);
      query_.drop_supposition(node_);
      for (size_t s = 0; s < expected.size(); ++s)
        posteriors[s] = std::min(given[s] * without / expected[s], 1.0);
    }
    for (size_t s = 0; s < expected.size(); ++s)
      if (!(expected[s] > 0)) posteriors[s] = std::numeric_limits<double>::quiet_NaN();
    return tv_status_none;
  }

  tv_status_t look_at_groups(size_t size) {
    std::vector<size_t> group = first_group(size);
    do {
      double posterior = size == 1 ? result_->findings[group[0]].alone : 0;
      if (size > 1) {
        query_.enter_only(group);
        if (tv_status_t status = query_.propagate()) return status;
        posterior = query_.distribution(node_)[state_];
      }
      result_->groups.push_back({group, posterior});
    } while (next_group(group, count_));
    return tv_status_none;
  }

  void sort() {
    std::vector<size_t> order = first_group(count_), rank(count_);
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
      return result_->findings[a].cost > result_->findings[b].cost;
    });
    std::vector<Findings::Finding> sorted;
    for (size_t i = 0; i < count_; ++i) {
      rank[order[i]] = i;
      sorted.push_back(std::move(result_->findings[order[i]]));
    }
    result_->findings = std::move(sorted);
    for (Findings::Group& group : result_->groups) {
      for (size_t& finding : group.findings) finding = rank[finding];
      std::sort(group.findings.begin(), group.findings.end());
    }
    const auto distance = [&](const Findings::Group& group) {
      return std::fabs(group.posterior - result_->posterior);
    };
    std::stable_sort(result_->groups.begin(), result_->groups.end(), [&](const auto& a, const auto& b) {
      if (a.findings.size() != b.findings.size()) return a.findings.size() < b.findings.size();
      return distance(a) < distance(b);
    });
  }

  Node& node_;
  const size_t state_;
  EvidenceQuery query_;
  size_t count_ = 0;
  Distribution with_all_, with_none_;
  std::unique_ptr<Findings> result_;
};

Findings* analyze(Node* hypothesis, size_t state, size_t max_size) {
  if (check_open_question(hypothesis)) return nullptr;
  if (state >= hypothesis->number_of_states) return refuse_state(hypothesis, state), nullptr;
  FindingsAnalysis analysis(*hypothesis, state);
  return analysis.run(max_size) ? nullptr : analysis.release();
}

// ---- What hosts read ----

const Findings::Finding* checked_finding(const Findings* findings, size_t finding) noexcept {
  return check(findings && finding < findings->findings.size()) ? &findings->findings[finding] : nullptr;
}

double number_of(const Findings* findings, size_t finding, double Findings::Finding::*number) noexcept {
  const Findings::Finding* const found = checked_finding(findings, finding);
  return found ? found->*number : -1;
}

const Findings::Group* checked_group(const Findings* findings, size_t group) noexcept {
  return check(findings && group < findings->groups.size()) ? &findings->groups[group] : nullptr;
}

tv_finding_role_t role_of(const Findings& findings, const Findings::Finding& finding, double least_cost,
                          double decisive_share) noexcept {
  if (finding.cost < least_cost)
    return finding.cost_alone >= least_cost ? tv_finding_redundant : tv_finding_irrelevant;
  const double whole = findings.posterior - findings.prior, step = findings.posterior - finding.without;
  if (step * whole < 0) return tv_finding_contradictory;
  const bool is_large = std::fabs(step) >= decisive_share * std::fabs(whole);
  return finding.decides || is_large ? tv_finding_decisive : tv_finding_supporting;
}

}  // namespace
}  // namespace tv

tv_findings_t* tv_node_analyze_findings(tv_node_t* hypothesis, size_t state, size_t max_size) {
  return tv::guarded<tv_findings_t*>(nullptr, [&] { return tv::analyze(hypothesis, state, max_size); });
}

tv_status_t tv_findings_delete(tv_findings_t* findings) {
  if (!tv::check(findings)) return tv_status_usage;
  delete findings;
  return tv_status_none;
}

size_t tv_findings_get_number(const tv_findings_t* findings) {
  return tv::check(findings) ? findings->findings.size() : tv::kNone;
}

tv_node_t* tv_findings_get_node(const tv_findings_t* findings, size_t finding) {
  const tv_findings_s::Finding* const found = tv::checked_finding(findings, finding);
  return found ? found->node : nullptr;
}

double tv_findings_get_prior(const tv_findings_t* findings) {
  return tv::check(findings) ? findings->prior : -1;
}

double tv_findings_get_posterior(const tv_findings_t* findings) {
  return tv::check(findings) ? findings->posterior : -1;
}

double tv_findings_get_posterior_given(const tv_findings_t* findings, size_t finding) {
  return tv::number_of(findings, finding, &tv_findings_s::Finding::alone);
}

double tv_findings_get_posterior_without(const tv_findings_t* findings, size_t finding) {
  return tv::number_of(findings, finding, &tv_findings_s::Finding::without);
}

double tv_findings_get_cost_of_omission(const tv_findings_t* findings, size_t finding) {
  return tv::number_of(findings, finding, &tv_findings_s::Finding::cost);
}

tv_finding_role_t tv_findings_get_role(const tv_findings_t* findings, size_t finding, double least_cost,
                                       double decisive_share) {
  const tv_findings_s::Finding* const found = tv::checked_finding(findings, finding);
  const bool is_valid =
      least_cost >= 0 && std::isfinite(least_cost) && decisive_share >= 0 && decisive_share <= 1;
  if (!found || !tv::check(is_valid)) return tv_finding_error;
  return tv::role_of(*findings, *found, least_cost, decisive_share);
}

double tv_findings_get_posterior_if(const tv_findings_t* findings, size_t finding, size_t state) {
  const tv_findings_s::Finding* const found = tv::checked_finding(findings, finding);
  if (!found || !tv::check(state < found->if_different.size())) return -1;
  const double posterior = found->if_different[state];
  return tv::require(!std::isnan(posterior), tv_status_inconsistency_or_underflow) ? posterior : -1;
}

size_t tv_findings_get_number_of_groups(const tv_findings_t* findings) {
  return tv::check(findings) ? findings->groups.size() : tv::kNone;
}

const size_t* tv_findings_get_group(const tv_findings_t* findings, size_t group, size_t* count) {
  const tv_findings_s::Group* const found = tv::checked_group(count ? findings : nullptr, group);
  if (!found) return nullptr;
  *count = found->findings.size();
  return found->findings.data();
}

double tv_findings_get_group_posterior(const tv_findings_t* findings, size_t group) {
  const tv_findings_s::Group* const found = tv::checked_group(findings, group);
  return found ? found->posterior : -1;
}

double tv_findings_get_normalized_likelihood(const tv_findings_t* findings, size_t group) {
  const tv_findings_s::Group* const found = tv::checked_group(findings, group);
  return found ? found->posterior / findings->prior : -1;
}

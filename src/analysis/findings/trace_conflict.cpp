// The conflict of the findings, the smallest groups that carry it, and what would resolve it.
#include <algorithm>
#include <cmath>
#include <memory>

#include "analysis/evidence_query.h"
#include "analysis/findings/groups.h"
#include "api/boundary.h"

struct tv_conflict_s {
  struct Group {
    std::vector<tv::Node*> nodes;
    double value;
  };
  struct Resolution {
    tv::Node* node;
    size_t state;
    double value;
  };
  double value = 0;
  std::vector<Group> groups;
  std::vector<Resolution> resolutions;
};

namespace tv {
namespace {

using Conflict = tv_conflict_s;

constexpr double kRounding = 4e-6;  // of the logarithm of one probability

class ConflictTrace {
 public:
  explicit ConflictTrace(Domain& domain) : domain_(domain), query_(domain, "findings") {}

  tv_status_t run(size_t max_size, double share) {
    if (tv_status_t status = query_.start()) return status;
    const size_t count = query_.findings().size();
    if (count_groups(count, 2, max_size) > kMaxGroups)
      return refuse(tv_status_usage, "%zu findings have more than %zu groups of up to %zu", count, kMaxGroups,
                    max_size);
    result_ = std::make_unique<Conflict>();
    if (tv_status_t status = measure()) return status;
    if (!(result_->value > kRounding * static_cast<double>(count + 1))) return tv_status_none;
    find_resolutions();
    for (size_t size = 2; size <= std::min(max_size, count); ++size)
      if (tv_status_t status = find_groups(size, share * result_->value)) return status;
    sort();
    return tv_status_none;
  }

  Conflict* release() noexcept { return result_.release(); }

 private:
  std::vector<Distribution> distributions() const {
    std::vector<Distribution> result(domain_.node_count);
    for (const Node* node : hypotheses_) result[node->number - 1] = query_.distribution(*node);
    return result;
  }

  // The conflict of all findings, and the probability of each one. Everything is given what is no finding.
  tv_status_t measure() {
    for (Node& node : domain_.nodes)
      if (is_discrete(node) && node.category != tv_category_decision && !is_observed(node))
        hypotheses_.push_back(&node);
    if (tv_status_t status = query_.propagate()) return status;
    log_base_ = query_.log_probability();
    before_ = distributions();
    for (size_t f = 0; f < query_.findings().size(); ++f) {
      query_.enter_only({f});
      if (tv_status_t status = query_.propagate()) return status;
      log_single_.push_back(query_.log_probability() - log_base_);
      result_->value += log_single_.back();
    }
    query_.enter_all();
    if (tv_status_t status = query_.propagate()) return status;
    result_->value -= query_.log_probability() - log_base_;
    after_ = distributions();
    if (query_.findings().size() < 2) result_->value = 0;
    return tv_status_none;
  }

  // One more finding h changes the conflict by ln( P(h) / P(h | e) ).
  void find_resolutions() {
    for (Node* node : hypotheses_)
      for (size_t s = 0; s < node->number_of_states; ++s) {
        const double before = before_[node->number - 1][s], after = after_[node->number - 1][s];
        if (!(before > 0) || !(after > 0)) continue;
        const double left = result_->value + std::log(before / after);
        if (left <= 0) result_->resolutions.push_back({node, s, left});
      }
    std::stable_sort(result_->resolutions.begin(), result_->resolutions.end(),
                     [](const auto& a, const auto& b) { return a.value < b.value; });
  }

  bool holds_smaller(const std::vector<size_t>& group) const {
    return std::any_of(carriers_.begin(), carriers_.end(), [&](const std::vector<size_t>& carrier) {
      return std::includes(group.begin(), group.end(), carrier.begin(), carrier.end());
    });
  }

  tv_status_t find_groups(size_t size, double least) {
    std::vector<std::vector<size_t>> found;
    std::vector<size_t> group = first_group(size);
    do {
      if (holds_smaller(group)) continue;
      query_.enter_only(group);
      if (tv_status_t status = query_.propagate()) return status;
      double value = log_base_ - query_.log_probability();
      for (const size_t f : group) value += log_single_[f];
      if (value < least - kRounding) continue;
      found.push_back(group);
      result_->groups.push_back({{}, value});
      for (const size_t f : group) result_->groups.back().nodes.push_back(query_.findings()[f]);
    } while (next_group(group, query_.findings().size()));
    carriers_.insert(carriers_.end(), found.begin(), found.end());
    return tv_status_none;
  }

  void sort() {
    std::stable_sort(result_->groups.begin(), result_->groups.end(), [](const auto& a, const auto& b) {
      return a.nodes.size() != b.nodes.size() ? a.nodes.size() < b.nodes.size() : a.value > b.value;
    });
  }

  Domain& domain_;
  EvidenceQuery query_;
  std::vector<Node*> hypotheses_;             // discrete nodes that are not known
  std::vector<Distribution> before_, after_;  // the findings; by node number - 1
  double log_base_ = 0;                       // of the probability of what is no finding
  std::vector<double> log_single_;
  std::vector<std::vector<size_t>> carriers_;
  std::unique_ptr<Conflict> result_;
};

Conflict* trace(Domain* domain, size_t max_size, double share) {
  if (!check(domain)) return nullptr;
  if (!(share > 0 && share <= 1))
    return refuse(tv_status_usage, "a share of the conflict is above 0 and at most 1"), nullptr;
  ConflictTrace trace(*domain);
  return trace.run(max_size, share) ? nullptr : trace.release();
}

const Conflict::Group* checked_group(const Conflict* conflict, size_t group) noexcept {
  return check(conflict && group < conflict->groups.size()) ? &conflict->groups[group] : nullptr;
}

const Conflict::Resolution* checked_resolution(const Conflict* conflict, size_t resolution) noexcept {
  return check(conflict && resolution < conflict->resolutions.size()) ? &conflict->resolutions[resolution]
                                                                      : nullptr;
}

}  // namespace
}  // namespace tv

tv_conflict_t* tv_domain_trace_conflict(tv_domain_t* domain, size_t max_size, double share) {
  return tv::guarded<tv_conflict_t*>(nullptr, [&] { return tv::trace(domain, max_size, share); });
}

tv_status_t tv_conflict_delete(tv_conflict_t* conflict) {
  if (!tv::check(conflict)) return tv_status_usage;
  delete conflict;
  return tv_status_none;
}

double tv_conflict_get_value(const tv_conflict_t* conflict) {
  return tv::check(conflict) ? conflict->value : -1;
}

size_t tv_conflict_get_number_of_groups(const tv_conflict_t* conflict) {
  return tv::check(conflict) ? conflict->groups.size() : tv::kNone;
}

tv_node_t* const* tv_conflict_get_group(const tv_conflict_t* conflict, size_t group, size_t* count) {
  const tv_conflict_s::Group* const found = tv::checked_group(count ? conflict : nullptr, group);
  if (!found) return nullptr;
  *count = found->nodes.size();
  return found->nodes.data();
}

double tv_conflict_get_group_value(const tv_conflict_t* conflict, size_t group) {
  const tv_conflict_s::Group* const found = tv::checked_group(conflict, group);
  return found ? found->value : -1;
}

size_t tv_conflict_get_number_of_resolutions(const tv_conflict_t* conflict) {
  return tv::check(conflict) ? conflict->resolutions.size() : tv::kNone;
}

tv_node_t* tv_conflict_get_resolution(const tv_conflict_t* conflict, size_t resolution, size_t* state) {
  const tv_conflict_s::Resolution* const found =
      tv::checked_resolution(state ? conflict : nullptr, resolution);
  if (!found) return nullptr;
  *state = found->state;
  return found->node;
}

double tv_conflict_get_resolution_value(const tv_conflict_t* conflict, size_t resolution) {
  const tv_conflict_s::Resolution* const found = tv::checked_resolution(conflict, resolution);
  return found ? found->value : 1;
}

#include "analysis/observations/candidates.h"

#include <cmath>

#include "api/status.h"
#include "network/refusals.h"

namespace tv {
namespace {

bool is_of_kind(const Node& node, CandidateKind kind) noexcept {
  if (node.category == tv_category_chance) return is_discrete(node) || kind == CandidateKind::any;
  return node.category == tv_category_function && is_discrete(node) && kind != CandidateKind::discrete_chance;
}

const char* text_of(CandidateKind kind) noexcept {
  if (kind == CandidateKind::any) return "a chance node or a discrete function";
  return kind == CandidateKind::discrete ? "a discrete chance node or function" : "a discrete chance node";
}

tv_status_t check_candidate(const Node& target, const Node& node, CandidateKind kind,
                            const std::vector<bool>& is_listed) noexcept {
  if (node.domain != target.domain)
    return refuse(tv_status_usage, "node \"%s\" belongs to another network", shown_name(node));
  if (!is_of_kind(node, kind)) return refuse_for_kind(&node, text_of(kind));
  if (&node == &target)
    return refuse(tv_status_usage, "node \"%s\" is asked about, so it is no candidate", shown_name(node));
  if (is_observed(node)) return refuse(tv_status_usage, "node \"%s\" is observed already", shown_name(node));
  if (is_listed[node.number - 1])
    return refuse(tv_status_usage, "node \"%s\" is listed twice", shown_name(node));
  return tv_status_none;
}

}  // namespace

tv_status_t collect_candidates(const Node& target, Node* const* listed, const double* prices,
                               CandidateKind kind, const std::vector<bool>& excluded,
                               std::vector<Candidate>& candidates) {
  if (!listed && prices) return refuse(tv_status_usage, "there are prices, but no candidates");
  if (!listed) {
    for (Node& node : target.domain->nodes)
      if (is_of_kind(node, kind) && &node != &target && !is_observed(node) && !excluded[node.number - 1])
        candidates.push_back({&node, 0.0});
    return tv_status_none;
  }
  std::vector<bool> is_listed(target.domain->node_count, false);
  for (size_t i = 0; listed[i]; ++i) {
    Node& node = *listed[i];
    if (tv_status_t status = check_candidate(target, node, kind, is_listed)) return status;
    const double price = prices ? prices[i] : 0.0;
    if (!(price >= 0 && std::isfinite(price)))
      return refuse(tv_status_usage, "the price of node \"%s\" is no finite number that is not negative",
                    shown_name(node));
    is_listed[node.number - 1] = true;
    candidates.push_back({&node, price});
  }
  return tv_status_none;
}

}  // namespace tv

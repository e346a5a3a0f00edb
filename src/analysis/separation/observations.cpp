#include "analysis/separation/observations.h"

#include "inference/evidence/evidence.h"
#include "network/refusals.h"

namespace tv {

tv_status_t refuse_foreign_node() noexcept {
  return refuse(tv_status_usage, "a node belongs to another network");
}

namespace {

tv_status_t add_listed(const Domain& domain, Node* const* list, NodeMarks& set) {
  for (; list && *list; ++list) {
    const Node& node = **list;
    if (node.domain != &domain) return refuse_foreign_node();
    if (!is_discrete_or_continuous(node))
      return refuse(tv_status_usage, "nothing can be known of node \"%s\" but through others",
                    shown_name(node));
    set.add(node);
  }
  return tv_status_none;
}

// Of a node that may still be in several states something is known, but not the state.
void add_entered(const Domain& domain, Observations& observations) noexcept {
  for (const Node& node : domain.nodes) {
    if (!evidence_is_entered(node, node.entered)) continue;
    const bool is_open = is_discrete(node) && node.entered.state == kFindingVector;
    (is_open ? observations.likelihood : observations.known).add(node);
  }
}

}  // namespace

tv_status_t read_observations(const Domain& domain, Node* const* known, Node* const* likelihood,
                              Observations& observations) {
  if (!known && !likelihood) {
    add_entered(domain, observations);
    return tv_status_none;
  }
  if (tv_status_t status = add_listed(domain, known, observations.known)) return status;
  return add_listed(domain, likelihood, observations.likelihood);
}

void add_evidence_with_ancestors(const Domain& domain, const Observations& observations, NodeMarks& set) {
  add_with_ancestors(observations,
                     nodes_that(domain, [&](const Node& node) { return observations.has_evidence(node); }),
                     set);
}

void add_with_ancestors(const Observations& observations, const NodeList& nodes, NodeMarks& set) {
  std::vector<const Node*> open;
  const auto reach = [&](const Node& node) {
    if (set.add(node)) open.push_back(&node);
  };
  for (const Node* node : nodes) reach(*node);
  while (!open.empty()) {
    const Node& node = *open.back();
    open.pop_back();
    observations.each_parent(node, reach);
  }
}

}  // namespace tv

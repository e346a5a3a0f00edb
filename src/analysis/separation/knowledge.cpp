#include "analysis/separation/knowledge.h"

#include "inference/evidence/evidence.h"
#include "network/refusals.h"

namespace tv {

tv_status_t refuse_foreign_node() noexcept {
  return refuse(tv_status_usage, "a node belongs to another network");
}

namespace {

tv_status_t add_listed(const Domain& domain, Node* const* list, NodeSet& set) {
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
void add_entered(const Domain& domain, Knowledge& knowledge) noexcept {
  for (const Node& node : domain.nodes) {
    if (!evidence_is_entered(node, node.entered)) continue;
    const bool is_open = is_discrete(node) && node.entered.state == kFindingVector;
    (is_open ? knowledge.likelihood : knowledge.known).add(node);
  }
}

}  // namespace

tv_status_t read_knowledge(const Domain& domain, Node* const* known, Node* const* likelihood,
                           Knowledge& knowledge) {
  if (!known && !likelihood) {
    add_entered(domain, knowledge);
    return tv_status_none;
  }
  if (tv_status_t status = add_listed(domain, known, knowledge.known)) return status;
  return add_listed(domain, likelihood, knowledge.likelihood);
}

void add_evidence_with_ancestors(const Domain& domain, const Knowledge& knowledge, NodeSet& set) {
  add_with_ancestors(knowledge,
                     nodes_that(domain, [&](const Node& node) { return knowledge.has_evidence(node); }), set);
}

void add_with_ancestors(const Knowledge& knowledge, const NodeList& nodes, NodeSet& set) {
  std::vector<const Node*> open;
  const auto reach = [&](const Node& node) {
    if (set.add(node)) open.push_back(&node);
  };
  for (const Node* node : nodes) reach(*node);
  while (!open.empty()) {
    const Node& node = *open.back();
    open.pop_back();
    knowledge.each_parent(node, reach);
  }
}

}  // namespace tv

// A separator among the ancestors of the two sets and of the evidence separates them in the moral graph of
// these ancestors, and the other way round (Lauritzen, Dawid, Larsen & Leimer 1990). There, all candidates
// separate if any choice of them does. What one set cannot reach without passing another candidate can be
// spared, and of the rest again what the other set cannot (van der Zander & Liskiewicz 2020). The moral graph
// is never built: a family is walked through once, whichever member is met first.
#include "analysis/separation/minimal_separator.h"

namespace tv {
namespace {

class MoralWalk {
 public:
  MoralWalk(const Domain& domain, const Observations& observations, const NodeMarks& ancestors,
            const NodeMarks& blocked)
      : observations_(observations),
        ancestors_(ancestors),
        blocked_(blocked),
        reached_(domain),
        families_(domain) {}

  // Nodes that are blocked are reached, but not left.
  void start_from(const NodeList& nodes) {
    for (const Node* node : nodes) visit(*node);
    while (!open_.empty()) {
      const Node& node = *open_.back();
      open_.pop_back();
      visit_family(node);
      observations_.each_child(node, [&](const Node& child) {
        if (ancestors_.contains(child)) visit_family(child);
      });
    }
  }

  bool reaches(const Node& node) const noexcept { return reached_.contains(node); }

 private:
  void visit(const Node& node) {
    if (reached_.add(node) && !blocked_.contains(node)) open_.push_back(&node);
  }

  void visit_family(const Node& child) {
    if (!families_.add(child)) return;
    visit(child);
    observations_.each_parent(child, [&](const Node& parent) { visit(parent); });
  }

  const Observations& observations_;
  const NodeMarks &ancestors_, &blocked_;
  NodeMarks reached_, families_;
  std::vector<const Node*> open_;
};

// Without the candidates that the nodes reach through others alone. False where the nodes reach one of
// `goal`.
bool narrow(const Domain& domain, const Observations& observations, const NodeMarks& ancestors,
            const NodeList& nodes, const NodeList& goal, NodeList& candidates) {
  NodeMarks blocked = observations.known;
  for (const Node* node : candidates) blocked.add(*node);
  MoralWalk walk(domain, observations, ancestors, blocked);
  walk.start_from(nodes);
  for (const Node* node : goal)
    if (walk.reaches(*node)) return false;
  candidates = nodes_that(domain, [&](const Node& node) {
    return blocked.contains(node) && !observations.known.contains(node) && walk.reaches(node);
  });
  return true;
}

}  // namespace

bool find_minimal_separator(const Domain& domain, const Observations& observations, const NodeList& nodes1,
                            const NodeList& nodes2, const NodeMarks& candidates, NodeList& separator) {
  NodeMarks ancestors(domain), is_end(domain);
  add_with_ancestors(observations, nodes1, ancestors);
  add_with_ancestors(observations, nodes2, ancestors);
  add_evidence_with_ancestors(domain, observations, ancestors);
  for (const Node* node : nodes1) is_end.add(*node);
  for (const Node* node : nodes2) is_end.add(*node);
  separator = nodes_that(domain, [&](const Node& node) {
    return candidates.contains(node) && ancestors.contains(node) && !is_end.contains(node) &&
           !observations.known.contains(node);
  });
  return narrow(domain, observations, ancestors, nodes1, nodes2, separator) &&
         narrow(domain, observations, ancestors, nodes2, nodes1, separator);
}

}  // namespace tv

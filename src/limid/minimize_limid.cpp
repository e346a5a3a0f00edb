// The minimal reduction of a decision model. A decision is extremal when its own policy is all that still
// matters to the utilities below it, once its family is known: whatever the policies of the others are, its
// optimum is the same. Extremal decisions lose their nonrequisite parents and are then like chance nodes.

#include "limid/minimize_limid.h"

#include <algorithm>

#include "api/boundary.h"
#include "compile/junction_forest.h"
#include "limid/limid_graph.h"
#include "network/links/links.h"

namespace tv {
namespace {

using Vertex = LimidGraph::Vertex;
using Vertices = LimidGraph::Vertices;

Vertices without(Vertices vertices, const Vertices& excluded) {
  std::erase_if(vertices,
                [&](Vertex v) { return std::find(excluded.begin(), excluded.end(), v) != excluded.end(); });
  return vertices;
}

class Reduction {
 public:
  explicit Reduction(LimidGraph& graph, Vertices decisions)
      : graph_(graph), remaining_(std::move(decisions)) {}

  // The decisions in the order in which they became extremal; some may never do.
  Vertices minimize_limid() {
    Vertices order;
    for (;;) {
      for (size_t i = find_extremal_decision(); i < remaining_.size(); i = find_extremal_decision()) {
        const Vertex decision = remaining_[i];
        remove_nonrequisite_parents(decision);
        remaining_.erase(remaining_.begin() + static_cast<std::ptrdiff_t>(i));
        order.push_back(decision);
      }
      bool removed = false;
      for (Vertex decision : remaining_) removed |= remove_nonrequisite_parents(decision);
      if (!removed) break;
    }
    return order;
  }

 private:
  size_t find_extremal_decision() const {
    size_t i = 0;
    while (i < remaining_.size() && !is_extremal(remaining_[i])) ++i;
    return i;
  }

  bool is_extremal(Vertex decision) const {
    const Vertices utilities = graph_.utility_descendants(decision);
    if (utilities.empty()) return true;
    Vertices others;
    for (Vertex other : remaining_)
      if (other != decision)
        for (Vertex v : graph_.family(other)) others.push_back(v);
    const Vertices family = graph_.family(decision);
    return graph_._tv_limid_nodes_are_separated(utilities, without(std::move(others), family), family);
  }

  bool is_nonrequisite(Vertex parent, Vertex decision, const Vertices& utilities) const {
    return utilities.empty() || graph_._tv_limid_nodes_are_separated(
                                    utilities, {parent}, without(graph_.family(decision), {parent}));
  }

  bool remove_nonrequisite_parents(Vertex decision) {
    bool removed = false;
    const Vertices utilities = graph_.utility_descendants(decision);  // links from above do not change them
    for (Vertex parent : Vertices(graph_.parents(decision)))
      if (is_nonrequisite(parent, decision, utilities)) {
        graph_.remove_link(parent, decision);
        removed = true;
      }
    return removed;
  }

  LimidGraph& graph_;
  Vertices remaining_;  // by number
};

std::vector<Node*> nodes_by_number(Domain& domain) {
  std::vector<Node*> nodes(domain.node_count);
  for (Node& node : domain.nodes) nodes[node.number - 1] = &node;
  return nodes;
}

Vertices decisions_of(const std::vector<Node*>& nodes) {
  Vertices decisions;
  for (const Node* node : nodes)
    if (node->category == tv_category_decision) decisions.push_back(node->number - 1);
  return decisions;
}

// Lets every decision observe all of its ancestors that have states.
void observe_ancestors(LimidGraph& graph, const Vertices& decisions, const std::vector<Node*>& nodes) {
  for (Vertex decision : decisions)
    for (Vertex above : without(graph.ancestors(decision), graph.parents(decision)))
      if (is_discrete(*nodes[above])) graph.add_link(above, decision);
}

std::vector<NodeList> remaining_parents(const LimidGraph& graph, const Vertices& decisions,
                                        const std::vector<Node*>& nodes) {
  std::vector<NodeList> lists(nodes.size());
  for (Vertex decision : decisions)
    for (Vertex parent : graph.parents(decision)) lists[decision].push_back(nodes[parent]);
  return lists;
}

LimidAnalysis& analysis_of(Domain& domain) {
  if (!domain.limid) domain.limid = {new LimidAnalysis, [](LimidAnalysis* old) { delete old; }};
  return *domain.limid;
}

void compute_minimal_reduction1(Domain& domain, LimidAnalysis& analysis) {
  const std::vector<Node*> nodes = nodes_by_number(domain);
  const Vertices decisions = decisions_of(nodes);
  LimidGraph graph(domain);
  NodeList order;
  for (Vertex decision : Reduction(graph, decisions).minimize_limid()) order.push_back(nodes[decision]);
  const NodeList others = _tv_domain_create_decision_order(domain);
  for (size_t i = others.size(); i-- > 0;)
    if (!order.contains(others[i])) order.push_back(others[i]);
  analysis.requisite_parents = remaining_parents(graph, decisions, nodes);
  analysis.update_order = std::move(order);
  analysis.parents_are_known = true;
}

void compute_minimal_reduction2(Domain& domain, LimidAnalysis& analysis) {
  const std::vector<Node*> nodes = nodes_by_number(domain);
  const Vertices decisions = decisions_of(nodes);
  LimidGraph graph(domain);
  observe_ancestors(graph, decisions, nodes);
  Reduction(graph, decisions).minimize_limid();
  analysis.requisite_ancestors = remaining_parents(graph, decisions, nodes);
  analysis.ancestors_are_known = true;
}

bool is_decision_of_a_domain(const Node* node) noexcept {
  return node && node->category == tv_category_decision && !node->domain->is_class;
}

// The list that `analyse` finds for a decision; null after a failed check, whose status is stored.
template <class Analyse>
tv_node_t** list_of(Node* node, Analyse analyse, std::vector<NodeList> LimidAnalysis::*lists) {
  return guarded(static_cast<tv_node_t**>(nullptr), [&]() -> tv_node_t** {
    if (!check(is_decision_of_a_domain(node))) return nullptr;
    if (!require(_tv_function_nodes_satisfy_limid_constraints(*node->domain),
                 tv_status_functional_dependency))
      return nullptr;
    return (analyse(*node->domain).*lists)[node->number - 1].terminated();
  });
}

}  // namespace

const LimidAnalysis& analysis_of_parents(Domain& domain) {
  LimidAnalysis& analysis = analysis_of(domain);
  if (!analysis.parents_are_known) compute_minimal_reduction1(domain, analysis);
  return analysis;
}

const LimidAnalysis& analysis_of_ancestors(Domain& domain) {
  LimidAnalysis& analysis = analysis_of(domain);
  if (!analysis.ancestors_are_known) compute_minimal_reduction2(domain, analysis);
  return analysis;
}

}  // namespace tv

tv_node_t** tv_node_get_requisite_parents(tv_node_t* node) {
  return tv::list_of(node, tv::analysis_of_parents, &tv::LimidAnalysis::requisite_parents);
}

tv_node_t** tv_node_get_requisite_ancestors(tv_node_t* node) {
  return tv::list_of(node, tv::analysis_of_ancestors, &tv::LimidAnalysis::requisite_ancestors);
}

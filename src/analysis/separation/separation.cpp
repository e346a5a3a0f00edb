// Questions about separation, as hosts ask them.
#include "analysis/separation/active_trails.h"
#include "analysis/separation/minimal_separator.h"
#include "api/boundary.h"
#include "network/links/links.h"
#include "network/refusals.h"

namespace tv {
namespace {

tv_status_t check_directed(const Domain& domain) noexcept {
  if (domain.chain_potentials.empty()) return tv_status_none;
  return refuse(tv_status_usage, "the network has undirected links, for which d-separation is not defined");
}

// A network and what is known of it.
struct Question {
  explicit Question(Domain& network) : domain(network), observations(network) {}

  tv_status_t read(Node* const* known, Node* const* likelihood) {
    if (tv_status_t status = check_directed(domain)) return status;
    return read_observations(domain, known, likelihood, observations);
  }

  tv_status_t read_nodes(Node* const* list, NodeList& nodes) const {
    for (; *list; ++list) {
      if ((*list)->domain != &domain) return refuse_foreign_node();
      nodes.push_back(*list);
    }
    return tv_status_none;
  }

  // Without those that are known: nothing bears on them, and they bear on nothing.
  NodeList unknown(const NodeList& nodes) const {
    NodeList result;
    for (Node* node : nodes)
      if (!observations.known.contains(*node)) result.push_back(node);
    return result;
  }

  ActiveTrails trails_from(const NodeList& nodes) const {
    ActiveTrails trails(domain, observations);
    trails.follow_from(nodes);
    return trails;
  }

  Domain& domain;
  Observations observations;
};

// Answers with a list of nodes; `answer(question, nodes)` makes it.
template <class Answer>
Node** list_for_host(Domain* domain, Node* const* nodes, Node* const* known, Node* const* likelihood,
                     Answer answer) {
  return guarded(static_cast<Node**>(nullptr), [&]() -> Node** {
    if (!check(domain && nodes)) return nullptr;
    Question question(*domain);
    NodeList list;
    if (question.read(known, likelihood) || question.read_nodes(nodes, list)) return nullptr;
    return copy_for_host(answer(question, list));
  });
}

tv_status_t read_allowed(const Domain& domain, Node* const* allowed, NodeMarks& candidates) {
  for (const Node& node : domain.nodes)
    if (!allowed && is_discrete_or_continuous(node) && node.category != tv_category_decision)
      candidates.add(node);
  for (; allowed && *allowed; ++allowed) {
    const Node& node = **allowed;
    if (node.domain != &domain) return refuse_foreign_node();
    if (!is_discrete_or_continuous(node))
      return refuse(tv_status_usage, "node \"%s\" cannot be observed", shown_name(node));
    if (node.category == tv_category_decision)
      return refuse(tv_status_usage, "decision \"%s\" is made, not observed", shown_name(node));
    candidates.add(node);
  }
  return tv_status_none;
}

bool is_separated(const Question& question, const NodeList& nodes1, const NodeList& nodes2) {
  const ActiveTrails trails = question.trails_from(question.unknown(nodes1));
  for (const Node* node : nodes2)
    if (!question.observations.known.contains(*node) && trails.reach(*node)) return false;
  return true;
}

NodeList markov_blanket(const Node& node) {
  NodeMarks blanket(*node.domain);
  for (const Node* parent : node.parents) blanket.add(*parent);
  for (const Node* child : node.children) {
    if (child->category == tv_category_utility) continue;
    blanket.add(*child);
    for (const Node* parent : child->parents) blanket.add(*parent);
  }
  blanket.remove(node);
  return nodes_that(*node.domain, [&](const Node& other) { return blanket.contains(other); });
}

}  // namespace
}  // namespace tv

tv_node_t** tv_domain_get_d_connected_nodes(tv_domain_t* domain, tv_node_t* const* nodes,
                                            tv_node_t* const* known, tv_node_t* const* likelihood) {
  using namespace tv;
  return list_for_host(domain, nodes, known, likelihood, [](const Question& question, const NodeList& list) {
    const ActiveTrails trails = question.trails_from(question.unknown(list));
    NodeMarks is_given = question.observations.known;
    for (const Node* node : list) is_given.add(*node);
    return nodes_that(question.domain,
                      [&](const Node& node) { return trails.reach(node) && !is_given.contains(node); });
  });
}

int tv_domain_are_d_separated(tv_domain_t* domain, tv_node_t* const* nodes1, tv_node_t* const* nodes2,
                              tv_node_t* const* known, tv_node_t* const* likelihood) {
  return tv::guarded(-1, [&] {
    if (!tv::check(domain && nodes1 && nodes2)) return -1;
    tv::Question question(*domain);
    tv::NodeList list1, list2;
    if (question.read(known, likelihood) || question.read_nodes(nodes1, list1) ||
        question.read_nodes(nodes2, list2))
      return -1;
    return static_cast<int>(tv::is_separated(question, list1, list2));
  });
}

tv_node_t** tv_domain_get_minimal_separator(tv_domain_t* domain, tv_node_t* const* nodes1,
                                            tv_node_t* const* nodes2, tv_node_t* const* known,
                                            tv_node_t* const* likelihood, tv_node_t* const* allowed) {
  using namespace tv;
  return guarded(static_cast<Node**>(nullptr), [&]() -> Node** {
    if (!check(domain && nodes1 && nodes2)) return nullptr;
    Question question(*domain);
    NodeList list1, list2, separator;
    NodeMarks candidates(*domain);
    if (question.read(known, likelihood) || question.read_nodes(nodes1, list1) ||
        question.read_nodes(nodes2, list2) || read_allowed(*domain, allowed, candidates))
      return nullptr;
    const bool is_found = find_minimal_separator(*domain, question.observations, question.unknown(list1),
                                                 question.unknown(list2), candidates, separator);
    return is_found ? copy_for_host(separator) : nullptr;
  });
}

tv_node_t** tv_domain_get_requisite_nodes(tv_domain_t* domain, tv_node_t* const* targets,
                                          tv_node_t* const* known, tv_node_t* const* likelihood) {
  using namespace tv;
  return list_for_host(
      domain, targets, known, likelihood, [](const Question& question, const NodeList& list) {
        const ActiveTrails trails = question.trails_from(list);
        return nodes_that(question.domain, [&](const Node& node) { return trails.reach_parents_of(node); });
      });
}

tv_node_t** tv_domain_get_requisite_findings(tv_domain_t* domain, tv_node_t* const* targets,
                                             tv_node_t* const* known, tv_node_t* const* likelihood) {
  using namespace tv;
  return list_for_host(domain, targets, known, likelihood,
                       [](const Question& question, const NodeList& list) {
                         const ActiveTrails trails = question.trails_from(list);
                         return nodes_that(question.domain, [&](const Node& node) {
                           return question.observations.has_evidence(node) && trails.reach(node);
                         });
                       });
}

tv_node_t** tv_domain_get_barren_nodes(tv_domain_t* domain, tv_node_t* const* targets,
                                       tv_node_t* const* known, tv_node_t* const* likelihood) {
  using namespace tv;
  return list_for_host(
      domain, targets, known, likelihood, [](const Question& question, const NodeList& list) {
        NodeMarks kept(question.domain);
        add_with_ancestors(question.observations, list, kept);
        add_evidence_with_ancestors(question.domain, question.observations, kept);
        return nodes_that(question.domain, [&](const Node& node) { return !kept.contains(node); });
      });
}

tv_node_t** tv_node_get_markov_blanket(tv_node_t* node) {
  return tv::guarded(static_cast<tv_node_t**>(nullptr), [&]() -> tv_node_t** {
    if (!tv::check(node) || tv::check_directed(*node->domain)) return nullptr;
    return tv::copy_for_host(tv::markov_blanket(*node));
  });
}

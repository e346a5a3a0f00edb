// The order in which function nodes are evaluated, and where it has no solution.
//
// A link is *functional* when it leads into a function node or leaves a real-valued one: what passes
// along it is a number computed from the results at the parent's end, so the parent's side must be
// propagated first. All other links are *plain*: the nodes at their ends are propagated together, as
// one region. A *functional trail* walks plain links in both directions and functional ones from
// parent to child only. A closed functional trail with at least one functional link would need its own
// results before it can be propagated: no link may complete one. A new functional link does so when a
// trail leads from its child to its parent; a new plain link when a trail with a functional link joins
// its ends, in either direction.
//
// With decisions or utilities there is a stricter rule, because policies are optimised in a joint
// distribution that must not move with their own choice: no function node may stand on a directed path
// between two nodes that are not function nodes. (Functions of constants may be parents of anything,
// and functions of anything may be evaluated as results.) Functional links that break it are refused. A plain
// link, out of a discrete function node, can still be added to a function of results: such a network
// propagates, tree by tree, but policies are not updated in it.
#include "network/links/functional_trails.h"

#include "network/links/links.h"
#include "network/refusals.h"

namespace tv {
namespace {

bool is_function(const Node& node) noexcept { return node.category == tv_category_function; }

bool is_functional_link(const Node& parent, const Node& child) noexcept {
  return is_function(child) || is_real_valued_function(parent);
}

// A walker on trails; its mark has one bit per answer to "has a functional link been passed?".
class TrailSearch {
 public:
  explicit TrailSearch(DirectedLink absent) noexcept : absent_(absent) {}
  TrailSearch(const TrailSearch&) = delete;
  TrailSearch& operator=(const TrailSearch&) = delete;
  ~TrailSearch() {
    for (const Stop& stop : stops_) stop.node->mark = 0;
  }

  // Whether a trail leads from one node to the other; with a functional link on it if that is needed.
  bool leads(Node& from, const Node& to, bool functional_link_needed) {
    arrive(&from, !functional_link_needed);
    for (size_t i = 0; i < stops_.size(); ++i) {
      const Stop stop = stops_[i];
      if (stop.node == &to && stop.passed_functional) return true;
      follow_links(stop);
    }
    return false;
  }

 private:
  struct Stop {
    Node* node;
    bool passed_functional;
  };

  void follow_links(const Stop& stop) {
    for (Node* child : stop.node->children)
      if (!absent_.is(stop.node, child))
        arrive(child, stop.passed_functional || is_functional_link(*stop.node, *child));
    for (Node* parent : stop.node->parents)
      if (!absent_.is(parent, stop.node) && !is_functional_link(*parent, *stop.node))
        arrive(parent, stop.passed_functional);
    for (Node* neighbor : stop.node->neighbors) arrive(neighbor, stop.passed_functional);
  }

  void arrive(Node* node, bool passed_functional) {
    const int bit = passed_functional ? 2 : 1;
    if (node->mark & bit) return;
    stops_.push_back({node, passed_functional});
    node->mark |= bit;
  }

  DirectedLink absent_;
  std::vector<Stop> stops_;
};

bool trail_leads(Node& from, Node& to, bool functional_link_needed, DirectedLink absent) {
  return TrailSearch(absent).leads(from, to, functional_link_needed);
}

bool closes_functional_trail(Node& parent, Node& child, DirectedLink absent) {
  // A closed trail with a functional link leaves a function node somewhere.
  if (parent.domain->function_outlets == 0 && !is_function(parent)) return false;
  if (is_functional_link(parent, child)) return trail_leads(child, parent, false, absent);
  return trail_leads(child, parent, true, absent) || trail_leads(parent, child, true, absent);
}

// What the nodes on one side of a new link hold that matters to a dependency through function nodes.
struct SideOfLink {
  bool has_other_node = false;        // a node that is no function node
  bool function_meets_other = false;  // a function node linked to such a node further out
};

// The links of a text come in no particular order. There, plain links out of function nodes count as still to
// come, so that what some order of the links makes is read in every order.
bool is_still_to_come(const Node& from, const Node& to) noexcept {
  return from.domain->links_are_read && is_function(from) && !is_functional_link(from, to);
}

SideOfLink explore(Node& start, NodeList Node::*links, DirectedLink absent) {
  const bool upwards = links == &Node::parents;
  SideOfLink side;
  MarkedNodes reached;
  reached.reach(&start, 1);
  for (size_t i = 0; i < reached.size(); ++i) {
    Node* node = reached[i];
    if (!is_function(*node)) side.has_other_node = true;
    for (Node* next : node->*links) {
      if (absent.is(node, next) || absent.is(next, node)) continue;
      if (is_still_to_come(upwards ? *next : *node, upwards ? *node : *next)) continue;
      if (is_function(*node) && !is_function(*next)) side.function_meets_other = true;
      reached.reach(next, 1);
    }
  }
  return side;
}

bool carries_functional_dependency(Node& parent, Node& child, DirectedLink absent) {
  if (!is_functional_link(parent, child)) return false;
  const SideOfLink below = explore(child, &Node::children, absent);
  if (!below.has_other_node) return false;
  const SideOfLink above = explore(parent, &Node::parents, absent);
  return above.function_meets_other || (above.has_other_node && below.function_meets_other);
}

}  // namespace

tv_status_t check_functional_trails(Node& parent, Node& child, DirectedLink absent) {
  const NodeCounters& counters = parent.domain->counters;
  if (counters.function == 0 || counters.chance + counters.decision + counters.utility == 0)
    return tv_status_none;
  if (closes_functional_trail(parent, child, absent))
    return refuse(tv_status_cyclic_functional_dependency,
                  "with a link from \"%s\" to \"%s\" function nodes would depend on themselves",
                  shown_name(parent), shown_name(child));
  if (counters.decision + counters.utility > 0 && carries_functional_dependency(parent, child, absent))
    return refuse(tv_status_functional_dependency,
                  "with a link from \"%s\" to \"%s\" function nodes would stand between other nodes of a "
                  "decision model",
                  shown_name(parent), shown_name(child));
  return tv_status_none;
}

bool would_close_functional_trail(const NodeList& group) {
  if (group.empty() || group.front()->domain->function_outlets == 0) return false;
  for (Node* from : group)
    for (Node* to : group)
      if (from != to && trail_leads(*from, *to, true, {})) return true;
  return false;
}

bool _tv_function_nodes_satisfy_limid_constraints(const Domain& domain) {
  if (domain.function_outlets == 0) return true;
  MarkedNodes dependent;  // function nodes below some other node
  for (Node& node : domain.nodes) {
    if (!is_function(node)) continue;
    for (const Node* parent : node.parents)
      if (!is_function(*parent)) dependent.reach(&node, 1);
  }
  for (size_t i = 0; i < dependent.size(); ++i)
    for (Node* child : dependent[i]->children) {
      if (!is_function(*child)) return false;
      dependent.reach(child, 1);
    }
  return true;
}

}  // namespace tv

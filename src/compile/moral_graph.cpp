// Moralisation: links without their direction, and the parents of each common child married. Utility
// nodes and real-valued function nodes are no vertices, but a utility node marries its parents too.
#include "compile/moral_graph.h"

#include <algorithm>

#include "network/links/chain_graph.h"
#include "network/node_operations.h"

namespace tv {
namespace {

// A set of nodes that is emptied in no time.
class NodeMarks {
 public:
  explicit NodeMarks(size_t node_count) : marks_(node_count, 0) {}
  void clear() noexcept { ++current_; }
  bool contains(const Node& node) const noexcept { return marks_[node.number - 1] == current_; }
  bool insert(const Node& node) noexcept {  // whether it is new
    size_t& mark = marks_[node.number - 1];
    if (mark == current_) return false;
    mark = current_;
    return true;
  }

 private:
  std::vector<size_t> marks_;
  size_t current_ = 1;
};

using MoralLists = std::vector<NodeList>;  // by node number - 1

bool is_chance_or_decision(const Node& node) noexcept {
  return node.category == tv_category_chance || node.category == tv_category_decision;
}

void trace_pair(Trace& trace, const char* what, Node& a, Node& b) {
  if (!trace.enabled() || a.number > b.number) return;
  trace.print("    %s %s and %s\n", what, name_of(a), name_of(b));
}

void find_components(Forest& forest) {
  NodeMarks marks(forest.nodes.size());
  for (NodeList& members : find_chain_components(*forest.domain)) {
    marks.clear();
    ChainComponent component;
    for (const Node* member : members) {
      forest.nodes[member->number - 1].component = forest.components.size();
      for (Node* parent : member->parents)
        if (is_discrete_or_continuous(*parent) && marks.insert(*parent)) component.parents.push_back(parent);
    }
    component.members = std::move(members);
    forest.components.push_back(std::move(component));
  }
}

// All that must be together in one clique with a node whose child this is.
const NodeList& parents_to_marry(const Forest& forest, const Node& child) noexcept {
  const size_t component = forest.nodes[child.number - 1].component;
  return component == kNone ? child.parents : forest.components[component].parents;
}

void find_moral_neighbors(const Forest& forest, Node& node, NodeList& neighbors, NodeMarks& marks,
                          Trace& trace) {
  marks.clear();
  marks.insert(node);
  if (node.category != tv_category_function) {
    for (Node* parent : node.parents) {
      if (is_discrete_or_continuous(*parent) && marks.insert(*parent)) neighbors.push_back(parent);
    }
  }
  for (Node* child : node.children) {
    if (is_chance_or_decision(*child) && marks.insert(*child)) neighbors.push_back(child);
  }
  for (Node* neighbor : node.neighbors) {
    if (marks.insert(*neighbor)) neighbors.push_back(neighbor);
  }
  for (const Node* child : node.children) {
    if (!is_chance_or_decision(*child) && child->category != tv_category_utility) continue;
    for (Node* partner : parents_to_marry(forest, *child)) {
      if (!is_discrete_or_continuous(*partner) || !marks.insert(*partner)) continue;
      neighbors.push_back(partner);
      trace_pair(trace, "Marrying", node, *partner);
    }
  }
}

// The discrete neighbours of the continuous nodes that are connected with `start` through continuous
// nodes, in the order of a depth-first walk. `visited` keeps the continuous nodes of all walks.
NodeList discrete_boundary(const MoralLists& lists, Node& start, NodeMarks& visited, NodeMarks& collected) {
  struct Step {
    const NodeList* neighbors;
    size_t next;
  };
  const auto neighbors_of = [&](const Node& node) { return &lists[node.number - 1]; };
  NodeList boundary;
  collected.clear();
  visited.insert(start);
  std::vector<Step> path{{neighbors_of(start), 0}};
  while (!path.empty()) {
    Step& step = path.back();
    if (step.next == step.neighbors->size()) {
      path.pop_back();
      continue;
    }
    Node& neighbor = *(*step.neighbors)[step.next++];
    if (is_discrete(neighbor)) {
      if (collected.insert(neighbor)) boundary.push_back(&neighbor);
    } else if (visited.insert(neighbor)) {
      path.push_back({neighbors_of(neighbor), 0});
    }
  }
  return boundary;
}

void find_all_necessary_fill_ins(const Forest& forest, MoralLists& lists, Trace& trace) {
  trace.text("\n\nNecessary fill-ins:\n\n");
  NodeMarks visited(forest.nodes.size()), marks(forest.nodes.size());
  for (Node& node : forest.domain->nodes) {
    if (!is_continuous(node) || visited.contains(node)) continue;
    const NodeList boundary = discrete_boundary(lists, node, visited, marks);
    for (Node* first : boundary) {
      NodeList& neighbors = lists[first->number - 1];
      marks.clear();
      marks.insert(*first);
      for (const Node* neighbor : neighbors) marks.insert(*neighbor);
      for (Node* second : boundary) {
        if (!marks.insert(*second)) continue;
        neighbors.push_back(second);
        trace_pair(trace, "Creating necessary fill-in between", *first, *second);
      }
    }
  }
}

// One list behind the other, a null behind each.
void keep_lists(Forest& forest, const MoralLists& lists) {
  size_t total = 0;
  for (const NodeList& list : lists) total += list.size() + 1;
  forest.moral_neighbors.assign(total, nullptr);
  Node** next = forest.moral_neighbors.data();
  for (size_t i = 0; i < lists.size(); ++i) {
    forest.nodes[i].moral_neighbors = next;
    next = std::copy(lists[i].begin(), lists[i].end(), next) + 1;
  }
}

}  // namespace

void _tv_domain_moralize(Forest& forest, Trace& trace) {
  trace.text("\n\nMoral links:\n\n");
  find_components(forest);
  NodeMarks marks(forest.nodes.size());
  MoralLists lists(forest.nodes.size());
  for (Node& node : forest.domain->nodes) {
    if (!is_discrete_or_continuous(node)) continue;
    NodePlacement& record = forest.nodes[node.number - 1];
    record.participates = true;
    ++forest.participants;
    find_moral_neighbors(forest, node, lists[node.number - 1], marks, trace);
  }
  const NodeCounters& counters = forest.domain->counters;
  if (counters.discrete > 0 && counters.continuous > 0) find_all_necessary_fill_ins(forest, lists, trace);
  keep_lists(forest, lists);
}

}  // namespace tv

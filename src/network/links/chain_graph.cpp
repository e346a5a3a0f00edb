// Chain potentials in the network: finding components, keeping the graph free of cycles with a directed
// link on them, and letting a node go.
#include "network/links/chain_graph.h"

#include <algorithm>
#include <utility>

#include "network/links/functional_trails.h"
#include "network/links/graph_search.h"
#include "network/node_tables.h"
#include "tables/table_operations.h"

namespace tv {
namespace {

// Adds everything that undirected links reach from the nodes marked so far.
void reach_components(MarkedNodes& reached, int mark) {
  for (size_t i = 0; i < reached.size(); ++i)
    for (Node* neighbor : reached[i]->neighbors) reached.reach(neighbor, mark);
}

// Once the children are joined, their components are one: a path that leaves it must not come back.
bool would_close_chain_cycle(const NodeList& children) {
  constexpr int kInside = 1, kBelow = 2;
  MarkedNodes inside;
  for (Node* child : children) inside.reach(child, kInside);
  reach_components(inside, kInside);
  MarkedNodes below;
  for (Node* member : inside)
    for (Node* child : member->children) {
      if (child->mark == kInside) return true;
      below.reach(child, kBelow);
    }
  for (size_t i = 0; i < below.size(); ++i)
    for (const NodeList* links : {&below[i]->children, &below[i]->neighbors})
      for (Node* next : *links) {
        if (next->mark == kInside) return true;
        below.reach(next, kBelow);
      }
  return false;
}

bool is_in(const ChainPotential& potential, const Node& node) noexcept {
  return potential.table->nodes.contains(&node);
}

void join(std::vector<NodeList>& neighbors, const NodeList& children) {
  for (const Node* a : children)
    for (Node* b : children)
      if (a != b && !neighbors[a->number - 1].contains(b)) neighbors[a->number - 1].push_back(b);
}

}  // namespace

std::vector<NodeList> find_chain_components(const Domain& domain) {
  std::vector<NodeList> components;
  if (domain.chain_potentials.empty()) return components;
  std::vector<size_t> component_of(domain.node_count, kNone);
  for (Node& node : domain.nodes) {
    if (!in_chain_component(node)) continue;
    if (component_of[node.number - 1] == kNone) {
      MarkedNodes reached;
      reached.reach(&node, 1);
      reach_components(reached, 1);
      for (const Node* member : reached) component_of[member->number - 1] = components.size();
      components.emplace_back();
    }
    components[component_of[node.number - 1]].push_back(&node);
  }
  return components;
}

tv_status_t check_chain_potential(const NodeList& children) {
  if (would_close_chain_cycle(children)) return store_status(tv_status_cyclic_network);
  if (would_close_functional_trail(children)) return store_status(tv_status_cyclic_functional_dependency);
  return tv_status_none;
}

void add_chain_potential(Domain& domain, const NodeList& children, std::unique_ptr<Table> table) {
  table->kind = TableKind::chain;
  ChainPotential potential{children, std::move(table)};
  std::vector<NodeList> neighbors;
  for (const Node* child : children) {
    neighbors.push_back(child->neighbors);
    for (Node* other : children)
      if (other != child && !neighbors.back().contains(other)) neighbors.back().push_back(other);
  }
  domain.chain_potentials.push_back(std::move(potential));
  for (size_t i = 0; i < children.size(); ++i) std::swap(children[i]->neighbors, neighbors[i]);
  structure_changed(domain);
}

bool chain_path_leads(Node& from, const Node& to) {
  MarkedNodes reached;
  reached.reach(&from, 1);
  for (size_t i = 0; i < reached.size(); ++i) {
    if (reached[i] == &to) return true;
    for (const NodeList* links : {&reached[i]->children, &reached[i]->neighbors})
      for (Node* next : *links) reached.reach(next, 1);
  }
  return false;
}

bool link_is_shared(const Node& parent, const Node& child) noexcept {
  const std::vector<ChainPotential>& potentials = child.domain->chain_potentials;
  return std::any_of(potentials.begin(), potentials.end(), [&](const ChainPotential& potential) {
    return potential.children.contains(&child) && is_in(potential, parent);
  });
}

ChainDeparture::ChainDeparture(Node& node) : node_(node) {
  const Domain& domain = *node.domain;
  if (std::none_of(domain.chain_potentials.begin(), domain.chain_potentials.end(),
                   [&](const ChainPotential& potential) { return is_in(potential, node); }))
    return;
  neighbors_.resize(domain.node_count);
  remaining_.reserve(domain.chain_potentials.size());
  for (const ChainPotential& potential : domain.chain_potentials) {
    NodeList children = potential.children;
    children.erase(&node);
    if (children.size() < 2) continue;
    join(neighbors_, children);
    std::unique_ptr<Table> table;  // null: the table stays what it is
    if (is_in(potential, node)) table = table_without_parent(*potential.table, &node);
    remaining_.push_back({std::move(children), std::move(table)});
  }
}

void ChainDeparture::commit() noexcept {
  if (neighbors_.empty()) return;
  Domain& domain = *node_.domain;
  size_t next = 0;
  for (ChainPotential& potential : domain.chain_potentials) {
    potential.children.erase(&node_);
    if (potential.children.size() < 2) continue;
    if (!remaining_[next].table) remaining_[next].table = std::move(potential.table);
    ++next;
  }
  domain.chain_potentials.swap(remaining_);
  for (Node& node : domain.nodes) std::swap(node.neighbors, neighbors_[node.number - 1]);
}

}  // namespace tv

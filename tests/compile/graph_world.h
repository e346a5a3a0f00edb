// Random networks and plain graphs for the tests of compilation. Graphs are adjacency matrices, and every
// question about them is answered in the most obvious way.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "compile/forest.h"
#include "tarvo.h"

namespace world {

struct DeleteDomain {
  void operator()(tv_domain_t* domain) const { tv_domain_delete(domain); }
};
using DomainOwner = std::unique_ptr<tv_domain_t, DeleteDomain>;

inline tv_node_t* add_node(tv_domain_t* domain, const std::string& name, size_t states,
                           std::initializer_list<tv_node_t*> parents = {},
                           tv_node_category_t category = tv_category_chance) {
  tv_node_t* node = tv_domain_new_node(domain, category, states ? tv_kind_discrete : tv_kind_continuous);
  tv_node_set_name(node, name.c_str());
  if (states && category != tv_category_utility) tv_node_set_number_of_states(node, states);
  for (tv_node_t* parent : parents) tv_node_add_parent(node, parent);
  return node;
}

// The nodes of a network without utility and function nodes, in the domain's order; vertex i of the graphs.
inline std::vector<tv_node_t*> vertices(const tv_domain_t* domain) {
  std::vector<tv_node_t*> nodes;
  for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node)) {
    if (tv_node_get_kind(node) != tv_kind_other) nodes.push_back(node);
  }
  return nodes;
}

struct Shape {
  size_t nodes = 10;
  double links = 0.3;       // chance of a link to an earlier node
  double continuous = 0.0;  // share of continuous nodes
  size_t max_states = 4;
};

inline DomainOwner random_network(std::mt19937& random, const Shape& shape) {
  const auto chance = [&](double p) { return std::uniform_real_distribution<>(0, 1)(random) < p; };
  DomainOwner domain(tv_new_domain());
  std::vector<tv_node_t*> nodes;
  for (size_t i = 0; i < shape.nodes; ++i) {
    const size_t states = chance(shape.continuous) ? 0 : 1 + random() % shape.max_states;
    tv_node_t* node = add_node(domain.get(), "N" + std::to_string(i), states);
    for (tv_node_t* earlier : nodes) {
      const bool allowed = states == 0 || tv_node_get_kind(earlier) == tv_kind_discrete;
      if (allowed && chance(shape.links)) tv_node_add_parent(node, earlier);
    }
    nodes.push_back(node);
  }
  return domain;
}

using Matrix = std::vector<std::vector<bool>>;
using Set = std::vector<size_t>;  // ascending

inline Matrix no_links(size_t count) { return Matrix(count, std::vector<bool>(count, false)); }

inline void join(Matrix& graph, size_t a, size_t b) {
  if (a != b) graph[a][b] = graph[b][a] = true;
}

inline bool is_complete(const Matrix& graph, const Set& set) {
  for (size_t a : set)
    for (size_t b : set)
      if (a != b && !graph[a][b]) return false;
  return true;
}

inline Set common_neighbors(const Matrix& graph, size_t a, size_t b) {
  Set common;
  for (size_t v = 0; v < graph.size(); ++v)
    if (graph[a][v] && graph[b][v]) common.push_back(v);
  return common;
}

// Eliminates simplicial vertices as long as there are any.
inline bool is_chordal(Matrix graph) {
  std::vector<bool> gone(graph.size(), false);
  for (size_t round = 0; round < graph.size(); ++round) {
    bool found = false;
    for (size_t v = 0; v < graph.size() && !found; ++v) {
      if (gone[v] || !is_complete(graph, common_neighbors(graph, v, v))) continue;
      found = gone[v] = true;
      for (size_t u = 0; u < graph.size(); ++u) graph[u][v] = graph[v][u] = false;
    }
    if (!found) return false;
  }
  return true;
}

inline size_t index_of(const std::vector<tv_node_t*>& nodes, const tv_node_t* node) {
  return static_cast<size_t>(std::find(nodes.begin(), nodes.end(), node) - nodes.begin());
}

inline Set set_of(const std::vector<tv_node_t*>& nodes, tv_node_t* const* list) {
  Set set;
  for (; *list; ++list) set.push_back(index_of(nodes, *list));
  std::sort(set.begin(), set.end());
  return set;
}

// Links without direction, parents married, and the boundaries of continuous regions made complete.
inline Matrix moral_graph(const tv_domain_t* domain) {
  const std::vector<tv_node_t*> nodes = vertices(domain);
  Matrix graph = no_links(nodes.size());
  for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node)) {
    Set family = set_of(nodes, tv_node_get_parents(node));
    if (index_of(nodes, node) < nodes.size()) family.push_back(index_of(nodes, node));
    for (size_t a : family)
      for (size_t b : family) join(graph, a, b);
  }
  const auto continuous = [&](size_t v) { return tv_node_get_kind(nodes[v]) == tv_kind_continuous; };
  const size_t count = nodes.size();
  Matrix connected = graph;  // by a path whose inner nodes are all continuous
  for (size_t middle = 0; middle < count; ++middle)
    for (size_t a = 0; a < count; ++a)
      for (size_t b = 0; b < count; ++b)
        if (continuous(middle) && connected[a][middle] && connected[middle][b]) join(connected, a, b);
  for (size_t a = 0; a < count; ++a)
    for (size_t b = 0; b < count; ++b)
      if (!continuous(a) && !continuous(b) && connected[a][b]) join(graph, a, b);
  return graph;
}

inline std::vector<Set> clique_sets(const tv_domain_t* domain) {
  const std::vector<tv_node_t*> nodes = vertices(domain);
  std::vector<Set> sets;
  for (tv_clique_t* clique = tv_domain_get_first_clique(domain); clique;
       clique = tv_clique_get_next(clique)) {
    sets.push_back(set_of(nodes, tv_clique_get_members(clique)));
  }
  return sets;
}

inline Matrix filled_graph(size_t count, const std::vector<Set>& cliques) {
  Matrix graph = no_links(count);
  for (const Set& clique : cliques)
    for (size_t a : clique)
      for (size_t b : clique) join(graph, a, b);
  return graph;
}

// The maximal cliques of a chordal graph: each is a simplicial vertex with its neighbours when it is
// eliminated.
inline std::set<Set> maximal_cliques(Matrix graph) {
  std::set<Set> found;
  std::vector<bool> gone(graph.size(), false);
  for (size_t left = graph.size(); left > 0; --left) {
    for (size_t v = 0; v < graph.size(); ++v) {
      Set clique = common_neighbors(graph, v, v);
      if (gone[v] || !is_complete(graph, clique)) continue;
      clique.insert(std::lower_bound(clique.begin(), clique.end(), v), v);
      const bool is_covered = std::any_of(found.begin(), found.end(), [&](const Set& other) {
        return std::includes(other.begin(), other.end(), clique.begin(), clique.end());
      });
      if (!is_covered) found.insert(clique);
      gone[v] = true;
      for (size_t u = 0; u < graph.size(); ++u) graph[u][v] = graph[v][u] = false;
      break;
    }
  }
  return found;
}

}  // namespace world

// Small graphs, all of them or at random, and what is asked of them by plain definitions: paths one by one,
// and equivalent graphs by their links and colliders.
#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "learn/structure/graph/structure.h"
#include "support/builders.h"

namespace test {

using tv::Knowledge;
using tv::PartialGraph;
using Visit = std::function<void(const PartialGraph&)>;

// Every graph over so many nodes in which each pair has one of the given kinds of links.
inline void for_each_graph(size_t size, const std::vector<tv_structure_link_t>& kinds, const Visit& visit) {
  const size_t pairs = size * (size - 1) / 2;
  std::vector<size_t> choice(pairs);
  for (;;) {
    PartialGraph graph(size);
    for (size_t a = 0; a < size; ++a)
      for (size_t b = a + 1; b < size; ++b) {
        const tv_structure_link_t link = kinds[choice[tv::PairFindings::place(a, b)]];
        if (link == tv_structure_link_directed) graph.direct(a, b);
        if (link == tv_structure_link_reversed) graph.direct(b, a);
        if (link == tv_structure_link_undirected) graph.join(a, b);
      }
    visit(graph);
    size_t place = 0;
    while (place < pairs && ++choice[place] == kinds.size()) choice[place++] = 0;
    if (place == pairs) return;
  }
}

inline bool has_cycle(const PartialGraph& graph) {
  const std::function<bool(size_t, size_t, size_t)> leads = [&](size_t from, size_t to, size_t steps) {
    for (size_t next = 0; next < graph.size(); ++next)
      if (graph.is_directed(from, next) && (next == to || (steps > 1 && leads(next, to, steps - 1))))
        return true;
    return false;
  };
  for (size_t v = 0; v < graph.size(); ++v)
    if (leads(v, v, graph.size())) return true;
  return false;
}

inline std::vector<PartialGraph> all_dags(size_t size) {
  std::vector<PartialGraph> dags;
  for_each_graph(size, {tv_structure_link_none, tv_structure_link_directed, tv_structure_link_reversed},
                 [&](const PartialGraph& graph) {
                   if (!has_cycle(graph)) dags.push_back(graph);
                 });
  return dags;
}

// Pairs with a link, and pairs of nodes without one whose directed links meet.
inline std::string links_and_colliders(const PartialGraph& graph) {
  std::string text;
  for (size_t a = 0; a < graph.size(); ++a)
    for (size_t b = a + 1; b < graph.size(); ++b) {
      text += graph.are_adjacent(a, b) ? '-' : '.';
      for (size_t c = 0; c < graph.size() && !graph.are_adjacent(a, b); ++c)
        if (graph.is_directed(a, c) && graph.is_directed(b, c)) text += std::to_string(c) + ",";
    }
  return text;
}

// Whether the directed links of the one are also those of the other, which has as many links.
inline bool keeps_directions(const PartialGraph& graph, const PartialGraph& other) {
  for (size_t a = 0; a < graph.size(); ++a)
    for (size_t b = 0; b < graph.size(); ++b)
      if (graph.are_adjacent(a, b) != other.are_adjacent(a, b) ||
          (graph.is_directed(a, b) && !other.is_directed(a, b)))
        return false;
  return true;
}

inline bool agrees(const PartialGraph& graph, const Knowledge& knowledge) {
  for (size_t a = 0; a < graph.size(); ++a)
    for (size_t b = 0; b < graph.size(); ++b)
      if (knowledge.size() > 0 && graph.is_directed(a, b) && !knowledge.allows(a, b)) return false;
  return true;
}

inline Knowledge random_knowledge(Generator& random, size_t size, double forbidden) {
  Knowledge knowledge(size);
  for (size_t a = 0; a < size; ++a)
    for (size_t b = 0; b < size; ++b)
      if (a != b && random.chance(forbidden)) knowledge.forbid(a, b);
  return knowledge;
}

// Links from one node to another one that comes later in a random order.
inline PartialGraph random_dag(Generator& random, size_t size, double link_chance) {
  std::vector<size_t> order(size);
  for (size_t i = 0; i < size; ++i) {
    order[i] = i;
    std::swap(order[i], order[random.below(i + 1)]);
  }
  PartialGraph graph(size);
  for (size_t i = 0; i < size; ++i)
    for (size_t j = i + 1; j < size; ++j)
      if (random.chance(link_chance)) graph.direct(order[i], order[j]);
  return graph;
}

inline std::string shown(const PartialGraph& graph) {
  std::string text;
  for (size_t a = 0; a < graph.size(); ++a)
    for (size_t b = 0; b < graph.size(); ++b)
      if (graph.is_directed(a, b) || (a < b && graph.is_undirected(a, b)))
        text += std::to_string(a) + (graph.is_directed(a, b) ? "->" : "-") + std::to_string(b) + " ";
  return text;
}

// Which nodes directed links lead to, the node itself among them.
inline std::vector<bool> descendants(const PartialGraph& dag, size_t from) {
  std::vector<bool> found(dag.size());
  const std::function<void(size_t)> go = [&](size_t v) {
    found[v] = true;
    for (size_t next = 0; next < dag.size(); ++next)
      if (dag.is_directed(v, next) && !found[next]) go(next);
  };
  go(from);
  return found;
}

// Every path between two nodes that comes by no node twice.
inline void for_each_path(const PartialGraph& dag, size_t from, size_t to,
                          const std::function<void(const std::vector<size_t>&)>& visit) {
  std::vector<size_t> path{from};
  const std::function<void()> go = [&] {
    const size_t last = path.back();
    if (last == to) return visit(path);
    for (size_t next = 0; next < dag.size(); ++next) {
      if (!dag.are_adjacent(last, next) || std::find(path.begin(), path.end(), next) != path.end()) continue;
      path.push_back(next);
      go();
      path.pop_back();
    }
  };
  go();
}

inline bool is_directed_path(const PartialGraph& dag, const std::vector<size_t>& path) {
  for (size_t i = 1; i < path.size(); ++i)
    if (!dag.is_directed(path[i - 1], path[i])) return false;
  return true;
}

inline bool is_blocked(const PartialGraph& dag, const std::vector<size_t>& path,
                       const std::vector<bool>& given) {
  for (size_t i = 1; i + 1 < path.size(); ++i) {
    const bool is_collider = dag.is_directed(path[i - 1], path[i]) && dag.is_directed(path[i + 1], path[i]);
    if (!is_collider && given[path[i]]) return true;
    bool is_open = !is_collider;
    const std::vector<bool> below = descendants(dag, path[i]);
    for (size_t v = 0; v < dag.size(); ++v) is_open |= below[v] && given[v];
    if (!is_open) return true;
  }
  return false;
}

}  // namespace test

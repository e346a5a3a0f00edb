// A prime component, or a part of one, as rows of bits.
#pragma once

#include "compile/total_weight/vertex_bits.h"
#include "network/node_operations.h"

namespace tv {

template <size_t W>
class BitGraph {
 public:
  using Set = VertexBits<W>;

  explicit BitGraph(size_t vertex_count)
      : all_(vertex_count), continuous_(vertex_count), states_(vertex_count, 1.0) {
    rows_.assign(vertex_count, Set(vertex_count));
    for (Vertex v = 0; v < vertex_count; ++v) all_.insert(v);
  }

  size_t size() const noexcept { return rows_.size(); }
  const Set& all() const noexcept { return all_; }
  const Set& neighbors(Vertex v) const noexcept { return rows_[v]; }
  Set none() const { return Set(size()); }

  void set_weight(Vertex v, double states, bool is_continuous) noexcept {
    states_[v] = states;
    if (is_continuous) continuous_.insert(v);
  }
  bool is_continuous(Vertex v) const noexcept { return continuous_.has(v); }
  void add_link(Vertex a, Vertex b) noexcept {
    rows_[a].insert(b);
    rows_[b].insert(a);
  }
  void complete(const Set& set) noexcept {
    set.for_each([&](Vertex v) {
      rows_[v] |= set;
      rows_[v].erase(v);
    });
  }
  // The links within the set, and its vertices, are all that is left.
  void restrict_to(const Set& set) noexcept {
    all_ = set;
    continuous_ &= set;
    for (Set& row : rows_) row &= set;
  }

  bool is_complete(const Set& set) const {
    bool complete = true;
    set.for_each([&](Vertex v) {
      Set closed = rows_[v];
      closed.insert(v);
      complete = complete && closed.contains(set);
    });
    return complete;
  }
  Set neighborhood(const Set& set) const {
    Set result = none();
    set.for_each([&](Vertex v) { result |= rows_[v]; });
    return result -= set;
  }

  double weight(const Set& set) const {
    double weight = 1.0;
    set.for_each([&](Vertex v) { weight *= states_[v]; });
    return weight * continuous_factor((set & continuous_).count());
  }
  double states(Vertex v) const noexcept { return states_[v]; }
  // A clique with one more member than a separator of weight w weighs at least so many times w; 1 where there
  // are continuous vertices.
  double least_factor() const noexcept {
    double least = 0.0;
    all_.for_each([&](Vertex v) { least = least == 0.0 ? states_[v] : std::min(least, states_[v]); });
    return least;
  }

  // The connected components of the graph that `allowed` induces, each with its neighbours outside.
  template <class Visit>
  void for_each_component(Set allowed, Visit visit) const {
    while (!allowed.empty()) {
      Set component = none(), near = none(), frontier = none();
      frontier.insert(allowed.first());
      while (!frontier.empty()) {
        component |= frontier;
        Set next = none();
        frontier.for_each([&](Vertex v) { next |= rows_[v]; });
        near |= next;
        frontier = next & allowed;
        frontier -= component;
      }
      allowed -= component;
      near -= component;
      visit(component, near);
    }
  }

 private:
  Set all_, continuous_;
  std::vector<double> states_;
  std::vector<Set> rows_;
};

template <size_t W>
BitGraph<W> bit_graph_of(const VertexGraph& graph) {
  BitGraph<W> result(graph.size());
  for (Vertex v = 0; v < graph.size(); ++v) {
    const Node& node = *graph.nodes[v];
    result.set_weight(v, state_count(node), is_continuous(node));
    for (const Vertex u : graph.neighbors(v)) result.add_link(v, u);
  }
  return result;
}

}  // namespace tv

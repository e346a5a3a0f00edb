#include "inference/elimination/elimination_order.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <span>

namespace tv {
namespace {

constexpr uint32_t kNoVertex = static_cast<uint32_t>(-1);
constexpr double kLargestClique = 1e18;  // no schedule would have enough memory for a larger one
constexpr double kHopeless = std::numeric_limits<double>::max();

// Adjacency lists from which eliminated vertices are removed once they outnumber the others.
class ShrinkingGraph {
 public:
  explicit ShrinkingGraph(const ReducedGraph& graph)
      : starts_(graph.starts),
        neighbors_(graph.neighbors),
        lengths_(graph.size()),
        gone_(graph.size(), false) {
    for (size_t v = 0; v < graph.size(); ++v) lengths_[v] = starts_[v + 1] - starts_[v];
    degrees_ = lengths_;
  }

  bool is_gone(uint32_t v) const noexcept { return gone_[v]; }
  size_t degree(uint32_t v) const noexcept { return degrees_[v]; }

  // Without eliminated vertices, until the next one is removed.
  std::span<const uint32_t> neighbors(uint32_t v) noexcept {
    if (lengths_[v] > degrees_[v]) request(v);
    return {neighbors_.data() + starts_[v], lengths_[v]};
  }

  // Whether all neighbours are adjacent to each other, so that eliminating the vertex adds no fill-in.
  bool is_simplicial(uint32_t v) noexcept {
    const std::span<const uint32_t> list = neighbors(v);
    for (size_t a = 0; a < list.size(); ++a)
      for (size_t b = a + 1; b < list.size(); ++b)
        if (!are_adjacent(list[a], list[b])) return false;
    return true;
  }

  void remove(uint32_t v) noexcept {
    gone_[v] = true;
    for (const uint32_t u : neighbors(v))
      if (lengths_[u] > 2 * --degrees_[u] + 8) request(u);
  }

 private:
  void request(uint32_t v) noexcept {
    uint32_t* list = neighbors_.data() + starts_[v];
    const uint32_t* end = std::remove_if(list, list + lengths_[v], [this](uint32_t u) { return gone_[u]; });
    lengths_[v] = static_cast<uint32_t>(end - list);
  }

  bool are_adjacent(uint32_t a, uint32_t b) const noexcept {
    if (lengths_[a] > lengths_[b]) std::swap(a, b);
    const uint32_t* list = neighbors_.data() + starts_[a];
    return std::find(list, list + lengths_[a], b) != list + lengths_[a];
  }

  const std::vector<uint32_t>& starts_;
  std::vector<uint32_t> neighbors_;
  std::vector<uint32_t> lengths_;  // of the lists
  std::vector<uint32_t> degrees_;  // of these, how many are left
  std::vector<bool> gone_;
};

// Eliminates simplicial vertices until there is none left. Vertices of very high degree are not tested before
// it has fallen.
void eliminate_simplicial(ShrinkingGraph& graph, size_t size, std::vector<uint32_t>& order) {
  std::vector<uint32_t> candidates;
  std::vector<bool> waits(size, false);
  const auto add = [&](uint32_t v) {
    if (waits[v] || graph.degree(v) > limits.core_neighbors) return;
    waits[v] = true;
    candidates.push_back(v);
  };
  for (uint32_t v = static_cast<uint32_t>(size); v-- > 0;) add(v);
  while (!candidates.empty()) {
    const uint32_t v = candidates.back();
    candidates.pop_back();
    waits[v] = false;
    if (graph.is_gone(v) || !graph.is_simplicial(v)) continue;
    order.push_back(v);
    graph.remove(v);
    for (const uint32_t u : graph.neighbors(v)) add(u);
  }
}

// The rest of the graph, as a matrix of bits. An eliminated vertex has an infinite score.
class Core {
 public:
  Core(const ReducedGraph& graph, ShrinkingGraph& rest, std::vector<uint32_t> vertices)
      : vertices_(std::move(vertices)),
        words_((vertices_.size() + 63) / 64),
        rows_(vertices_.size() * words_, 0),
        weights_(vertices_.size()),
        scores_(vertices_.size()),
        clique_weights_(vertices_.size()),
        changed_(words_, 0) {
    std::vector<uint32_t> index(graph.size(), kNoVertex);
    for (uint32_t i = 0; i < vertices_.size(); ++i) index[vertices_[i]] = i;
    for (uint32_t i = 0; i < vertices_.size(); ++i) {
      weights_[i] = graph.weight(vertices_[i]);
      for (const uint32_t u : rest.neighbors(vertices_[i])) set(row(i), index[u]);
    }
    for (uint32_t i = 0; i < vertices_.size(); ++i) rate(i);
  }

  void eliminate_all(std::vector<uint32_t>& order) {
    for (size_t left = vertices_.size(); left > 0; --left) {
      const uint32_t v = best();
      order.push_back(vertices_[v]);
      eliminate(v);
    }
  }

 private:
  uint64_t* row(uint32_t v) noexcept { return rows_.data() + v * words_; }
  static void set(uint64_t* bits, uint32_t v) noexcept { bits[v / 64] |= uint64_t{1} << (v % 64); }
  static void clear(uint64_t* bits, uint32_t v) noexcept { bits[v / 64] &= ~(uint64_t{1} << (v % 64)); }

  template <class Visit>
  static void for_each_bit(uint64_t word, size_t index, Visit visit) {
    for (; word; word &= word - 1)
      visit(static_cast<uint32_t>(index * 64 + static_cast<size_t>(std::countr_zero(word))));
  }
  template <class Visit>
  void for_each(const uint64_t* bits, Visit visit) const {
    for (size_t w = 0; w < words_; ++w) for_each_bit(bits[w], w, visit);
  }

  // A simplicial vertex, if there are any, or the one with the least score.
  uint32_t best() {
    while (!simplicial_.empty()) {
      const uint32_t v = simplicial_.back();
      simplicial_.pop_back();
      if (scores_[v] == 0.0) return v;
    }
    size_t least = 0;
    for (size_t v = 1; v < scores_.size(); ++v) {
      if (scores_[v] > scores_[least]) continue;
      if (scores_[v] < scores_[least] || clique_weights_[v] < clique_weights_[least]) least = v;
    }
    return static_cast<uint32_t>(least);
  }

  void rate(uint32_t v) {
    const uint64_t* near = row(v);
    double score = 0.0, clique = weights_[v];
    for_each(near, [&](uint32_t u) { clique *= weights_[u]; });
    clique_weights_[v] = clique;
    scores_[v] = kHopeless;
    if (clique > kLargestClique)
      return;  // of high degree: counting its missing links again and again would take long
    for_each(near, [&](uint32_t u) {
      const uint64_t* linked = row(u);
      for (size_t w = u / 64; w < words_; ++w) {
        uint64_t missing = near[w] & ~linked[w];
        if (w == u / 64) missing &= ~((uint64_t{2} << (u % 64)) - 1);  // pairs are counted once
        for_each_bit(missing, w, [&](uint32_t other) { score += weights_[u] * weights_[other]; });
      }
    });
    scores_[v] = score;
    if (score == 0.0) simplicial_.push_back(v);
  }

  void eliminate(uint32_t v) {
    const uint64_t* near = row(v);
    std::copy_n(near, words_, changed_.begin());
    const bool fills = scores_[v] > 0.0;
    for_each(near, [&](uint32_t u) {
      if (fills) link(u, near);
      clear(row(u), v);
    });
    clear(changed_.data(), v);
    scores_[v] = std::numeric_limits<double>::infinity();
    for_each(changed_.data(), [&](uint32_t u) { rate(u); });
  }

  // Makes u adjacent to all of `near`. For common neighbours of the ends of a new link, one link less is
  // missing.
  void link(uint32_t u, const uint64_t* near) noexcept {
    uint64_t* linked = row(u);
    for (size_t w = 0; w < words_; ++w) {
      uint64_t missing = near[w] & ~linked[w];
      if (w == u / 64) missing &= ~(uint64_t{1} << (u % 64));
      for_each_bit(missing, w, [&](uint32_t other) {
        for (size_t i = 0; i < words_; ++i) changed_[i] |= linked[i] & row(other)[i];
        set(linked, other);
        set(row(other), u);
      });
    }
  }

  std::vector<uint32_t> vertices_;
  size_t words_;
  std::vector<uint64_t> rows_;
  std::vector<double> weights_, scores_, clique_weights_;
  std::vector<uint64_t> changed_;
  std::vector<uint32_t> simplicial_;
};

}  // namespace

ReducedGraph reduced_moral_graph(const TreeEngine& engine) {
  ReducedGraph graph;
  std::vector<uint32_t> vertex_of(engine.tree->domain->forest->nodes.size() + 1, kNoVertex);
  for (Node* node : engine.tree->nodes) {
    if (!is_unobserved(engine, *node)) continue;
    vertex_of[node->number] = static_cast<uint32_t>(graph.nodes.size());
    graph.nodes.push_back(node);
  }
  graph.starts.reserve(graph.size() + 1);
  graph.starts.push_back(0);
  for (const Node* node : graph.nodes) {
    for (Node* const* other = placement(*node).moral_neighbors; *other; ++other)
      if (const uint32_t u = vertex_of[(*other)->number]; u != kNoVertex) graph.neighbors.push_back(u);
    graph.starts.push_back(static_cast<uint32_t>(graph.neighbors.size()));
  }
  return graph;
}

std::vector<uint32_t> least_fill_order(const ReducedGraph& graph) {
  std::vector<uint32_t> order, rest;
  order.reserve(graph.size());
  ShrinkingGraph shrinking(graph);
  eliminate_simplicial(shrinking, graph.size(), order);
  for (uint32_t v = 0; v < graph.size(); ++v)
    if (!shrinking.is_gone(v)) rest.push_back(v);
  if (rest.size() > limits.core_nodes) return {};
  if (!rest.empty()) Core(graph, shrinking, std::move(rest)).eliminate_all(order);
  return order;
}

std::vector<uint32_t> compiled_order(const ReducedGraph& graph) {
  std::vector<uint32_t> order(graph.size());
  for (uint32_t v = 0; v < graph.size(); ++v) order[v] = v;
  std::sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) {
    return placement(*graph.nodes[a]).elimination_rank > placement(*graph.nodes[b]).elimination_rank;
  });
  return order;
}

}  // namespace tv

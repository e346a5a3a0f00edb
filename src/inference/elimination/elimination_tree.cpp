#include "inference/elimination/elimination_tree.h"

#include <algorithm>

namespace tv {
namespace {

constexpr uint32_t kNoVertex = EliminationTree::kNoClique;

// The symbolic elimination: to which later vertices each one is adjacent when it is eliminated. The first of
// these is its parent.
class SymbolicElimination {
 public:
  SymbolicElimination(const ReducedGraph& graph, const std::vector<uint32_t>& order)
      : graph_(graph), order_(order), position_(graph.size()), starts_(graph.size() + 1, 0) {
    for (uint32_t i = 0; i < order.size(); ++i) position_[order[i]] = i;
    parents_.assign(order.size(), kNoVertex);
    eliminate_all();
    join_into_cliques();
  }

  void write(EliminationTree& result) const {
    const size_t count = order_.size();
    result.nodes.resize(count);
    result.home_of.resize(count);
    const std::vector<uint32_t> rank_of = ranks(result);
    for (size_t i = 0; i < count; ++i) {
      result.nodes[rank_of[i]] = graph_.nodes[order_[i]];
    }
    for (size_t i = 0; i < count; ++i)
      if (first_of_clique_[i] == i) write_clique(i, rank_of, result);
  }

 private:
  size_t length(size_t i) const noexcept { return starts_[i + 1] - starts_[i]; }

  // Vertices are named by their positions in the order.
  void eliminate_all() {
    const size_t count = order_.size();
    std::vector<uint32_t> first_child(count, kNoVertex), next_child(count, kNoVertex), seen(count, kNoVertex);
    for (uint32_t i = 0; i < count; ++i) {
      const size_t begin = adjacent_.size();
      seen[i] = i;
      const auto visit = [&](uint32_t other) {
        if (other < i || seen[other] == i) return;
        seen[other] = i;
        adjacent_.push_back(other);
      };
      const uint32_t v = order_[i];
      for (uint32_t n = graph_.starts[v]; n < graph_.starts[v + 1]; ++n)
        visit(position_[graph_.neighbors[n]]);
      for (uint32_t child = first_child[i]; child != kNoVertex; child = next_child[child])
        for (size_t m = starts_[child]; m < starts_[child + 1]; ++m) visit(adjacent_[m]);
      starts_[i] = begin;
      starts_[i + 1] = adjacent_.size();
      if (adjacent_.size() == begin) continue;
      const uint32_t parent =
          *std::min_element(adjacent_.begin() + static_cast<ptrdiff_t>(begin), adjacent_.end());
      parents_[i] = parent;
      next_child[i] = first_child[parent];
      first_child[parent] = i;
    }
  }

  // A vertex whose elimination yields a subset of an earlier clique belongs to that clique.
  void join_into_cliques() {
    first_of_clique_.resize(order_.size());
    last_of_clique_.resize(order_.size());
    std::vector<bool> joined(order_.size(), false);
    for (uint32_t i = 0; i < order_.size(); ++i) first_of_clique_[i] = last_of_clique_[i] = i;
    for (uint32_t i = 0; i < order_.size(); ++i) {
      const uint32_t parent = parents_[i];
      if (parent == kNoVertex || joined[parent] || length(i) != length(parent) + 1) continue;
      joined[parent] = true;
      first_of_clique_[parent] = first_of_clique_[i];
      last_of_clique_[first_of_clique_[i]] = parent;
    }
  }

  // Cliques are numbered by their last vertices, so that children come before their parents.
  std::vector<uint32_t> ranks(EliminationTree& result) const {
    const size_t count = order_.size();
    std::vector<uint32_t> clique_of(count, kNoVertex), rank_of(count);
    for (size_t i = 0; i < count; ++i) {
      const uint32_t first = first_of_clique_[i];
      if (last_of_clique_[first] != i) continue;
      clique_of[first] = static_cast<uint32_t>(result.cliques.size());
      result.cliques.emplace_back();
    }
    for (size_t i = 0; i < count; ++i) ++result.cliques[clique_of[first_of_clique_[i]]].eliminated;
    std::vector<uint32_t> next;
    uint32_t sum = 0;
    for (const EliminationTree::Clique& clique : result.cliques) {
      next.push_back(sum);
      sum += clique.eliminated;
    }
    for (size_t i = 0; i < count; ++i) {
      const uint32_t clique = clique_of[first_of_clique_[i]];
      rank_of[i] = next[clique]++;
      result.home_of[rank_of[i]] = clique;
    }
    return rank_of;
  }

  void write_clique(size_t first, const std::vector<uint32_t>& rank_of, EliminationTree& result) const {
    EliminationTree::Clique& clique = result.cliques[result.home_of[rank_of[first]]];
    clique.first_member = static_cast<uint32_t>(result.members.size());
    clique.member_count = static_cast<uint32_t>(length(first) + 1);
    result.members.push_back(rank_of[first]);
    for (size_t m = starts_[first]; m < starts_[first + 1]; ++m)
      result.members.push_back(rank_of[adjacent_[m]]);
    std::sort(result.members.end() - clique.member_count, result.members.end());
    for (const uint32_t* member = result.begin(clique); member != result.end(clique); ++member)
      clique.size = size_multiply(clique.size, result.nodes[*member]->number_of_states);
    if (clique.eliminated < clique.member_count) clique.parent = result.home_of[*result.separator(clique)];
    result.entries += static_cast<double>(clique.size);
  }

  const ReducedGraph& graph_;
  const std::vector<uint32_t>& order_;
  std::vector<uint32_t> position_;  // by vertex
  std::vector<size_t> starts_;      // by position: where its part of `adjacent_` begins
  std::vector<uint32_t> adjacent_;  // neighbours that are still left when it is eliminated
  std::vector<uint32_t> parents_;   // the first of these
  std::vector<uint32_t> first_of_clique_, last_of_clique_;
};

}  // namespace

EliminationTree eliminate(const ReducedGraph& graph, const std::vector<uint32_t>& order) {
  EliminationTree result;
  SymbolicElimination(graph, order).write(result);
  return result;
}

}  // namespace tv

#include "lower_bound.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <set>
#include <unordered_map>

namespace program {
namespace {

constexpr double kHopelessBits = 60;  // the logarithm of the entries of one clique

using Neighbours = std::vector<uint32_t>;  // in ascending order

// The discrete nodes that have a choice, with the links that any triangulation starts from. Some links that
// triangulations have, too, may be missing: the bound stays right.
class Graph {
 public:
  explicit Graph(const Network& network) {
    std::vector<double> bits;
    for (const tv_node_t* node : network.nodes())
      if (takes_part(node)) {
        positions_.emplace(node, static_cast<uint32_t>(positions_.size()));
        bits.push_back(std::log2(static_cast<double>(states_of(node))));
      }
    neighbours_.resize(positions_.size());
    target_ = treewidth_of_hopeless_clique(bits);
    for (tv_node_t* node : network.nodes()) link_family(node);
  }

  // Contracts a vertex of the least degree into a neighbour with which it shares the fewest others, and so
  // on: no degree that is met on the way is above the treewidth (Bodlaender, Koster and Wolle 2004). True
  // once it is as large as the target.
  bool reaches_target() {
    if (target_ == 0) return false;
    if (has_hopeless_family_) return true;
    std::set<std::pair<size_t, uint32_t>> by_degree;
    for (uint32_t v = 0; v < neighbours_.size(); ++v) by_degree.emplace(neighbours_[v].size(), v);
    while (by_degree.size() > target_) {
      const auto [degree, v] = *by_degree.begin();
      if (degree >= target_) return true;
      by_degree.erase(by_degree.begin());
      if (degree > 0) contract(v, by_degree);
    }
    return false;
  }

  size_t target() const { return target_; }

 private:
  static bool takes_part(const tv_node_t* node) {
    return is_discrete(node) && tv_node_get_category(node) != tv_category_function && states_of(node) > 1;
  }

  // The fewest nodes that make a hopeless clique, less one; 0 where all together do not.
  static size_t treewidth_of_hopeless_clique(std::vector<double> bits) {
    std::sort(bits.begin(), bits.end());
    double sum = 0;
    for (size_t i = 0; i < bits.size(); ++i)
      if ((sum += bits[i]) >= kHopelessBits) return i;
    return 0;
  }

  void link_family(tv_node_t* node) {
    if (is_decision(node) || tv_node_get_category(node) == tv_category_function) return;
    std::vector<uint32_t> members;
    const auto add = [&](const tv_node_t* member) {
      if (const auto position = positions_.find(member); position != positions_.end())
        members.push_back(position->second);
    };
    add(node);
    for (const tv_node_t* parent : each(tv_node_get_parents(node))) add(parent);
    has_hopeless_family_ |= target_ > 0 && members.size() > target_;
    if (has_hopeless_family_) return;
    for (const uint32_t a : members)
      for (const uint32_t b : members)
        if (a != b) insert(neighbours_[a], b);
  }

  static void insert(Neighbours& list, uint32_t vertex) {
    const auto place = std::lower_bound(list.begin(), list.end(), vertex);
    if (place == list.end() || *place != vertex) list.insert(place, vertex);
  }
  static void erase(Neighbours& list, uint32_t vertex) {
    list.erase(std::lower_bound(list.begin(), list.end(), vertex));
  }

  static size_t common(const Neighbours& a, const Neighbours& b) {
    size_t count = 0;
    for (auto i = a.begin(), j = b.begin(); i != a.end() && j != b.end();) {
      if (*i == *j) ++count;
      const bool first = *i <= *j, second = *j <= *i;
      i += first;
      j += second;
    }
    return count;
  }

  void contract(uint32_t v, std::set<std::pair<size_t, uint32_t>>& by_degree) {
    const Neighbours around = std::move(neighbours_[v]);
    const uint32_t into = *std::min_element(around.begin(), around.end(), [&](uint32_t a, uint32_t b) {
      return common(neighbours_[a], around) < common(neighbours_[b], around);
    });
    for (const uint32_t w : around) by_degree.erase({neighbours_[w].size(), w});
    for (const uint32_t w : around) {
      erase(neighbours_[w], v);
      if (w == into) continue;
      insert(neighbours_[w], into);
      insert(neighbours_[into], w);
    }
    for (const uint32_t w : around) by_degree.emplace(neighbours_[w].size(), w);
  }

  std::unordered_map<const tv_node_t*, uint32_t> positions_;
  std::vector<Neighbours> neighbours_;
  size_t target_ = 0;
  bool has_hopeless_family_ = false;
};

}  // namespace

size_t hopeless_treewidth(const Network& network) {
  Graph graph(network);
  return graph.reaches_target() ? graph.target() : 0;
}

std::string explain_hopeless(size_t treewidth) {
  return "the treewidth is at least " + std::to_string(treewidth) +
         ", so that some clique has more entries than any machine passes over";
}

}  // namespace program

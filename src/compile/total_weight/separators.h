// The minimal separators of a graph. They are found by closure (Berry, Bordat and Cogis 2000): for a
// separator and one of its vertices, the neighbourhoods of the components that remain without the separator
// and the vertex's neighbours are minimal separators again, and every one is found in this way.
#pragma once

#include "compile/total_weight/bit_graph.h"
#include "compile/total_weight/search_budget.h"
#include "compile/total_weight/set_index.h"

namespace tv {

template <size_t W>
struct MinimalSeparator {
  VertexBits<W> set;
  double weight;
  std::uint32_t size;
};

// How an enumeration has ended.
enum class Enumeration { complete, limited, stopped };

template <size_t W>
class SeparatorCollection {
 public:
  using Set = VertexBits<W>;

  SeparatorCollection(const BitGraph<W>& graph, SearchBudget& budget) : graph_(&graph), budget_(budget) {}
  ~SeparatorCollection() { budget_.release(bytes_); }
  SeparatorCollection(const SeparatorCollection&) = delete;
  SeparatorCollection& operator=(const SeparatorCollection&) = delete;

  // Starts anew with another graph.
  void start(const BitGraph<W>& graph) noexcept;

  size_t size() const noexcept { return separators_.size(); }
  const MinimalSeparator<W>& operator[](size_t i) const noexcept { return separators_[i]; }

  // Adds a minimal separator unless it is known. False when memory is at its limit.
  bool add(const Set& set);

  // The neighbourhoods of the components without a vertex and its neighbours, and all that follow from what
  // is known, smaller ones first. Those of more than `largest` vertices (0: none) are not expanded. Ends when
  // more than `limit` (0: any number) are known, or memory is at its limit.
  Enumeration enumerate(size_t limit, size_t largest);

  // Whether nothing was left out: every separator has been expanded.
  bool is_exhaustive() const noexcept { return is_exhaustive_; }

  // Drops the heavier ones and sorts the others by ascending weight, then by size. No more can be added.
  void keep_up_to(double weight);

 private:
  bool add_around(const Set& removed);

  const BitGraph<W>* graph_;
  SearchBudget& budget_;
  size_t bytes_ = 0;
  bool is_full_ = false;  // memory is at its limit
  bool is_exhaustive_ = false;
  std::vector<MinimalSeparator<W>> separators_;
  SetIndex index_;
  std::vector<std::vector<std::uint32_t>> pending_;  // by size: those that are not expanded
  size_t least_pending_ = 0;
};

}  // namespace tv

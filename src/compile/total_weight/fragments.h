// Triangulations of least total weight, from the minimal separators of a graph (Bouchitte and Todinca 2001).
// A separator S cuts the graph into fragments: a component C whose neighbourhood is S, together with S, which
// is made complete. In a triangulation of the fragment S lies in a potential maximal clique; what the clique
// leaves of C are the interiors of smaller fragments. So the fragments are triangulated by increasing size,
// each at the least sum of a clique's weight and the costs of the fragments that the clique leaves.
#pragma once

#include "compile/total_weight/separators.h"

namespace tv {

template <size_t W>
class FragmentCollection {
 public:
  using Set = VertexBits<W>;

  explicit FragmentCollection(SearchBudget& budget) : budget_(budget) {}
  ~FragmentCollection() { budget_.release(bytes_); }
  FragmentCollection(const FragmentCollection&) = delete;
  FragmentCollection& operator=(const FragmentCollection&) = delete;

  // Starts anew with the fragments of these separators. False when memory is at its limit, or the host wants
  // the search to end.
  bool split(const BitGraph<W>& graph, const SeparatorCollection<W>& separators);
  size_t size() const noexcept { return fragments_.size(); }

  // The least cost of a triangulation of the graph, if it is below the bound; otherwise kHopeless. kUnknown
  // when the host wants the search to end.
  double triangulate(double bound);

  // The cliques of the triangulation that was found.
  std::vector<Set> identify_cliques() const;

  static constexpr double kUnknown = -1.0;
  static constexpr double kHopeless = -2.0;

 private:
  struct Fragment {
    Set interior;
    Set clique;  // of its cheapest triangulation, the one that holds the separator
    double cost;
    std::uint32_t separator;
    std::uint32_t size;
  };
  // A smaller fragment that may lie behind the clique that is looked for.
  struct Candidate {
    Set interior, separator;
    double cost;
  };
  // A clique in the making: its members so far, the interiors of the fragments behind it and their costs.
  struct Partial {
    Set members, behind;
    double cost;
  };

  bool add(const Set& interior, std::uint32_t separator, std::uint32_t size);
  const Fragment* find(const Set& interior) const noexcept;
  void triangulate_fragment(Fragment& fragment, double bound);
  Vertex pivot_of(const Fragment& fragment, const Set& separator) const;
  bool is_clique(const Fragment& fragment, const Set& separator) const;
  void collect_candidates(const Fragment& fragment, Vertex pivot);
  void search_for_pmc(Fragment& fragment, const Partial& partial, Set undecided);
  void finish_pmc(Fragment& fragment, const Partial& partial);
  bool is_pmc(const Set& members, const Set& separator) const;
  double cost_of_split(const Set& separator, double bound) const;

  const BitGraph<W>* graph_ = nullptr;
  const SeparatorCollection<W>* separators_ = nullptr;
  SearchBudget& budget_;
  size_t bytes_ = 0;
  bool stopped_ = false;
  std::vector<Fragment> fragments_;
  std::vector<std::uint32_t> order_;               // by size
  SetIndex index_;                                 // by interior
  std::vector<std::vector<Candidate>> at_vertex_;  // by vertex: fragments with it in the separator
  std::vector<Candidate> candidates_;
  std::vector<Set> behind_;  // the neighbourhoods of what a clique leaves
  double best_ = 0.0;        // of the present fragment
  size_t best_separator_ = 0;
};

}  // namespace tv

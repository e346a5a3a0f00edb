// Selecting a separator to split by.
#include "compile/total_weight/select_separator.h"

#include <cmath>

#include "compile/total_weight/widths.h"

namespace tv {
namespace {

// What speaks for a separator; less is better.
struct Merits {
  double weight;
  double fill_in_weight;  // of the links that complete it
  size_t largest;         // vertices of the largest fragment that it leaves
};

template <size_t W>
double compute_fill_in_weight(const BitGraph<W>& graph, const VertexBits<W>& separator) {
  double weight = 0.0;
  separator.for_each([&](Vertex v) {
    VertexBits<W> missing = separator - graph.neighbors(v);
    missing.for_each([&](Vertex u) {
      if (u > v) weight += graph.states(u) * graph.states(v);
    });
  });
  return weight;
}

template <size_t W>
size_t compute_size_of_largest_fragment(const BitGraph<W>& graph, const VertexBits<W>& separator) {
  size_t largest = 0;
  graph.for_each_component(graph.all() - separator,
                           [&](const VertexBits<W>& interior, const VertexBits<W>& near) {
                             largest = std::max(largest, interior.count() + near.count());
                           });
  return largest;
}

double compute_score(const Merits& merits, size_t size, size_t vertices, const SeparatorScore& parameters) {
  const double k = static_cast<double>(size);
  const double fill_in = size < 2 ? 0.0 : std::sqrt(merits.fill_in_weight * k / (k - 1.0));
  return std::pow(parameters.log_weight * std::log(merits.weight) + parameters.fill_in * fill_in,
                  parameters.exponent) /
         static_cast<double>(vertices - merits.largest);
}

bool is_better_in_something(const Merits& a, const Merits& b) noexcept {
  return a.weight < b.weight || a.fill_in_weight < b.fill_in_weight || a.largest < b.largest;
}

}  // namespace

template <size_t W>
size_t select_separator(const BitGraph<W>& graph, const SeparatorCollection<W>& separators,
                        const SeparatorScore& parameters, SearchBudget& budget) {
  const auto merits_of = [&](size_t i) {
    const MinimalSeparator<W>& separator = separators[i];
    return Merits{separator.weight, compute_fill_in_weight(graph, separator.set),
                  compute_size_of_largest_fragment(graph, separator.set)};
  };
  const auto score_of = [&](const Merits& merits, size_t i) {
    return compute_score(merits, separators[i].size, graph.size(), parameters);
  };
  size_t selected = 0;
  for (size_t i = 1; i < separators.size(); ++i)
    if (separators[i].weight < separators[selected].weight) selected = i;
  const double heaviest = std::pow(separators[selected].weight, 4.0);
  Merits best = merits_of(selected);
  double best_score = score_of(best, selected);
  for (size_t i = 0; i < separators.size(); ++i) {
    if (i == selected || separators[i].weight > heaviest) continue;
    if (budget.stop_requested(graph.size())) break;
    const Merits merits = merits_of(i);
    if (!is_better_in_something(merits, best)) continue;
    const double score = score_of(merits, i);
    const bool dominates = !is_better_in_something(best, merits);
    if (!dominates && !(score < best_score)) continue;
    selected = i;
    best = merits;
    best_score = score;
  }
  return selected;
}

#define TARVO_INSTANTIATE(W)                                                             \
  template size_t select_separator<W>(const BitGraph<W>&, const SeparatorCollection<W>&, \
                                      const SeparatorScore&, SearchBudget&);
TARVO_FOR_ALL_WIDTHS(TARVO_INSTANTIATE)
#undef TARVO_INSTANTIATE

}  // namespace tv

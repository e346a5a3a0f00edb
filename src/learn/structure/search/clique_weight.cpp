// A directed graph is moralised and triangulated without becoming a domain.
#include "learn/structure/search/clique_weight.h"

#include <limits>

#include "compile/triangulate/greedy_elimination.h"
#include "text/trace.h"

namespace tv {

double total_clique_weight(const LearningProblem& problem, const PartialGraph& graph) {
  BitMatrix moral(graph.size());
  const auto join = [&](size_t a, size_t b) {
    moral.set(a, b);
    moral.set(b, a);
  };
  for (size_t node = 0; node < graph.size(); ++node) {
    const std::vector<size_t> parents = graph.parents(node);
    for (size_t i = 0; i < parents.size(); ++i) {
      join(parents[i], node);
      for (size_t j = i + 1; j < parents.size(); ++j) join(parents[i], parents[j]);
    }
  }
  VertexGraph vertices;
  vertices.nodes = problem.nodes;
  for (size_t a = 0; a < graph.size(); ++a) {
    for (size_t b = 0; b < graph.size(); ++b)
      if (moral.has(a, b)) vertices.add_neighbor(static_cast<Vertex>(b));
    vertices.end_neighbors();
  }
  Trace silent(nullptr);
  Progress progress(*problem.domain, kLearningTask);
  std::vector<VertexSet> cliques;
  if (triangulate_greedily(vertices, EliminationGraph(vertices), tv_method_fill_in_weight, silent, progress,
                           cliques))
    return std::numeric_limits<double>::infinity();
  return cost_of_cliques(vertices, cliques);
}

}  // namespace tv

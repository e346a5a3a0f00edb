// Triangulation by minimal separators. A component is triangulated at least cost where all its separators can
// be looked at; otherwise one of them splits it, and the parts are triangulated in the same way.
#include "compile/total_weight/total_weight.h"

#include "compile/hypergraph_mcs.h"
#include "compile/total_weight/fragments.h"
#include "compile/total_weight/select_separator.h"
#include "compile/total_weight/widths.h"
#include "compile/triangulate/best_greedy.h"
#include "compile/triangulate/ordered_elimination.h"

namespace tv {
namespace {

constexpr size_t kWholeComponent = static_cast<size_t>(-1);

// The component, or a part that splitting has left of it.
struct Part {
  VertexGraph graph;
  VertexSet vertices;            // by vertex of the graph: the vertex of the component
  std::vector<VertexSet> known;  // minimal separators, in vertices of the graph
  size_t number = kWholeComponent;

  bool is_whole() const noexcept { return number == kWholeComponent; }
};

template <size_t W>
VertexSet vertices_of(const VertexBits<W>& set) {
  VertexSet vertices;
  set.for_each([&](Vertex v) { vertices.push_back(v); });
  return vertices;
}

template <size_t W>
VertexBits<W> bits_of(const VertexSet& set, const BitGraph<W>& graph) {
  VertexBits<W> bits = graph.none();
  for (const Vertex v : set) bits.insert(v);
  return bits;
}

// Two components are next to all of it.
template <size_t W>
bool is_minimal_separator(const BitGraph<W>& graph, const VertexBits<W>& set) {
  size_t full = 0;
  graph.for_each_component(graph.all() - set,
                           [&](const VertexBits<W>&, const VertexBits<W>& near) { full += near == set; });
  return full >= 2;
}

class SeparatorTriangulation {
 public:
  SeparatorTriangulation(const VertexGraph& graph, Trace& trace, Progress& progress, SearchEffort& effort,
                         std::vector<VertexSet>& cliques)
      : domain_(*graph.nodes.front()->domain),
        graph_(graph),
        trace_(trace),
        progress_(progress),
        search_progress_(domain_, kSearchTask),
        effort_(effort),
        cliques_(cliques),
        known_(graph) {}

  tv_status_t run() {
    if (tv_status_t status = search_whole()) return status;
    VertexSet all(graph_.size());
    for (Vertex v = 0; v < all.size(); ++v) all[v] = v;
    parts_.push_back({graph_, std::move(all), {}});
    while (!parts_.empty()) {
      const Part part = std::move(parts_.back());
      parts_.pop_back();
      const tv_status_t status = with_width(
          part.graph.size(), [&](auto width) { return triangulate<decltype(width)::value>(part); });
      if (status) return status;
    }
    keep_searched();
    return trace_.status();
  }
  bool is_optimal() const noexcept { return is_optimal_; }

 private:
  // A triangulation that is known before the search, and what only it costs less than is looked for.
  struct Bound {
    explicit Bound(const VertexGraph& graph) : triangulation(graph) {}
    CheapestTriangulation triangulation;
    bool is_initial = false;  // the host has given it
  };

  // With effort, the component is searched before it may be split.
  tv_status_t search_whole() {
    if (domain_.triangulation_effort == 0) return tv_status_none;
    const auto ignore = [](const std::vector<VertexSet>&) -> tv_status_t { return tv_status_none; };
    if (tv_status_t status = find_bound(graph_, known_, ignore)) return status;
    searched_ = known_.triangulation.cliques;
    return search_for_triangulation(graph_, progress_, effort_, searched_, is_optimal_);
  }

  // A component that had to be split may be cheaper as the search has left it.
  void keep_searched() {
    if (searched_.empty()) return;
    const double cost = cost_of_cliques(graph_, searched_);
    if (cost >= cost_of_cliques(graph_, cliques_)) return;
    trace_.print("\nKept triangulation of cost %s from local search\n", CostText(cost).c_str());
    cliques_ = std::move(searched_);
  }

  // Shows the triangulations among which the bound is to `visit`.
  template <class Visit>
  tv_status_t find_bound(const VertexGraph& graph, Bound& bound, Visit visit) {
    const auto offer = [&](std::vector<VertexSet> cliques) -> tv_status_t {
      if (tv_status_t status = visit(cliques)) return status;
      bound.triangulation.offer(std::move(cliques));
      return tv_status_none;
    };
    bound.is_initial = !domain_.initial_triangulation.empty();
    if (!bound.is_initial) return for_each_greedy_triangulation(graph, {}, progress_, offer);
    Trace silent(nullptr);
    std::vector<VertexSet> cliques;
    if (tv_status_t status = triangulate_in_vertex_order(graph, silent, progress_, cliques)) return status;
    return offer(std::move(cliques));
  }

  template <size_t W>
  tv_status_t triangulate(const Part& part) {
    const BitGraph<W> graph = bit_graph_of<W>(part.graph);
    if (graph.is_complete(graph.all())) {
      trace_.print("\n    Graph G%zu is a clique of cost %s\n", part.number,
                   CostText(graph.weight(graph.all())).c_str());
      cliques_.push_back(part.vertices);
      return trace_.status();
    }
    SearchBudget budget(search_progress_, domain_.memory_limit);
    SeparatorCollection<W> separators(graph, budget);
    Bound bound(part.graph);
    if (tv_status_t status = seed(part, graph, separators, bound)) return status;
    Enumeration end = separators.enumerate(domain_.max_number_of_separators, domain_.max_separator_size);
    if (end == Enumeration::complete) {
      if (tv_status_t status = search(part, graph, separators, bound, budget, end)) return status;
    }
    if (end == Enumeration::limited) split(part, graph, separators, budget);
    if (end == Enumeration::stopped) return take_bound(part, bound);
    return trace_.status();
  }

  template <size_t W>
  tv_status_t seed(const Part& part, const BitGraph<W>& graph, SeparatorCollection<W>& separators,
                   Bound& bound) {
    const auto add = [&](const VertexBits<W>& separator) {
      if (!separator.empty() && is_minimal_separator(graph, separator)) separators.add(separator);
    };
    for (const VertexSet& known : part.known) add(bits_of(known, graph));
    if (domain_.initial_triangulation.empty() && domain_.max_number_of_separators == 0) return tv_status_none;
    return find_bound(part.graph, bound, [&](const std::vector<VertexSet>& cliques) -> tv_status_t {
      CliqueOrder order;
      if (tv_status_t status = _tv_perform_hypergraph_mcs(part.graph, cliques, progress_, order))
        return status;
      for (size_t i = 0; i < cliques.size(); ++i) {
        VertexBits<W> separator = graph.none();
        for (const Vertex v : cliques[i])
          if (order.visited_by[v] != i) separator.insert(v);
        add(separator);
      }
      return tv_status_none;
    });
  }

  // All separators are known. `end` is changed where there is not enough memory for the fragments, or the
  // host wants the search to end.
  template <size_t W>
  tv_status_t search(const Part& part, const BitGraph<W>& graph, SeparatorCollection<W>& separators,
                     Bound& bound, SearchBudget& budget, Enumeration& end) {
    trace_.text("\n    ");
    if (!part.is_whole()) trace_.print("Triangulating graph G%zu:\n\t", part.number);
    trace_.print("Found %zu minimal separators", separators.size());
    if (domain_.max_separator_size > 0)
      trace_.print(" (ignoring most separators larger than %zu)", domain_.max_separator_size);
    trace_.text("\n");
    if (tv_status_t status = complete_bound(part, bound)) return status;
    const bool is_exhaustive = separators.is_exhaustive();
    const char* indent = part.is_whole() ? "" : "    ";
    separators.keep_up_to(bound.triangulation.cost * 0.5 / graph.least_factor());
    trace_.print("%sKept %zu separator%s for triangulation\n", indent, separators.size(),
                 separators.size() < 2 ? "" : "s");
    FragmentCollection<W> fragments(budget);
    if (!fragments.split(graph, separators)) {
      end = budget.is_stopped() ? Enumeration::stopped : Enumeration::limited;
      return tv_status_none;
    }
    trace_.print("%sCreated %zu fragments\n", indent, fragments.size());
    const double cost = fragments.triangulate(bound.triangulation.cost + 1.0);
    if (cost == FragmentCollection<W>::kUnknown) {
      end = Enumeration::stopped;
      return tv_status_none;
    }
    is_optimal_ = is_optimal_ || (part.is_whole() && is_exhaustive);
    if (!(cost > 0.0 && cost < bound.triangulation.cost)) return take_bound(part, bound);
    if (part.is_whole()) {
      trace_.print("\nFound optimal triangulation of cost %s\n", CostText(cost).c_str());
    } else {
      trace_.print("Optimal triangulation of graph G%zu has cost %s\n", part.number, CostText(cost).c_str());
    }
    for (const VertexBits<W>& clique : fragments.identify_cliques()) add_clique(part, vertices_of(clique));
    return tv_status_none;
  }

  // Finds the bound where that has not been done.
  tv_status_t ensure_bound(const Part& part, Bound& bound) {
    if (!bound.triangulation.cliques.empty()) return tv_status_none;
    if (part.is_whole() && !known_.triangulation.cliques.empty()) {
      bound.is_initial = known_.is_initial;
      bound.triangulation.offer(known_.triangulation.cliques);
      return tv_status_none;
    }
    const auto ignore = [](const std::vector<VertexSet>&) -> tv_status_t { return tv_status_none; };
    return find_bound(part.graph, bound, ignore);
  }

  tv_status_t complete_bound(const Part& part, Bound& bound) {
    if (tv_status_t status = ensure_bound(part, bound)) return status;
    const char* indent = part.is_whole() ? "" : "    ";
    trace_.print(bound.is_initial ? "%sInitial triangulation has cost %s\n"
                                  : "%sFound greedy triangulation of cost %s\n",
                 indent, CostText(bound.triangulation.cost).c_str());
    if (!part.is_whole() || searched_.empty()) return tv_status_none;
    bound.triangulation.offer(searched_);
    if (bound.triangulation.cost < known_.triangulation.cost)
      trace_.print("Local search found triangulation of cost %s\n",
                   CostText(bound.triangulation.cost).c_str());
    return tv_status_none;
  }

  tv_status_t take_bound(const Part& part, Bound& bound) {
    if (tv_status_t status = ensure_bound(part, bound)) return status;
    for (const VertexSet& clique : bound.triangulation.cliques) add_clique(part, clique);
    return trace_.status();
  }

  void add_clique(const Part& part, VertexSet clique) {
    for (Vertex& v : clique) v = part.vertices[v];
    cliques_.push_back(std::move(clique));
  }

  // There are more separators than may be looked at.
  template <size_t W>
  void split(const Part& part, BitGraph<W> graph, const SeparatorCollection<W>& separators,
             SearchBudget& budget) {
    const size_t limit = domain_.max_number_of_separators;
    const bool is_over_limit = limit > 0 && separators.size() > limit;
    if (part.is_whole()) {
      trace_.text("\n    This component");
    } else {
      trace_.print("\n    Graph G%zu", part.number);
    }
    trace_.print(" has more than %zu minimal separators\n", is_over_limit ? limit : separators.size() - 1);
    const MinimalSeparator<W>& separator =
        separators[select_separator(graph, separators, domain_.separator_score, budget)];
    trace_.print("Using the following separator of size %zu and cost %s:\n", size_t{separator.size},
                 CostText(separator.weight).c_str());
    trace_members(part, vertices_of(separator.set));
    trace_.print("to split the %s into the following subgraphs:\n", part.is_whole() ? "component" : "graph");
    graph.complete(separator.set);
    std::vector<Part> found;
    graph.for_each_component(graph.all() - separator.set,
                             [&](const VertexBits<W>& inner, const VertexBits<W>& near) {
                               found.push_back(part_of(part, graph, inner | near));
                               if (is_over_limit) add_known(found.back(), inner | near, separators);
                             });
    std::move(found.rbegin(), found.rend(), std::back_inserter(parts_));
  }

  template <size_t W>
  Part part_of(const Part& part, const BitGraph<W>& graph, const VertexBits<W>& set) {
    Part result;
    result.number = next_number_++;
    result.vertices = vertices_of(set);
    trace_.print("\tG%zu (size: %zu)\n", result.number, result.vertices.size());
    VertexSet number(graph.size());
    for (Vertex i = 0; i < result.vertices.size(); ++i) number[result.vertices[i]] = i;
    for (Vertex& v : result.vertices) {
      result.graph.nodes.push_back(part.graph.nodes[v]);
      (graph.neighbors(v) & set).for_each([&](Vertex u) { result.graph.add_neighbor(number[u]); });
      result.graph.end_neighbors();
    }
    for (Vertex& v : result.vertices) v = part.vertices[v];
    return result;
  }

  // The separators that lie in the part.
  template <size_t W>
  void add_known(Part& part, const VertexBits<W>& set, const SeparatorCollection<W>& separators) {
    VertexSet number(set.capacity());
    Vertex next = 0;
    set.for_each([&](Vertex v) { number[v] = next++; });
    for (size_t i = 0; i < separators.size(); ++i) {
      if (!set.contains(separators[i].set)) continue;
      VertexSet known = vertices_of(separators[i].set);
      for (Vertex& v : known) v = number[v];
      part.known.push_back(std::move(known));
    }
  }

  void trace_members(const Part& part, const VertexSet& set) {
    if (!trace_.enabled()) return;
    NodeList members;
    members.reserve(set.size());
    for (const Vertex v : set) members.push_back(part.graph.nodes[v]);
    trace_names(trace_, members.begin(), members.end());
  }

  const Domain& domain_;
  const VertexGraph& graph_;
  Trace& trace_;
  Progress& progress_;
  Progress search_progress_;
  SearchEffort& effort_;
  std::vector<VertexSet>& cliques_;
  std::vector<Part> parts_;  // to be triangulated, the next one at the end
  // With effort, what was known of the component before the local search, and what that has found.
  Bound known_;
  std::vector<VertexSet> searched_;
  size_t next_number_ = 0;
  bool is_optimal_ = false;
};

}  // namespace

tv_status_t triangulate_using_separators(const VertexGraph& graph, Trace& trace, Progress& progress,
                                         SearchEffort& effort, std::vector<VertexSet>& cliques,
                                         bool& is_optimal) {
  SeparatorTriangulation triangulation(graph, trace, progress, effort, cliques);
  if (tv_status_t status = triangulation.run()) return status;
  is_optimal = triangulation.is_optimal();
  return tv_status_none;
}

}  // namespace tv

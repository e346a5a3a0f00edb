// Elimination of vertices: the greedy heuristics, and what every elimination leaves behind.
#pragma once

#include "compile/clique_set.h"
#include "text/trace.h"

namespace tv {

struct FillIn {
  Vertex a, b;  // a < b
};

// The cliques and fill-ins of an elimination, in order of creation.
struct Elimination {
  explicit Elimination(size_t vertex_count) : cliques(vertex_count) {}
  CliqueSet cliques;
  std::vector<FillIn> fill_ins;
};

// The host's chance to stop a long triangulation.
class Progress {
 public:
  explicit Progress(const Domain& domain) noexcept : domain_(domain) {}

  // To be called once for each vertex; asks the host now and then.
  bool stop_requested() noexcept {
    if (!domain_.progress_handler || ++steps_ % kInterval != 0) return false;
    return domain_.progress_handler("triangulation", -1.0, domain_.progress_data) != 0;
  }

 private:
  static constexpr size_t kInterval = 256;
  const Domain& domain_;
  size_t steps_ = 0;
};

// The word of a greedy method in the trace.
const char* method_name(tv_triangulation_method_t method) noexcept;

// Eliminates the vertices of `graph` greedily by a method from `clique_size` to `fill_in_weight`.
// `error` when the host asked to stop.
tv_status_t eliminate_greedily(const VertexGraph& graph, tv_triangulation_method_t method, Trace& trace,
                               Progress& progress, Elimination& result);

// Removes fill-ins until none is left whose removal would keep the graph chordal, so that the
// triangulation is a minimal one. The cliques stay the maximal cliques of the filled graph.
void _tv_remove_redundant_fill_ins(const VertexGraph& graph, Elimination& elimination, Trace& trace);

// Writes "\t<verb> fill-in between <a> and <b>\n" for two vertices.
void trace_fill_in(Trace& trace, const char* verb, const VertexGraph& graph, Vertex a, Vertex b);

}  // namespace tv

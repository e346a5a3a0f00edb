// What every elimination of vertices leaves behind, and the removal of what it has added in vain.
#pragma once

#include "compile/triangulate/clique_set.h"
#include "text/trace.h"

namespace tv {

struct FillIn {
  Vertex a, b;           // a < b
  std::uint32_t clique;  // that was added with it
};

// When a vertex was eliminated, and the clique that held it and its remaining neighbours then.
struct Departure {
  std::uint32_t time = 0;
  std::uint32_t clique = 0;
};

// The cliques and fill-ins of an elimination, in order of creation.
struct Elimination {
  explicit Elimination(size_t vertex_count) : cliques(vertex_count), departures(vertex_count) {}

  void depart(Vertex v, size_t clique) noexcept {
    departures[v] = {departed++, static_cast<std::uint32_t>(clique)};
  }

  CliqueSet cliques;
  std::vector<FillIn> fill_ins;
  std::vector<Departure> departures;  // by vertex
  std::uint32_t departed = 0;
};

// The host's chance to stop a long triangulation.
class Progress {
 public:
  static constexpr size_t kVertex = 4096;  // what a vertex counts, however little there is to do about it

  explicit Progress(const Domain& domain, const char* task = "triangulation") noexcept
      : domain_(domain), task_(task) {}

  // To be told of work as it is done, in looks at list entries; asks the host some hundred times in a second.
  // What has been stopped stays stopped.
  bool stop_requested(size_t work) noexcept {
    if (!domain_.progress_handler || stopped_ || (work_ += work) < kInterval) return stopped_;
    work_ = 0;
    stopped_ = domain_.progress_handler(task_, -1.0, domain_.progress_data) != 0;
    return stopped_;
  }

 private:
  static constexpr size_t kInterval = size_t{256} * kVertex;
  const Domain& domain_;
  const char* task_;
  size_t work_ = 0;
  bool stopped_ = false;
};

// Removes fill-ins until none is left whose removal would keep the graph chordal, so that the
// triangulation is a minimal one. The cliques stay the maximal cliques of the filled graph. `error` when the
// host asked to stop.
tv_status_t _tv_remove_redundant_fill_ins(const VertexGraph& graph, Elimination& elimination, Trace& trace,
                                          Progress& progress);

// Writes "\t<verb> fill-in between <a> and <b>\n" for two vertices.
void trace_fill_in(Trace& trace, const char* verb, const VertexGraph& graph, Vertex a, Vertex b);

}  // namespace tv

// The graph that an elimination has left so far, with the scores of its vertices.
#pragma once

#include <span>

#include "compile/triangulate/elimination.h"
#include "compile/triangulate/link_rows.h"

namespace tv {

class EliminationGraph {
 public:
  // The whole graph. Its scores are formed here once for all eliminations, which start from copies.
  explicit EliminationGraph(const VertexGraph& graph);

  // `weighted`: scores are products of state counts instead of numbers of vertices and links.
  EliminationGraph(const EliminationGraph& start, bool weighted);

  size_t size() const noexcept { return records_.size(); }

  size_t degree(Vertex v) const noexcept { return records_[v].degree; }
  size_t missing_links(Vertex v) const noexcept { return records_[v].missing_links; }  // among its neighbours
  double clique_score(Vertex v) const noexcept { return records_[v].clique_score; }
  double fill_in_score(Vertex v) const noexcept {
    const Record& record = records_[v];
    return weighted_ ? record.fill_in_score : static_cast<double>(record.missing_links);
  }
  std::span<const Vertex> neighbors(Vertex v) noexcept;  // ascending; valid until links are added
  VertexSet clique_of(Vertex v);                         // with its neighbours

  // Elimination of a vertex, in three steps. The first one appends the links that its neighbours lack to the
  // fill-ins of the clique to be added, but leaves the graph and the scores alone; the second one adds them,
  // where there are any, and names the vertices which are no neighbours and whose scores it changed in the
  // order of the links that touch them; the third one takes the vertex out, which changes the scores of its
  // neighbours. Each one ends early when the host asks to stop.
  void find_fill_ins(Vertex v, Progress& progress, Elimination& elimination);
  void link_neighbors(Progress& progress, VertexSet& changed);
  void take_out(Vertex v);

 private:
  // The neighbour list may still hold vertices that are gone; they are swept out when they outnumber the
  // others. What only weighted scores need is left alone without them.
  struct Record {
    size_t first = 0;  // of the neighbours in the lists
    Vertex listed = 0, room = 0;
    size_t degree = 0;             // remaining neighbours
    size_t missing_links = 0;      // pairs of remaining neighbours that are not adjacent
    double clique_score = 0.0;     // of the vertex and its neighbours
    double fill_in_score = 0.0;    // sum over the missing links of the products of fill weights
    double fill_weight = 1.0;      // the vertex's own weight in a fill-in
    double states = 1.0;           // of the vertex; 1 when continuous
    double neighbor_weight = 0.0;  // sum of the fill weights of the remaining neighbours
    double product = 1.0;          // of the states of the clique
    size_t continuous = 0;         // continuous members of the clique
    bool is_continuous = false;
    bool product_is_rounded = false;
  };

  // What a member of the present rows gains.
  struct Gain {
    double weight = 1.0;       // the fill weight of the member
    size_t links = 0;          // links to other members
    double link_weight = 0.0;  // sum of the fill weights of these members
    size_t missing_links = 0;  // between these members and other neighbours
    double missing_weight = 0.0;
  };

  std::span<Vertex> list(const Record& record) noexcept {
    return {lists_.data() + record.first, record.listed};
  }
  void lengthen_list(Record& record, size_t more);
  void start_records(const VertexGraph& graph);
  void subtract_links(const VertexGraph& graph);
  void start_gains();
  void count_links_near(size_t row);
  void count_links_of_member(size_t member);
  double common_weight(BitRow a, BitRow b) const noexcept;
  void join_missing(size_t member);
  void sweep(Record& record) noexcept;
  void multiply_states(Record& record) noexcept;
  void score_clique(Record& record) const noexcept;

  // A vertex that gains links between its neighbours, and the first of these links.
  struct Touched {
    size_t first_link;
    Vertex vertex;
  };

  bool weighted_ = true;
  std::vector<Record> records_;
  VertexSet lists_;  // the neighbours of all vertices; a list that outgrows its room moves to the end
  LinkRows rows_;
  std::vector<Gain> gains_;  // by member
  std::vector<Touched> touched_;
  VertexSet joined_;
};

}  // namespace tv

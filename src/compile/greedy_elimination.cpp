// Greedy elimination: the best vertex by the scores of the method goes next, its neighbours are made
// adjacent to each other, and the scores around it are adjusted, not counted anew.
//
// Ties are left to the heap, which starts in vertex order and is made a heap from the back: an element
// moves only past one that it strictly beats, and of two equal children the second goes up. After an
// elimination the vertices whose scores changed are sifted again, the one met last first: the neighbours
// are met in vertex order, then the others in the order of the fill-ins that touch them. Other ways to
// settle ties are as good on the average; this one does well on the networks of the literature.
#include <algorithm>
#include <cmath>

#include "compile/elimination.h"
#include "network/node_operations.h"

namespace tv {
namespace {

// What is known of a vertex that is not yet eliminated. Its neighbour list may still hold vertices that
// are gone; they are swept out when they outnumber the others.
struct Record {
  VertexSet neighbors;
  size_t degree = 0;             // remaining neighbours
  size_t missing_links = 0;      // pairs of remaining neighbours that are not adjacent
  size_t continuous = 0;         // continuous members of the clique (the vertex and its neighbours)
  double fill_weight = 1.0;      // the vertex's own weight in a fill-in
  double states = 1.0;           // of the vertex; 1 when continuous
  double neighbor_weight = 0.0;  // sum of the fill weights of the remaining neighbours
  double fill_in_score = 0.0;    // sum over the missing links of the products of fill weights
  double product = 1.0;          // of the states of the clique
  double clique_score = 0.0;
  bool is_continuous = false;
  bool eliminated = false;
};

// Indexed binary heap of the vertices by their scores.
class VertexHeap {
 public:
  VertexHeap(const std::vector<Record>& records, bool by_clique)
      : records_(records), by_clique_(by_clique), heap_(records.size()), position_(records.size()) {
    for (Vertex v = 0; v < heap_.size(); ++v) heap_[v] = position_[v] = v;
    for (size_t i = heap_.size() / 2; i-- > 0;) sift_down(i);
  }

  bool empty() const noexcept { return heap_.empty(); }
  Vertex best() const noexcept { return heap_.front(); }

  void remove(Vertex v) noexcept {
    const size_t hole = position_[v];
    const Vertex last = heap_.back();
    heap_.pop_back();
    if (last == v) return;
    place(hole, last);
    update(last);
  }

  void update(Vertex v) noexcept { sift_down(sift_up(position_[v])); }

 private:
  bool score_is_better_than(Vertex first, Vertex second) const noexcept {
    const Record& a = records_[first];
    const Record& b = records_[second];
    if (b.missing_links == 0) return false;
    if (a.missing_links == 0) return true;
    if (by_clique_) {
      if (a.clique_score != b.clique_score) return a.clique_score < b.clique_score;
      return a.fill_in_score < b.fill_in_score;
    }
    if (a.fill_in_score != b.fill_in_score) return a.fill_in_score < b.fill_in_score;
    return a.clique_score < b.clique_score;
  }

  void place(size_t i, Vertex v) noexcept {
    heap_[i] = v;
    position_[v] = static_cast<Vertex>(i);
  }

  size_t sift_up(size_t i) noexcept {
    const Vertex v = heap_[i];
    while (i > 0 && score_is_better_than(v, heap_[(i - 1) / 2])) {
      place(i, heap_[(i - 1) / 2]);
      i = (i - 1) / 2;
    }
    place(i, v);
    return i;
  }

  void sift_down(size_t i) noexcept {
    const Vertex v = heap_[i];
    for (size_t child = 2 * i + 1; child < heap_.size(); child = 2 * i + 1) {
      if (child + 1 < heap_.size() && !score_is_better_than(heap_[child], heap_[child + 1])) ++child;
      if (!score_is_better_than(heap_[child], v)) break;
      place(i, heap_[child]);
      i = child;
    }
    place(i, v);
  }

  const std::vector<Record>& records_;
  bool by_clique_;
  std::vector<Vertex> heap_;
  std::vector<Vertex> position_;  // by vertex; meaningless once it is removed
};

// A set of vertices that is emptied in no time.
class Stamps {
 public:
  explicit Stamps(size_t count) : stamps_(count, 0) {}
  void clear() noexcept { ++current_; }
  void insert(Vertex v) noexcept { stamps_[v] = current_; }
  bool contains(Vertex v) const noexcept { return stamps_[v] == current_; }

 private:
  std::vector<size_t> stamps_;
  size_t current_ = 1;
};

bool list_holds(const VertexSet& list, Vertex v) noexcept {
  return std::binary_search(list.begin(), list.end(), v);
}

class GreedyEliminator {
 public:
  GreedyEliminator(const VertexGraph& graph, tv_triangulation_method_t method, Trace& trace,
                   Progress& progress, Elimination& result)
      : graph_(graph),
        trace_(trace),
        progress_(progress),
        result_(result),
        weighted_(method == tv_method_clique_weight || method == tv_method_fill_in_weight),
        records_(initial_records(graph, weighted_)),
        heap_(records_, method == tv_method_clique_size || method == tv_method_clique_weight),
        near_(graph.size()),
        met_(graph.size()) {}

  tv_status_t run() {
    while (!heap_.empty()) {
      const Vertex v = heap_.best();
      VertexSet clique = eliminate_vertex(v);
      if (progress_.stop_requested(Progress::kVertex + clique.size())) return tv_status_error;
      if (result_.cliques.covers(clique)) continue;
      eliminate_inside(clique, v);
      result_.cliques.add(std::move(clique));
    }
    return tv_status_none;
  }

 private:
  // A longer list is not multiplied anew whenever one member changes.
  static constexpr size_t kLongList = 64;

  static std::vector<Record> initial_records(const VertexGraph& graph, bool weighted);
  static void subtract_links(const VertexGraph& graph, std::vector<Record>& records);

  static double clique_score(const Record& record, bool weighted) noexcept {
    return weighted ? record.product * continuous_factor(record.continuous)
                    : static_cast<double>(record.degree + 1);
  }

  // Makes the neighbours of v adjacent, takes v out of the graph, and returns v with its neighbours.
  VertexSet eliminate_vertex(Vertex v) {
    if (trace_.enabled()) trace_.print("\tEliminating %s\n", _tv_node_get_name(*graph_.nodes[v]));
    sweep(v);
    met_.clear();
    met_.insert(v);
    changed_.clear();
    const VertexSet neighbors = records_[v].neighbors;
    for (const Vertex u : neighbors) meet(u);
    if (records_[v].missing_links > 0) {
      for (size_t i = 0; i < neighbors.size() && !progress_.stop_requested(0); ++i)
        connect_to_later(neighbors, i);
    }
    heap_.remove(v);
    records_[v].eliminated = true;
    take_out(v, neighbors);
    for (size_t i = changed_.size(); i-- > 0;) heap_.update(changed_[i]);
    VertexSet clique = neighbors;
    clique.insert(std::lower_bound(clique.begin(), clique.end(), v), v);
    return clique;
  }

  // Eliminates the neighbours of v that have all their neighbours inside the new clique.
  void eliminate_inside(const VertexSet& clique, Vertex v) {
    size_t remaining = clique.size() - 1;
    for (const Vertex u : clique) {
      if (u == v || records_[u].degree + 1 != remaining) continue;
      eliminate_vertex(u);
      --remaining;
    }
  }

  // Links neighbors[i] to those behind it that it is not yet adjacent to.
  void connect_to_later(const VertexSet& neighbors, size_t i) {
    const Vertex a = neighbors[i];
    const bool long_list = records_[a].neighbors.size() / 16 > neighbors.size();
    progress_.stop_requested(long_list ? neighbors.size() : neighbors.size() + records_[a].neighbors.size());
    if (!long_list) stamp_neighbors(a);
    bool stamped = !long_list;
    for (size_t j = i + 1; j < neighbors.size(); ++j) {
      const Vertex b = neighbors[j];
      if (stamped ? near_.contains(b) : list_holds(records_[a].neighbors, b)) continue;
      if (!stamped) stamp_neighbors(a);
      stamped = true;
      add_fill_in(a, b);
    }
  }

  void stamp_neighbors(Vertex a) noexcept {
    near_.clear();
    for (const Vertex u : records_[a].neighbors) near_.insert(u);
  }

  // The neighbours of a carry stamps.
  void add_fill_in(Vertex a, Vertex b) {
    trace_fill_in(trace_, "Creating", graph_, a, b);
    result_.fill_ins.push_back({a, b});
    Record& first = records_[a];
    Record& second = records_[b];
    progress_.stop_requested(second.neighbors.size());
    const double weight = first.fill_weight * second.fill_weight;
    size_t common = 0;
    double common_weight = 0.0;
    for (const Vertex u : second.neighbors) {
      Record& record = records_[u];
      if (!near_.contains(u) || record.eliminated) continue;
      ++common;
      common_weight += record.fill_weight;
      --record.missing_links;
      record.fill_in_score = record.missing_links == 0 ? 0.0 : record.fill_in_score - weight;
      meet(u);
    }
    first.missing_links += first.degree - common;
    first.fill_in_score += second.fill_weight * (first.neighbor_weight - common_weight);
    second.missing_links += second.degree - common;
    second.fill_in_score += first.fill_weight * (second.neighbor_weight - common_weight);
    join(first, b, second);
    join(second, a, first);
    near_.insert(b);
  }

  static void join(Record& record, Vertex neighbor, const Record& neighbor_record) {
    VertexSet& list = record.neighbors;
    list.insert(std::lower_bound(list.begin(), list.end(), neighbor), neighbor);
    ++record.degree;
    record.neighbor_weight += neighbor_record.fill_weight;
    record.product *= neighbor_record.states;
    record.continuous += neighbor_record.is_continuous;
  }

  // Removes v, all of whose neighbours are adjacent to each other, from their lists and scores.
  void take_out(Vertex v, const VertexSet& neighbors) noexcept {
    const Record& gone = records_[v];
    double clique_weight = gone.fill_weight;
    for (const Vertex u : neighbors) clique_weight += records_[u].fill_weight;
    for (const Vertex u : neighbors) {
      Record& record = records_[u];
      record.missing_links -= record.degree - neighbors.size();
      record.fill_in_score -=
          gone.fill_weight * (record.neighbor_weight - (clique_weight - record.fill_weight));
      if (record.missing_links == 0) record.fill_in_score = 0.0;
      --record.degree;
      record.neighbor_weight -= gone.fill_weight;
      record.product /= gone.states;
      record.continuous -= gone.is_continuous;
      if (record.neighbors.size() > 2 * record.degree + 8) sweep(u);
      if (weighted_ && record.degree <= kLongList) multiply_states(record);
      record.clique_score = clique_score(record, weighted_);
    }
  }

  // Drops the eliminated vertices from the neighbour list of v.
  void sweep(Vertex v) noexcept {
    Record& record = records_[v];
    std::erase_if(record.neighbors, [this](Vertex u) { return records_[u].eliminated; });
    multiply_states(record);
  }

  void multiply_states(Record& record) noexcept {
    record.product = record.states;
    for (const Vertex u : record.neighbors) {
      if (!records_[u].eliminated) record.product *= records_[u].states;
    }
  }

  void meet(Vertex u) {
    if (met_.contains(u)) return;
    met_.insert(u);
    changed_.push_back(u);
  }

  const VertexGraph& graph_;
  Trace& trace_;
  Progress& progress_;
  Elimination& result_;
  bool weighted_;
  std::vector<Record> records_;
  VertexHeap heap_;
  Stamps near_;  // neighbours of the vertex that is being linked
  Stamps met_;   // vertices whose scores this elimination changes
  VertexSet changed_;
};

std::vector<Record> GreedyEliminator::initial_records(const VertexGraph& graph, bool weighted) {
  std::vector<Record> records(graph.size());
  for (Vertex v = 0; v < graph.size(); ++v) {
    records[v].is_continuous = is_continuous(*graph.nodes[v]);
    records[v].states = state_count(*graph.nodes[v]);
    if (weighted) records[v].fill_weight = records[v].states;
  }
  for (Vertex v = 0; v < graph.size(); ++v) {
    Record& record = records[v];
    record.neighbors = graph.neighbors[v];
    record.degree = record.neighbors.size();
    record.continuous = record.is_continuous;
    record.product = record.states;
    double squares = 0.0;
    for (const Vertex u : record.neighbors) {
      record.neighbor_weight += records[u].fill_weight;
      squares += records[u].fill_weight * records[u].fill_weight;
      record.continuous += records[u].is_continuous;
      record.product *= records[u].states;
    }
    record.clique_score = clique_score(record, weighted);
    record.missing_links = record.degree * (record.degree - 1) / 2;  // less the links that exist
    record.fill_in_score = (record.neighbor_weight * record.neighbor_weight - squares) / 2;
  }
  subtract_links(graph, records);
  return records;
}

// Takes each link between two neighbours of a vertex off that vertex's missing links: each triangle is
// found once, from its corner that comes first by degree, so that vertices of high degree cost little.
void GreedyEliminator::subtract_links(const VertexGraph& graph, std::vector<Record>& records) {
  const auto comes_first = [&](Vertex a, Vertex b) {
    return records[a].degree != records[b].degree ? records[a].degree < records[b].degree : a < b;
  };
  std::vector<VertexSet> later(graph.size());
  for (Vertex v = 0; v < graph.size(); ++v) {
    for (const Vertex u : graph.neighbors[v]) {
      if (comes_first(v, u)) later[v].push_back(u);
    }
  }
  // All that the innermost loop touches, close together.
  struct Corner {
    Vertex near = 0;  // v + 1 while the vertex comes later than its neighbour v
    double fill_weight = 1.0;
    size_t links = 0;    // found between its neighbours
    double score = 0.0;  // of these links
  };
  std::vector<Corner> corners(graph.size());
  for (Vertex v = 0; v < graph.size(); ++v) corners[v].fill_weight = records[v].fill_weight;
  for (Vertex v = 0; v < graph.size(); ++v) {
    for (const Vertex u : later[v]) corners[u].near = v + 1;
    Corner& first = corners[v];
    for (const Vertex a : later[v]) {
      Corner& second = corners[a];
      const double product = first.fill_weight * second.fill_weight;
      size_t links = 0;
      double weight = 0.0;
      for (const Vertex b : later[a]) {
        Corner& third = corners[b];
        if (third.near != v + 1) continue;
        ++links;
        weight += third.fill_weight;
        ++third.links;
        third.score += product;
      }
      first.links += links;
      first.score += second.fill_weight * weight;
      second.links += links;
      second.score += first.fill_weight * weight;
    }
  }
  for (Vertex v = 0; v < graph.size(); ++v) {
    records[v].missing_links -= corners[v].links;
    records[v].fill_in_score -= corners[v].score;
  }
  for (Record& record : records) {
    if (record.missing_links == 0) record.fill_in_score = 0.0;
  }
}

}  // namespace

const char* method_name(tv_triangulation_method_t method) noexcept {
  switch (method) {
    case tv_method_clique_size:
      return "clique size";
    case tv_method_clique_weight:
      return "clique weight";
    case tv_method_fill_in_size:
      return "fill-in size";
    case tv_method_fill_in_weight:
      return "fill-in weight";
    case tv_method_total_weight:
      return "total weight";
    case tv_method_best_greedy:
      return "best greedy";
  }
  return "";
}

tv_status_t eliminate_greedily(const VertexGraph& graph, tv_triangulation_method_t method, Trace& trace,
                               Progress& progress, Elimination& result) {
  return GreedyEliminator(graph, method, trace, progress, result).run();
}

}  // namespace tv

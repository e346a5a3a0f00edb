// Removal of redundant fill-ins. In a chordal graph a link can go, and the graph stays chordal, exactly
// when its ends lie together in one maximal clique only (Rose, Tarjan and Lueker 1976); that clique then
// falls apart into the two cliques without the one end and without the other.
#include <algorithm>
#include <queue>

#include "compile/elimination.h"
#include "network/node_operations.h"

namespace tv {
namespace {

class FillInRemover {
 public:
  FillInRemover(const VertexGraph& graph, Elimination& elimination, Trace& trace, Progress& progress)
      : graph_(graph),
        cliques_(elimination.cliques),
        fill_ins_(elimination.fill_ins),
        trace_(trace),
        progress_(progress) {}

  tv_status_t run() {
    if (fill_ins_.empty()) return tv_status_none;
    index_partners();
    state_.assign(fill_ins_.size(), State::waiting);
    for (size_t i = 0; i < fill_ins_.size(); ++i) waiting_.push(i);
    while (!waiting_.empty()) {
      const size_t i = waiting_.top();
      waiting_.pop();
      state_[i] = State::needed;
      const FillIn& link = fill_ins_[i];
      if (progress_.stop_requested(cliques_.looks_for(link.a, link.b))) return tv_status_error;
      const size_t clique = cliques_.only_clique_with(link.a, link.b);
      if (clique == CliqueSet::kNoClique) continue;
      state_[i] = State::removed;
      trace_fill_in(trace_, "Removing redundant", graph_, link.a, link.b);
      split_clique(clique, link);
    }
    return tv_status_none;
  }

 private:
  enum class State : unsigned char { waiting, needed, removed };

  struct Partner {
    Vertex vertex;
    size_t fill_in;
    bool operator<(const Partner& other) const noexcept { return vertex < other.vertex; }
  };

  void index_partners() {
    partners_.resize(graph_.size());
    for (size_t i = 0; i < fill_ins_.size(); ++i) {
      partners_[fill_ins_[i].a].push_back({fill_ins_[i].b, i});
      partners_[fill_ins_[i].b].push_back({fill_ins_[i].a, i});
    }
    for (std::vector<Partner>& list : partners_) std::sort(list.begin(), list.end());
  }

  void split_clique(size_t clique, const FillIn& link) {
    const VertexSet whole = cliques_[clique];
    cliques_.erase(clique);
    VertexSet without_a = without(whole, link.a);
    VertexSet without_b = without(whole, link.b);
    const bool keep_a = !cliques_.covers(without_a);
    const bool keep_b = !cliques_.covers(without_b);
    if (keep_a) cliques_.replace(clique, std::move(without_a));
    if (keep_b) {
      if (keep_a) {
        cliques_.add(std::move(without_b));
      } else {
        cliques_.replace(clique, std::move(without_b));
      }
    }
    // Only links between an end and the other members lose a clique that held them.
    for (const Vertex v : whole) {
      if (v == link.a || v == link.b) continue;
      reconsider(v, link.a);
      reconsider(v, link.b);
    }
  }

  static VertexSet without(const VertexSet& set, Vertex v) {
    VertexSet rest;
    rest.reserve(set.size() - 1);
    std::copy_if(set.begin(), set.end(), std::back_inserter(rest),
                 [v](Vertex member) { return member != v; });
    return rest;
  }

  void reconsider(Vertex a, Vertex b) {
    const std::vector<Partner>& list = partners_[a];
    const auto found = std::lower_bound(list.begin(), list.end(), Partner{b, 0});
    if (found == list.end() || found->vertex != b || state_[found->fill_in] != State::needed) return;
    state_[found->fill_in] = State::waiting;
    waiting_.push(found->fill_in);
  }

  const VertexGraph& graph_;
  CliqueSet& cliques_;
  const std::vector<FillIn>& fill_ins_;
  Trace& trace_;
  Progress& progress_;
  std::vector<std::vector<Partner>> partners_;  // by vertex, sorted
  std::vector<State> state_;                    // by fill-in
  std::priority_queue<size_t> waiting_;         // the fill-in created last comes first
};

}  // namespace

tv_status_t _tv_remove_redundant_fill_ins(const VertexGraph& graph, Elimination& elimination, Trace& trace,
                                          Progress& progress) {
  return FillInRemover(graph, elimination, trace, progress).run();
}

void trace_fill_in(Trace& trace, const char* verb, const VertexGraph& graph, Vertex a, Vertex b) {
  if (!trace.enabled()) return;
  trace.print("\t%s fill-in between %s and %s\n", verb, _tv_node_get_name(*graph.nodes[a]),
              _tv_node_get_name(*graph.nodes[b]));
}

}  // namespace tv

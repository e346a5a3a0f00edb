// Removal of redundant fill-ins. In a chordal graph a link can go, and the graph stays chordal, exactly
// when its ends lie together in one maximal clique only (Rose, Tarjan and Lueker 1976); that clique then
// falls apart into the two cliques without the one end and without the other.
//
// Most fill-ins are needed, and the elimination knows why: the clique with which a fill-in was created holds
// both of its ends, and so does the clique that its first end was eliminated with. Where these are two
// cliques, nobody has to look for them.
#include <algorithm>
#include <queue>

#include "compile/triangulate/elimination.h"
#include "network/node_operations.h"

namespace tv {
namespace {

class FillInRemover {
 public:
  FillInRemover(const VertexGraph& graph, Elimination& elimination, Trace& trace, Progress& progress)
      : graph_(graph),
        departures_(elimination.departures),
        cliques_(elimination.cliques),
        fill_ins_(elimination.fill_ins),
        trace_(trace),
        progress_(progress),
        is_split_(cliques_.size(), false),
        unseen_(fill_ins_.size()) {}

  // The fill-in created last comes first; what is looked at again was created later than all that is unseen.
  tv_status_t run() {
    while (unseen_ > 0 || !again_.empty()) {
      if (progress_.stop_requested(1)) return tv_status_error;
      if (again_.empty()) {
        --unseen_;
        if (!has_two_cliques(fill_ins_[unseen_])) look_at(unseen_);
      } else {
        const size_t i = again_.top();
        again_.pop();
        state_[i] = State::needed;
        look_at(i);
      }
    }
    return tv_status_none;
  }

 private:
  enum class State : unsigned char { needed, waiting, removed };

  // Whether the ends still lie in two cliques that the elimination knows; there may be others.
  bool has_two_cliques(const FillIn& link) const noexcept {
    const Departure& a = departures_[link.a];
    const Departure& b = departures_[link.b];
    const std::uint32_t clique = a.time < b.time ? a.clique : b.clique;
    return clique != link.clique && !is_split_[clique] && !is_split_[link.clique];
  }

  void look_at(size_t i) {
    const FillIn& link = fill_ins_[i];
    progress_.stop_requested(cliques_.looks_for(link.a, link.b));
    const size_t clique = cliques_.only_clique_with(link.a, link.b);
    if (clique == CliqueSet::kNoClique) return;
    if (partners_.empty()) list_partners();
    state_[i] = State::removed;
    trace_fill_in(trace_, "Removing redundant", graph_, link.a, link.b);
    split_clique(clique, link);
  }

  void split_clique(size_t clique, const FillIn& link) {
    const VertexSet whole = cliques_[clique];
    if (clique < is_split_.size()) is_split_[clique] = true;
    cliques_.erase(clique);
    VertexSet without_a = without(whole, link.a);
    VertexSet without_b = without(whole, link.b);
    const bool keep_a = cliques_.clique_over(without_a) == CliqueSet::kNoClique;
    const bool keep_b = cliques_.clique_over(without_b) == CliqueSet::kNoClique;
    if (keep_a) cliques_.replace(clique, std::move(without_a));
    if (keep_b) {
      if (keep_a) {
        cliques_.add(std::move(without_b));
      } else {
        cliques_.replace(clique, std::move(without_b));
      }
    }
    // Only links between an end and the other members lose a clique that held them.
    ++round_;
    for (const Vertex v : whole) met_[v] = round_;
    reconsider_links_of(link.a);
    reconsider_links_of(link.b);
  }

  static VertexSet without(const VertexSet& set, Vertex v) {
    VertexSet rest;
    rest.reserve(set.size() - 1);
    std::copy_if(set.begin(), set.end(), std::back_inserter(rest),
                 [v](Vertex member) { return member != v; });
    return rest;
  }

  void reconsider_links_of(Vertex v) {
    for (size_t k = first_partner_[v]; k < first_partner_[v + 1]; ++k) {
      const auto [partner, i] = partners_[k];
      if (met_[partner] != round_ || i < unseen_ || state_[i] != State::needed) continue;
      state_[i] = State::waiting;
      again_.push(i);
    }
  }

  // All that only splitting needs.
  void list_partners() {
    state_.assign(fill_ins_.size(), State::needed);
    met_.assign(graph_.size(), 0);
    first_partner_.assign(graph_.size() + 2, 0);  // shifted by one while the lists are filled
    for (const FillIn& link : fill_ins_) {
      ++first_partner_[link.a + 2];
      ++first_partner_[link.b + 2];
    }
    for (size_t v = 2; v < first_partner_.size(); ++v) first_partner_[v] += first_partner_[v - 1];
    partners_.resize(2 * fill_ins_.size());
    for (size_t i = 0; i < fill_ins_.size(); ++i) {
      partners_[first_partner_[fill_ins_[i].a + 1]++] = {fill_ins_[i].b, i};
      partners_[first_partner_[fill_ins_[i].b + 1]++] = {fill_ins_[i].a, i};
    }
  }

  struct Partner {
    Vertex vertex;
    size_t fill_in;
  };

  const VertexGraph& graph_;
  const std::vector<Departure>& departures_;
  CliqueSet& cliques_;
  const std::vector<FillIn>& fill_ins_;
  Trace& trace_;
  Progress& progress_;
  std::vector<bool> is_split_;  // by clique of the elimination: it has lost a member or gone
  size_t unseen_;               // fill-ins before this one have not been looked at

  // Empty until the first fill-in goes.
  std::vector<State> state_;           // by fill-in
  std::vector<Partner> partners_;      // list behind list
  std::vector<size_t> first_partner_;  // by vertex
  std::vector<size_t> met_;            // by vertex: the round of the last split clique that held it
  size_t round_ = 0;
  std::priority_queue<size_t> again_;
};

}  // namespace

tv_status_t _tv_remove_redundant_fill_ins(const VertexGraph& graph, Elimination& elimination, Trace& trace,
                                          Progress& progress) {
  return FillInRemover(graph, elimination, trace, progress).run();
}

void trace_fill_in(Trace& trace, const char* verb, const VertexGraph& graph, Vertex a, Vertex b) {
  if (!trace.enabled()) return;
  trace.print("\t%s fill-in between %s and %s\n", verb, name_of(*graph.nodes[a]), name_of(*graph.nodes[b]));
}

}  // namespace tv

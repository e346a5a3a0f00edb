// The search keeps the candidates in buckets by how many of their members are numbered. With continuous
// nodes the choice inside a bucket makes every root a strong one (Leimer 1989, Lauritzen 1992).
//
// Ties: a bucket is in the order of the clique list; of equally good parents the one that the search
// took first wins; members that lie in equally many cliques are numbered in vertex order.
#include "compile/hypergraph_mcs.h"

#include <algorithm>
#include <numeric>
#include <span>

namespace tv {
namespace {

struct Candidate {
  double weight = 1.0;  // product of the states of the discrete members
  size_t visited = 0;   // numbered members
  size_t unvisited_discrete = 0;
  size_t unvisited_continuous = 0;
  bool taken = false;
  // In the tree as built so far.
  size_t child = kNone, sibling = kNone;
};

// What a bucket sorts by. An entry is stale once its candidate has moved to another bucket.
struct BucketEntry {
  bool without_discrete;  // no unvisited discrete member: considered last, by order alone
  double weight;
  size_t candidate;

  bool operator<(const BucketEntry& other) const noexcept {
    if (without_discrete != other.without_discrete) return !without_discrete;
    if (!without_discrete && weight != other.weight) return weight < other.weight;
    return candidate < other.candidate;
  }
  bool operator>(const BucketEntry& other) const noexcept { return other < *this; }
};

// Members that some clique shared with earlier ones, and the lightest clique taken that contains them.
struct KnownSeparator {
  size_t first, size;  // of the members in their block
  size_t lightest;
  size_t next;  // with the same newest member
};

// The cliques that hold a vertex, in their order; all lists in one block.
class CliqueIndex {
 public:
  CliqueIndex(size_t vertex_count, const std::vector<VertexSet>& cliques) : first_(vertex_count + 1, 0) {
    for (const VertexSet& clique : cliques) {
      for (const Vertex v : clique) ++first_[v];
    }
    std::partial_sum(first_.begin(), first_.end(), first_.begin());
    holders_.resize(first_.back());
    for (size_t i = cliques.size(); i-- > 0;) {
      for (const Vertex v : cliques[i]) holders_[--first_[v]] = i;
    }
  }

  std::span<const size_t> of(Vertex v) const noexcept {
    return {holders_.data() + first_[v], first_[v + 1] - first_[v]};
  }

 private:
  std::vector<size_t> first_;  // by vertex
  std::vector<size_t> holders_;
};

class HypergraphSearch {
 public:
  HypergraphSearch(const VertexGraph& graph, const std::vector<VertexSet>& cliques)
      : graph_(graph),
        cliques_(cliques),
        candidates_(cliques.size()),
        holders_(graph.size(), cliques),
        known_by_newest_(graph.size(), kNone),
        time_(graph.size(), 0),
        touched_mark_(cliques.size(), false) {
    result_.parent.assign(cliques.size(), CliqueOrder::kNoParent);
    result_.number.assign(graph.size(), 0);
    result_.visited_by.assign(graph.size(), 0);
    result_.order.reserve(cliques.size());
    size_t largest = 0;
    for (size_t i = 0; i < cliques.size(); ++i) {
      largest = std::max(largest, cliques[i].size());
      for (const Vertex v : cliques[i]) {
        candidates_[i].weight *= state_count(*graph.nodes[v]);
        ++(is_continuous(v) ? candidates_[i].unvisited_continuous : candidates_[i].unvisited_discrete);
      }
    }
    buckets_.resize(largest + 1);
    for (size_t i = 0; i < cliques.size(); ++i) enter_bucket(i);
    for (const Node* node : graph.nodes) discrete_count_ += is_discrete(*node);
  }

  tv_status_t run(Progress& progress, CliqueOrder& result) {
    size_t bucket = 0;
    while (result_.order.size() < cliques_.size()) {
      if (progress.stop_requested(Progress::kVertex + looks_)) return tv_status_error;
      looks_ = 0;
      while (!drop_stale_entries(bucket)) --bucket;
      const size_t best = get_best_clique(bucket);
      candidates_[best].taken = true;
      select_parent_clique(best);
      result_.order.push_back(best);
      visit_members(best);
      bucket = cliques_[best].size();
    }
    result = std::move(result_);
    return tv_status_none;
  }

 private:
  bool is_continuous(Vertex v) const noexcept { return tv::is_continuous(*graph_.nodes[v]); }
  bool is_visited(Vertex v) const noexcept { return time_[v] != 0; }

  void enter_bucket(size_t i) {
    const Candidate& candidate = candidates_[i];
    std::vector<BucketEntry>& bucket = buckets_[candidate.visited];
    bucket.push_back({candidate.unvisited_discrete == 0, candidate.weight, i});
    std::push_heap(bucket.begin(), bucket.end(), std::greater<>());
  }

  void pop_bucket(size_t bucket) noexcept {
    std::pop_heap(buckets_[bucket].begin(), buckets_[bucket].end(), std::greater<>());
    buckets_[bucket].pop_back();
  }

  // Whether the bucket holds a candidate, which is then in front.
  bool drop_stale_entries(size_t bucket) noexcept {
    while (!buckets_[bucket].empty()) {
      const Candidate& candidate = candidates_[buckets_[bucket].front().candidate];
      if (!candidate.taken && candidate.visited == bucket) return true;
      pop_bucket(bucket);
    }
    return false;
  }

  size_t get_best_clique(size_t bucket) {
    const BucketEntry first = buckets_[bucket].front();
    if (first.without_discrete || candidates_[first.candidate].unvisited_continuous == 0)
      return first.candidate;
    std::vector<BucketEntry> passed_over;
    size_t best = first.candidate;
    while (drop_stale_entries(bucket) && !buckets_[bucket].front().without_discrete) {
      const BucketEntry entry = buckets_[bucket].front();
      if (discrete_subset_is_maximal(entry.candidate)) {
        best = entry.candidate;
        break;
      }
      pop_bucket(bucket);
      passed_over.push_back(entry);
    }
    for (const BucketEntry& entry : passed_over) {
      buckets_[bucket].push_back(entry);
      std::push_heap(buckets_[bucket].begin(), buckets_[bucket].end(), std::greater<>());
    }
    return best;
  }

  // No other candidate of the same bucket has all the unvisited discrete members of this one and more.
  bool discrete_subset_is_maximal(size_t i) const {
    VertexSet subset;
    for (const Vertex v : cliques_[i]) {
      if (!is_visited(v) && !is_continuous(v)) subset.push_back(v);
    }
    const Vertex rarest = *std::min_element(subset.begin(), subset.end(), [this](Vertex a, Vertex b) {
      return holders_.of(a).size() < holders_.of(b).size();
    });
    const std::span<const size_t> others = holders_.of(rarest);
    return std::none_of(others.begin(), others.end(), [&](size_t other) {
      const Candidate& candidate = candidates_[other];
      return other != i && !candidate.taken && candidate.visited == candidates_[i].visited &&
             candidate.unvisited_discrete > subset.size() && contains_all(cliques_[other], subset);
    });
  }

  static bool contains_all(std::span<const Vertex> set, std::span<const Vertex> subset) noexcept {
    return std::includes(set.begin(), set.end(), subset.begin(), subset.end());
  }

  // The clique below the one that numbered the newest of the visited members which is lightest among
  // those that contain them all. Cliques with the same separator share one search.
  void select_parent_clique(size_t i) {
    const size_t first = members_.size();
    for (const Vertex v : cliques_[i]) {
      if (is_visited(v)) members_.push_back(v);
    }
    const std::span<const Vertex> separator{members_.data() + first, members_.size() - first};
    if (separator.empty()) return;
    const Vertex newest = *std::max_element(separator.begin(), separator.end(),
                                            [this](Vertex a, Vertex b) { return time_[a] < time_[b]; });
    size_t known = known_by_newest_[newest];
    while (known != kNone && !std::ranges::equal(members_of(known_[known]), separator))
      known = known_[known].next;
    const bool is_new = known == kNone;
    if (is_new) {
      known = known_.size();
      const size_t lightest = search_subtree(result_.visited_by[newest], separator);
      known_.push_back({first, separator.size(), lightest, known_by_newest_[newest]});
      known_by_newest_[newest] = known;
    }
    adopt(known_[known].lightest, i);
    for (const Vertex v : separator) prefer(i, separator, known_by_newest_[v]);
    if (!is_new) members_.resize(first);
  }

  std::span<const Vertex> members_of(const KnownSeparator& separator) const noexcept {
    return {members_.data() + separator.first, separator.size};
  }

  void adopt(size_t parent, size_t child) noexcept {
    result_.parent[child] = parent;
    candidates_[child].sibling = candidates_[parent].child;
    candidates_[parent].child = child;
  }

  // From now on the clique is the lightest for the known separators of the list that are inside its own.
  void prefer(size_t clique, std::span<const Vertex> separator, size_t known) noexcept {
    for (; known != kNone; known = known_[known].next) {
      ++looks_;
      KnownSeparator& inner = known_[known];
      if (candidates_[clique].weight < candidates_[inner.lightest].weight &&
          contains_all(separator, members_of(inner))) {
        inner.lightest = clique;
      }
    }
  }

  size_t search_subtree(size_t top, std::span<const Vertex> separator) {
    size_t best = top;
    pending_.assign(1, top);
    while (!pending_.empty()) {
      const size_t i = pending_.back();
      pending_.pop_back();
      looks_ += separator.size();
      const double weight = candidates_[i].weight;
      const double best_weight = candidates_[best].weight;
      if (weight < best_weight || (weight == best_weight && position(i) < position(best))) best = i;
      for (size_t child = candidates_[i].child; child != kNone; child = candidates_[child].sibling) {
        looks_ += separator.size();
        if (contains_all(cliques_[child], separator)) pending_.push_back(child);
      }
    }
    return best;
  }

  // When a clique was taken: the time of the first member that it numbered.
  size_t position(size_t i) const noexcept {
    size_t first = kNone;
    for (const Vertex v : cliques_[i]) {
      if (result_.visited_by[v] == i) first = std::min(first, time_[v]);
    }
    return first;
  }

  void visit_members(size_t i) {
    unvisited_.clear();
    for (const Vertex v : cliques_[i]) {
      if (!is_visited(v)) unvisited_.push_back(v);
    }
    std::sort(unvisited_.begin(), unvisited_.end(), [this](Vertex a, Vertex b) {
      const size_t of_a = holders_.of(a).size(), of_b = holders_.of(b).size();
      return of_a != of_b ? of_a > of_b : a < b;
    });
    touched_.clear();
    for (const Vertex v : unvisited_) {
      time_[v] = ++clock_;
      result_.visited_by[v] = i;
      result_.number[v] = is_continuous(v) ? discrete_count_ + ++continuous_numbers_ : ++discrete_numbers_;
      looks_ += holders_.of(v).size();
      for (const size_t holder : holders_.of(v)) {
        Candidate& candidate = candidates_[holder];
        ++candidate.visited;
        --(is_continuous(v) ? candidate.unvisited_continuous : candidate.unvisited_discrete);
        if (candidate.taken || touched_mark_[holder]) continue;
        touched_mark_[holder] = true;
        touched_.push_back(holder);
      }
    }
    for (const size_t holder : touched_) {
      touched_mark_[holder] = false;
      enter_bucket(holder);
    }
  }

  const VertexGraph& graph_;
  const std::vector<VertexSet>& cliques_;
  std::vector<Candidate> candidates_;
  CliqueIndex holders_;
  std::vector<KnownSeparator> known_;
  std::vector<size_t> known_by_newest_;            // by vertex: the head of a list
  VertexSet members_;                              // of the known separators
  std::vector<std::vector<BucketEntry>> buckets_;  // heaps, by number of visited members
  std::vector<size_t> time_;                       // by vertex: 1, 2 ... ; 0 while unvisited
  std::vector<size_t> pending_;                    // of the present search
  VertexSet unvisited_;                            // members of the present clique
  std::vector<bool> touched_mark_;
  std::vector<size_t> touched_;
  size_t looks_ = 0;  // at lists, since the last report
  size_t clock_ = 0, discrete_count_ = 0, discrete_numbers_ = 0, continuous_numbers_ = 0;
  CliqueOrder result_;
};

}  // namespace

bool cliques_cover_graph(const VertexGraph& graph, const std::vector<VertexSet>& cliques) {
  const CliqueIndex holders(graph.size(), cliques);
  std::vector<Vertex> mark(graph.size(), 0);  // v + 1 for the vertices that share a clique with v
  for (Vertex v = 0; v < graph.size(); ++v) {
    if (holders.of(v).empty()) return false;
    for (const size_t i : holders.of(v)) {
      for (const Vertex u : cliques[i]) mark[u] = v + 1;
    }
    for (const Vertex u : graph.neighbors(v)) {
      if (mark[u] != v + 1) return false;
    }
  }
  return true;
}

tv_status_t _tv_perform_hypergraph_mcs(const VertexGraph& graph, const std::vector<VertexSet>& cliques,
                                       Progress& progress, CliqueOrder& result) {
  return HypergraphSearch(graph, cliques).run(progress, result);
}

}  // namespace tv

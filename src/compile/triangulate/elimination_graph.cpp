// Adjusting scores while vertices are eliminated. All links that one elimination adds are counted together:
// a vertex that is adjacent to some of the neighbours that are being linked has so many fewer missing links
// as are missing between these, and each of the linked ones has so many more as that vertex is not adjacent
// to. Both are intersections of rows of bits.
#include "compile/triangulate/elimination_graph.h"

#include <algorithm>

namespace tv {
namespace {

// A longer list is not multiplied anew whenever one member changes.
constexpr size_t kLongList = 64;
constexpr double kFirstRounded = 9007199254740992.0;  // 2^53: products below it are exact

}  // namespace

EliminationGraph::EliminationGraph(const VertexGraph& graph) : records_(graph.size()), rows_(graph.size()) {
  start_records(graph);
  subtract_links(graph);
}

EliminationGraph::EliminationGraph(const EliminationGraph& start, bool weighted)
    : weighted_(weighted), records_(start.records_), lists_(start.lists_), rows_(start.size()) {
  if (weighted) return;
  for (Record& record : records_) score_clique(record);
}

std::span<const Vertex> EliminationGraph::neighbors(Vertex v) noexcept {
  Record& record = records_[v];
  if (record.listed > record.degree) sweep(record);
  return list(record);
}

VertexSet EliminationGraph::clique_of(Vertex v) {
  const std::span<const Vertex> neighbors = this->neighbors(v);
  const auto place = std::lower_bound(neighbors.begin(), neighbors.end(), v);
  VertexSet clique;
  clique.reserve(neighbors.size() + 1);
  clique.assign(neighbors.begin(), place);
  clique.push_back(v);
  clique.insert(clique.end(), place, neighbors.end());
  return clique;
}

void EliminationGraph::find_fill_ins(Vertex v, Progress& progress, Elimination& elimination) {
  const std::span<const Vertex> neighbors = this->neighbors(v);
  if (records_[v].missing_links == 0) {
    rows_.start(v, {});
    return;
  }
  rows_.start(v, neighbors);
  for (size_t i = 0; i < neighbors.size(); ++i) {
    const std::span<const Vertex> others = list(records_[neighbors[i]]);
    if (progress.stop_requested(others.size())) return;
    rows_.see(i, others);
  }
  rows_.find_missing();
  const auto clique = static_cast<std::uint32_t>(elimination.cliques.size());
  rows_.for_each(rows_.incomplete(), [&](size_t i) {
    rows_.for_each(rows_.missing(i), [&](size_t j) {
      if (j > i) elimination.fill_ins.push_back({neighbors[i], neighbors[j], clique});
    });
    progress.stop_requested(neighbors.size());
  });
}

void EliminationGraph::link_neighbors(Progress& progress, VertexSet& changed) {
  if (rows_.members() == 0 || progress.stop_requested(0)) return;
  start_gains();
  touched_.clear();
  for (size_t row = rows_.members(); row < rows_.rows(); ++row) {
    if (progress.stop_requested(rows_.words())) return;
    count_links_near(row);
  }
  std::sort(touched_.begin(), touched_.end(), [](const Touched& a, const Touched& b) {
    return a.first_link != b.first_link ? a.first_link < b.first_link : a.vertex < b.vertex;
  });
  for (const Touched& touched : touched_) changed.push_back(touched.vertex);
  for (size_t member = 0; member < rows_.members(); ++member) {
    if (progress.stop_requested(rows_.members() * rows_.words())) return;
    count_links_of_member(member);
  }
  rows_.for_each(rows_.incomplete(), [&](size_t member) { join_missing(member); });
}

void EliminationGraph::start_gains() {
  gains_.assign(rows_.members(), {});
  if (weighted_) {
    for (size_t i = 0; i < gains_.size(); ++i) gains_[i].weight = records_[rows_.vertex(i)].fill_weight;
  }
  rows_.for_each(rows_.incomplete(), [&](size_t i) {
    const BitRow missing = rows_.missing(i);
    gains_[i].links = rows_.count_common(missing, missing);
    if (weighted_) gains_[i].link_weight = common_weight(missing, missing);
  });
}

// The vertex of the row is none of the neighbours that are being linked. Each link is met from both of its
// ends.
void EliminationGraph::count_links_near(size_t row) {
  Record& record = records_[rows_.vertex(row)];
  const BitRow near = rows_.row(row);
  size_t links = 0, first_link = kNone;
  double weight = 0.0;
  rows_.for_each_common(near, rows_.incomplete(), [&](size_t a) {
    const BitRow missing = rows_.missing(a);
    Gain& gain = gains_[a];
    const size_t common = rows_.count_common(missing, near);
    if (common > 0 && first_link == kNone) {
      rows_.for_each_common(missing, near, [&](size_t b) {
        if (first_link == kNone) first_link = a * rows_.members() + b;
      });
    }
    links += common;
    gain.missing_links += gain.links - common;
    if (!weighted_) return;
    const double of_common = common > 0 ? common_weight(missing, near) : 0.0;
    weight += gain.weight * of_common;
    gain.missing_weight += record.fill_weight * (gain.link_weight - of_common);
  });
  if (links == 0) return;
  touched_.push_back({first_link, rows_.vertex(row)});
  record.missing_links -= links / 2;
  if (weighted_) record.fill_in_score = record.missing_links == 0 ? 0.0 : record.fill_in_score - weight / 2;
}

void EliminationGraph::count_links_of_member(size_t member) {
  Record& record = records_[rows_.vertex(member)];
  const BitRow near = rows_.row(member);
  const Gain& gain = gains_[member];
  size_t links = 0;
  double weight = 0.0;
  rows_.for_each_common(near, rows_.incomplete(), [&](size_t a) {
    links += rows_.count_common(rows_.missing(a), near);
    if (weighted_) weight += gains_[a].weight * common_weight(rows_.missing(a), near);
  });
  record.missing_links += gain.missing_links;
  record.missing_links -= links / 2;
  record.fill_in_score += gain.missing_weight - weight / 2;
}

double EliminationGraph::common_weight(BitRow a, BitRow b) const noexcept {
  double weight = 0.0;
  rows_.for_each_common(a, b, [&](size_t i) { weight += gains_[i].weight; });
  return weight;
}

// Merges the missing neighbours of a member into its list, from the back.
void EliminationGraph::join_missing(size_t member) {
  Record& record = records_[rows_.vertex(member)];
  const Gain& gain = gains_[member];
  joined_.clear();
  rows_.for_each(rows_.missing(member), [&](size_t other) {
    const Record& joined = records_[rows_.vertex(other)];
    joined_.push_back(rows_.vertex(other));
    record.continuous += joined.is_continuous;
    if (weighted_) record.product *= joined.states;
  });
  size_t left = record.listed;
  lengthen_list(record, joined_.size());
  const std::span<Vertex> merged = list(record);
  size_t end = merged.size();
  for (size_t i = joined_.size(); i-- > 0;) {
    while (left > 0 && merged[left - 1] > joined_[i]) merged[--end] = merged[--left];
    merged[--end] = joined_[i];
  }
  record.degree += gain.links;
  record.neighbor_weight += gain.link_weight;
  record.product_is_rounded = record.product_is_rounded || record.product >= kFirstRounded;
}

void EliminationGraph::lengthen_list(Record& record, size_t more) {
  const size_t length = record.listed + more;
  if (length > record.room) {
    const size_t first = lists_.size();
    lists_.resize(first + 2 * length);
    std::copy_n(lists_.begin() + static_cast<ptrdiff_t>(record.first), record.listed,
                lists_.begin() + static_cast<ptrdiff_t>(first));
    record.first = first;
    record.room = static_cast<Vertex>(2 * length);
  }
  record.listed = static_cast<Vertex>(length);
}

void EliminationGraph::take_out(Vertex v) {
  const std::span<const Vertex> neighbors = this->neighbors(v);
  const Record& gone = records_[v];
  rows_.forget(v);
  double clique_weight = gone.fill_weight;
  if (weighted_) {
    for (const Vertex u : neighbors) clique_weight += records_[u].fill_weight;
  }
  for (const Vertex u : neighbors) {
    Record& record = records_[u];
    record.missing_links -= record.degree - neighbors.size();
    --record.degree;
    if (weighted_) {
      record.fill_in_score -=
          gone.fill_weight * (record.neighbor_weight - (clique_weight - record.fill_weight));
      if (record.missing_links == 0) record.fill_in_score = 0.0;
      record.neighbor_weight -= gone.fill_weight;
      record.product /= gone.states;
      record.continuous -= gone.is_continuous;
    }
    if (record.listed > 2 * record.degree + 8) sweep(record);
    if (record.product_is_rounded && record.degree <= kLongList) multiply_states(record);
    score_clique(record);
  }
}

// Drops the vertices that are gone from the neighbour list.
void EliminationGraph::sweep(Record& record) noexcept {
  const std::span<Vertex> all = list(record);
  const auto end = std::remove_if(all.begin(), all.end(), [this](Vertex u) { return rows_.is_gone(u); });
  record.listed = static_cast<Vertex>(end - all.begin());
  if (weighted_) multiply_states(record);
}

void EliminationGraph::multiply_states(Record& record) noexcept {
  record.product = record.states;
  for (const Vertex u : list(record)) {
    if (!rows_.is_gone(u)) record.product *= records_[u].states;
  }
  record.product_is_rounded = record.product >= kFirstRounded;
}

void EliminationGraph::score_clique(Record& record) const noexcept {
  record.clique_score = weighted_ ? record.product * continuous_factor(record.continuous)
                                  : static_cast<double>(record.degree + 1);
}

void EliminationGraph::start_records(const VertexGraph& graph) {
  lists_.reserve(graph.link_ends());
  for (Vertex v = 0; v < graph.size(); ++v) {
    Record& record = records_[v];
    const std::span<const Vertex> neighbors = graph.neighbors(v);
    record.first = lists_.size();
    record.listed = record.room = static_cast<Vertex>(neighbors.size());
    lists_.insert(lists_.end(), neighbors.begin(), neighbors.end());
    record.degree = neighbors.size();
    record.is_continuous = is_continuous(*graph.nodes[v]);
    record.states = record.fill_weight = state_count(*graph.nodes[v]);
  }
  for (Record& record : records_) {
    record.continuous = record.is_continuous;
    double squares = 0.0;
    for (const Vertex u : list(record)) {
      record.neighbor_weight += records_[u].fill_weight;
      squares += records_[u].fill_weight * records_[u].fill_weight;
      record.continuous += records_[u].is_continuous;
    }
    multiply_states(record);
    score_clique(record);
    record.missing_links = record.degree * (record.degree - 1) / 2;  // less the links that exist
    record.fill_in_score = (record.neighbor_weight * record.neighbor_weight - squares) / 2;
  }
}

// Takes each link between two neighbours of a vertex off that vertex's missing links: each triangle is
// found once, from its corner that comes first by degree, so that vertices of high degree cost little.
void EliminationGraph::subtract_links(const VertexGraph& graph) {
  const auto comes_first = [&](Vertex a, Vertex b) {
    return records_[a].degree != records_[b].degree ? records_[a].degree < records_[b].degree : a < b;
  };
  VertexSet later;  // of the neighbours of each vertex those that come later, list behind list
  std::vector<size_t> ends;
  later.reserve(lists_.size() / 2);
  ends.reserve(graph.size());
  for (Vertex v = 0; v < graph.size(); ++v) {
    for (const Vertex u : graph.neighbors(v)) {
      if (comes_first(v, u)) later.push_back(u);
    }
    ends.push_back(later.size());
  }
  const auto later_of = [&](Vertex v) {
    const size_t first = v == 0 ? 0 : ends[v - 1];
    return std::span<const Vertex>(later.data() + first, ends[v] - first);
  };
  // All that the innermost loop touches, close together.
  struct Corner {
    Vertex near = 0;  // v + 1 while the vertex comes later than its neighbour v
    double fill_weight = 1.0;
    size_t links = 0;    // found between its neighbours
    double score = 0.0;  // of these links
  };
  std::vector<Corner> corners(graph.size());
  for (Vertex v = 0; v < graph.size(); ++v) corners[v].fill_weight = records_[v].fill_weight;
  for (Vertex v = 0; v < graph.size(); ++v) {
    for (const Vertex u : later_of(v)) corners[u].near = v + 1;
    Corner& first = corners[v];
    for (const Vertex a : later_of(v)) {
      Corner& second = corners[a];
      const double product = first.fill_weight * second.fill_weight;
      size_t links = 0;
      double weight = 0.0;
      for (const Vertex b : later_of(a)) {
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
    Record& record = records_[v];
    record.missing_links -= corners[v].links;
    record.fill_in_score = record.missing_links == 0 ? 0.0 : record.fill_in_score - corners[v].score;
  }
}

}  // namespace tv

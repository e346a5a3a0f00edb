// The order of a search is the better of two. One binds parents before their children, which leads into no
// dead end where the tables of the children are all there is; the other goes from relation to relation, those
// first that leave least open. Both are led by how many states a node has left, which the rows of the
// relations tell.
#include "inference/compress/join_order.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <tuple>

namespace tv {
namespace {

constexpr size_t kSample = 2048;  // rows of a relation that are looked at

// Rows of a relation in groups that agree in the nodes bound so far. How often two rows agree is estimated
// without bias from a sample, and is too seldom to be seen only where hardly anything is left open.
class GroupedRows {
 public:
  GroupedRows(const PackedRows& relation, const std::vector<const Node*>& nodes);

  struct Column {
    size_t node;  // position in the list of the search
    std::vector<uint32_t> states;
    bool is_bound = false;
    double extensions = 0.0;  // with this column bound as well; 0 until asked for
  };
  const std::vector<Column>& columns() const noexcept { return columns_; }
  bool any_bound() const noexcept { return any_bound_; }

  // How many rows agree with a row in the nodes bound, on average; also with one column more.
  double extensions() const noexcept { return extensions_of(pairs_); }
  double extensions_with(size_t column);
  void bind(size_t column);

 private:
  double extensions_of(double pairs) const noexcept { return 1.0 + pairs * scale_; }

  std::vector<Column> columns_;
  std::vector<uint32_t> rows_;    // of groups of several, group behind group
  std::vector<size_t> ends_;      // of the groups
  std::vector<uint32_t> counts_;  // by state, all zero between calls
  double pairs_ = 0.0;            // of rows that agree
  double scale_ = 0.0;
  bool any_bound_ = false;
};

std::vector<size_t> sampled_rows(size_t count) {
  std::vector<size_t> rows(std::min(count, kSample));
  std::iota(rows.begin(), rows.end(), 0);
  if (count <= kSample) return rows;
  uint64_t random = count;
  for (size_t& row : rows) {  // not at regular distances, at which rows never agree
    random = random * 6364136223846793005u + 1442695040888963407u;
    row = static_cast<size_t>((random >> 32) * count >> 32);
  }
  std::sort(rows.begin(), rows.end());
  rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
  return rows;
}

GroupedRows::GroupedRows(const PackedRows& relation, const std::vector<const Node*>& nodes) {
  const std::vector<size_t> sample = sampled_rows(relation.size());
  size_t most_states = 0;
  for (size_t i = 0; i < relation.nodes.size(); ++i) {
    const auto found = std::find(nodes.begin(), nodes.end(), relation.nodes[i]);
    if (found == nodes.end()) continue;
    Column& column = columns_.emplace_back();
    column.node = static_cast<size_t>(found - nodes.begin());
    for (const size_t row : sample) column.states.push_back(static_cast<uint32_t>(relation.state(row, i)));
    most_states = std::max(most_states, relation.nodes[i]->number_of_states);
  }
  counts_.assign(most_states, 0);
  rows_.resize(sample.size());
  std::iota(rows_.begin(), rows_.end(), 0);
  if (rows_.size() > 1) ends_.push_back(rows_.size());
  const auto size = static_cast<double>(sample.size());
  pairs_ = size * (size - 1.0) / 2.0;
  scale_ = 2.0 * static_cast<double>(relation.size()) / (size * size);
}

double GroupedRows::extensions_with(size_t column) {
  double& extensions = columns_[column].extensions;
  if (extensions > 0.0) return extensions;
  const std::vector<uint32_t>& states = columns_[column].states;
  double pairs = 0.0;
  size_t row = 0;
  for (const size_t end : ends_) {
    const size_t begin = row;
    for (; row < end; ++row) pairs += counts_[states[rows_[row]]]++;
    for (size_t i = begin; i < end; ++i) counts_[states[rows_[i]]] = 0;
  }
  return extensions = extensions_of(pairs);
}

void GroupedRows::bind(size_t column) {
  columns_[column].is_bound = any_bound_ = true;
  for (Column& other : columns_) other.extensions = 0.0;
  const std::vector<uint32_t>& states = columns_[column].states;
  std::vector<uint32_t> rows;
  std::vector<size_t> ends;
  pairs_ = 0.0;
  size_t begin = 0;
  for (const size_t end : ends_) {
    std::sort(rows_.begin() + static_cast<ptrdiff_t>(begin), rows_.begin() + static_cast<ptrdiff_t>(end),
              [&](uint32_t a, uint32_t b) { return std::tie(states[a], a) < std::tie(states[b], b); });
    while (begin < end) {
      size_t next = begin + 1;
      while (next < end && states[rows_[next]] == states[rows_[begin]]) ++next;
      const size_t size = next - begin;
      if (size > 1) {
        rows.insert(rows.end(), rows_.begin() + static_cast<ptrdiff_t>(begin),
                    rows_.begin() + static_cast<ptrdiff_t>(next));
        ends.push_back(rows.size());
        pairs_ += static_cast<double>(size) * static_cast<double>(size - 1) / 2.0;
      }
      begin = next;
    }
  }
  rows_.swap(rows);
  ends_.swap(ends);
}

// An order that grows node by node.
class Binding {
 public:
  Binding(const std::vector<const Node*>& nodes, const std::vector<GroupedRows>& relations);

  void bind_parents_first();
  void bind_relations();
  SearchOrder take();

 private:
  struct Use {
    size_t relation, column;
  };
  struct Candidate {
    std::vector<Use> uses;
    std::vector<size_t> parents;  // among the nodes
    bool is_bound = false;
    double branching = 1.0;  // states that are left, on average
  };

  void measure(size_t node);
  void bind(size_t node);
  bool is_better(size_t a, size_t b) const noexcept;
  size_t least_open_relation() const noexcept;

  bool waits(size_t node) const noexcept {
    const std::vector<size_t>& parents = candidates_[node].parents;
    return std::any_of(parents.begin(), parents.end(),
                       [&](size_t parent) { return !candidates_[parent].is_bound; });
  }

  const std::vector<const Node*>& nodes_;
  std::vector<GroupedRows> relations_;
  std::vector<Candidate> candidates_;
  SearchOrder order_;
  double rows_ = 1.0;  // of the nodes bound so far, estimated
};

Binding::Binding(const std::vector<const Node*>& nodes, const std::vector<GroupedRows>& relations)
    : nodes_(nodes), relations_(relations), candidates_(nodes.size()) {
  for (size_t relation = 0; relation < relations_.size(); ++relation)
    for (size_t column = 0; column < relations_[relation].columns().size(); ++column)
      candidates_[relations_[relation].columns()[column].node].uses.push_back({relation, column});
  std::vector<std::pair<const Node*, size_t>> places;
  for (size_t node = 0; node < nodes.size(); ++node) places.emplace_back(nodes[node], node);
  std::sort(places.begin(), places.end());
  for (size_t node = 0; node < nodes.size(); ++node) {
    for (const Node* parent : nodes[node]->parents) {
      const auto found = std::lower_bound(places.begin(), places.end(), std::pair(parent, size_t{0}));
      if (found != places.end() && found->first == parent) candidates_[node].parents.push_back(found->second);
    }
    measure(node);
  }
}

void Binding::measure(size_t node) {
  Candidate& candidate = candidates_[node];
  candidate.branching = static_cast<double>(nodes_[node]->number_of_states);
  for (const Use& use : candidate.uses) {
    GroupedRows& relation = relations_[use.relation];
    candidate.branching =
        std::min(candidate.branching, relation.extensions() / relation.extensions_with(use.column));
  }
}

void Binding::bind(size_t node) {
  Candidate& candidate = candidates_[node];
  candidate.is_bound = true;
  order_.nodes.push_back(nodes_[node]);
  rows_ *= candidate.branching;
  order_.steps += rows_;
  std::vector<size_t> touched;
  for (const Use& use : candidate.uses) {
    relations_[use.relation].bind(use.column);
    for (const GroupedRows::Column& column : relations_[use.relation].columns())
      if (!candidates_[column.node].is_bound) touched.push_back(column.node);
  }
  std::sort(touched.begin(), touched.end());
  touched.erase(std::unique(touched.begin(), touched.end()), touched.end());
  for (const size_t other : touched) measure(other);
}

// What is determined comes at once, and what is in no relation last. Otherwise parents come before children,
// few states before many, and nodes related to those bound before others.
bool Binding::is_better(size_t a, size_t b) const noexcept {
  const auto rank = [&](size_t node) {
    const Candidate& candidate = candidates_[node];
    const long quarters = std::lround(4.0 * std::log2(std::max(candidate.branching, 1.0)));
    const auto touched = std::count_if(candidate.uses.begin(), candidate.uses.end(),
                                       [&](const Use& use) { return relations_[use.relation].any_bound(); });
    return std::tuple(candidate.uses.empty(), quarters > 0 && waits(node), quarters, -touched,
                      -static_cast<ptrdiff_t>(candidate.uses.size()), node);
  };
  return rank(a) < rank(b);
}

void Binding::bind_parents_first() {
  for (size_t count = nodes_.size() - order_.nodes.size(); count > 0; --count) {
    size_t best = nodes_.size();
    for (size_t node = 0; node < nodes_.size(); ++node)
      if (!candidates_[node].is_bound && (best == nodes_.size() || is_better(node, best))) best = node;
    bind(best);
  }
}

// That leaves open the smallest share of its nodes' information; none if all are bound.
size_t Binding::least_open_relation() const noexcept {
  size_t best = relations_.size();
  double least = 0.0;
  for (size_t relation = 0; relation < relations_.size(); ++relation) {
    double bits = 0.0;
    for (const GroupedRows::Column& column : relations_[relation].columns())
      if (!column.is_bound) bits += std::log2(static_cast<double>(nodes_[column.node]->number_of_states));
    if (bits == 0.0) continue;
    const double open = std::log2(relations_[relation].extensions()) / bits;
    if (best != relations_.size() && open >= least) continue;
    best = relation;
    least = open;
  }
  return best;
}

void Binding::bind_relations() {
  for (size_t relation; (relation = least_open_relation()) != relations_.size();) {
    const GroupedRows::Column* best = nullptr;
    for (const GroupedRows::Column& column : relations_[relation].columns()) {
      if (column.is_bound) continue;
      if (!best || candidates_[column.node].branching < candidates_[best->node].branching) best = &column;
    }
    bind(best->node);
  }
  bind_parents_first();
}

SearchOrder Binding::take() { return std::move(order_); }

}  // namespace

SearchOrder order_of_search(const std::vector<const Node*>& nodes,
                            const std::vector<const PackedRows*>& relations) {
  std::vector<const Node*> open;
  for (const Node* node : nodes)
    if (node->number_of_states > 1) open.push_back(node);
  std::vector<GroupedRows> samples;
  for (const PackedRows* relation : relations) samples.emplace_back(*relation, open);
  Binding by_parents(open, samples), by_relations(open, samples);
  by_parents.bind_parents_first();
  by_relations.bind_relations();
  SearchOrder first = by_parents.take(), second = by_relations.take();
  return second.steps < first.steps ? second : first;
}

}  // namespace tv

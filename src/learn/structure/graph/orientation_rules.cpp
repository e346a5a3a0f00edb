// A link that gets a direction is put on a list. Each rule is looked up from the directed links among its
// premises, when they are taken from there, so that no part of the graph is looked at in vain.
#include "learn/structure/graph/orientation_rules.h"

#include <utility>

#include "learn/structure/graph/links_by_kind.h"

namespace tv {
namespace {

class Orientation {
 public:
  Orientation(PartialGraph& graph, const Knowledge& knowledge, const AmbiguousTriples& ambiguous)
      : graph_(graph), knowledge_(knowledge), ambiguous_(ambiguous), links_(graph), reachability_(links_) {}

  void direct(size_t from, size_t to) {
    if (!links_.undirected.has(from, to)) return;
    if (knowledge_.size() > 0 && !knowledge_.allows(from, to)) return;
    if (reachability_.leads(to, from)) return;
    graph_.direct(from, to);
    links_.direct(from, to);
    reachability_.add(from, to);
    waiting_.emplace_back(from, to);
  }

  void close() {
    for (size_t from = 0; from < links_.size(); ++from)
      visit(links_.children.row(from), [&](size_t to) { waiting_.emplace_back(from, to); });
    for (size_t i = 0; i < waiting_.size(); ++i) {
      const auto [from, to] = waiting_[i];
      avoid_colliders(from, to);
      avoid_triangles(from, to);
      avoid_crossed_pair(from, to);
      avoid_longer_cycle_upwards(from, to);
      avoid_longer_cycle_downwards(from, to);
    }
  }

 private:
  template <class Visit>
  void visit(const uint64_t* row, Visit found) {
    for (size_t w = 0; w < links_.words(); ++w) for_each_bit(row[w], w, found);
  }
  template <class Visit>
  void visit_both(const uint64_t* a, const uint64_t* b, Visit found) {
    for (size_t w = 0; w < links_.words(); ++w) for_each_bit(a[w] & b[w], w, found);
  }
  template <class Visit>
  void visit_first_alone(const uint64_t* a, const uint64_t* b, Visit found) {
    for (size_t w = 0; w < links_.words(); ++w) for_each_bit(a[w] & ~b[w], w, found);
  }

  // R1: a -> b - c without a link between a and c: b -> c.
  void avoid_colliders(size_t a, size_t b) {
    visit_first_alone(links_.undirected.row(b), links_.adjacent.row(a), [&](size_t c) {
      if (!ambiguous_.contain(a, b, c)) direct(b, c);
    });
  }

  // R2: a -> b -> c and a - c: a -> c. The given link is either of the two.
  void avoid_triangles(size_t from, size_t to) {
    visit_both(links_.children.row(to), links_.undirected.row(from), [&](size_t c) { direct(from, c); });
    visit_both(links_.parents.row(from), links_.undirected.row(to), [&](size_t a) { direct(a, to); });
  }

  // R3: a - b, a - c -> b and a - d -> b without a link between c and d: a -> b.
  void avoid_crossed_pair(size_t c, size_t b) {
    visit_both(links_.undirected.row(c), links_.undirected.row(b), [&](size_t a) {
      if (has_other_parent_apart(a, c, b)) direct(a, b);
    });
  }
  bool has_other_parent_apart(size_t a, size_t c, size_t b) const noexcept {
    bool has_any = false;
    for (size_t w = 0; w < links_.words() && !has_any; ++w) {
      uint64_t found = links_.parents.row(b)[w] & links_.undirected.row(a)[w] & ~links_.adjacent.row(c)[w];
      if (c / 64 == w) found &= ~bit_of(c);
      for_each_bit(found, w, [&](size_t d) { has_any = has_any || !ambiguous_.contain(c, a, d); });
    }
    return has_any;
  }

  // R4: a - b, a - d -> c -> b, a link between a and c, none between b and d: a -> b. Only directions that
  // experts have given lead to it.
  void avoid_longer_cycle_downwards(size_t d, size_t c) {
    visit_first_alone(links_.children.row(c), links_.adjacent.row(d),
                      [&](size_t b) { avoid_cycle_through(d, c, b); });
  }
  void avoid_longer_cycle_upwards(size_t c, size_t b) {
    visit_first_alone(links_.parents.row(c), links_.adjacent.row(b),
                      [&](size_t d) { avoid_cycle_through(d, c, b); });
  }
  void avoid_cycle_through(size_t d, size_t c, size_t b) {
    if (b == d) return;
    visit_both(links_.undirected.row(b), links_.undirected.row(d), [&](size_t a) {
      if (links_.adjacent.has(a, c)) direct(a, b);
    });
  }

  PartialGraph& graph_;
  const Knowledge& knowledge_;
  const AmbiguousTriples& ambiguous_;
  LinksByKind links_;
  Reachability reachability_;
  std::vector<std::pair<size_t, size_t>> waiting_;
};

}  // namespace

void apply_knowledge(PartialGraph& graph, const Knowledge& knowledge) {
  if (knowledge.size() == 0) return;
  const AmbiguousTriples none;
  Orientation orientation(graph, knowledge, none);
  for (size_t a = 0; a < graph.size(); ++a)
    for (size_t b = a + 1; b < graph.size(); ++b) {
      if (knowledge.allows(a, b) == knowledge.allows(b, a)) continue;
      if (knowledge.allows(a, b))
        orientation.direct(a, b);
      else
        orientation.direct(b, a);
    }
}

void apply_orientation_rules(PartialGraph& graph, const Knowledge& knowledge,
                             const AmbiguousTriples& ambiguous) {
  Orientation(graph, knowledge, ambiguous).close();
}

}  // namespace tv

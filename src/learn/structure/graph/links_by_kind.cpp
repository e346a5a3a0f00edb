// Rows of links by kind, and reachability along directed ones.
#include "learn/structure/graph/links_by_kind.h"

namespace tv {

LinksByKind::LinksByKind(const PartialGraph& graph)
    : parents(graph.size()), children(graph.size()), undirected(graph.size()), adjacent(graph.size()) {
  const auto set = [](BitMatrix& rows, BitMatrix& opposite, size_t a, size_t b) {
    rows.set(a, b);
    opposite.set(b, a);
  };
  for (size_t a = 0; a < graph.size(); ++a)
    for (size_t b = a + 1; b < graph.size(); ++b) {
      const tv_structure_link_t link = graph.link(a, b);
      if (link == tv_structure_link_none) continue;
      set(adjacent, adjacent, a, b);
      if (link == tv_structure_link_undirected) set(undirected, undirected, a, b);
      if (link == tv_structure_link_directed) set(children, parents, a, b);
      if (link == tv_structure_link_reversed) set(parents, children, a, b);
    }
}

void LinksByKind::direct(size_t from, size_t to) noexcept {
  undirected.clear(from, to);
  undirected.clear(to, from);
  children.set(from, to);
  parents.set(to, from);
}

Reachability::Reachability(const LinksByKind& links) : reached_(links.size()) {
  for (size_t v = 0; v < links.size(); ++v) reached_.set(v, v);
  for (size_t from = 0; from < links.size(); ++from)
    for (size_t w = 0; w < links.words(); ++w)
      for_each_bit(links.children.row(from)[w], w, [&](size_t to) { add(from, to); });
}

void Reachability::add(size_t from, size_t to) noexcept {
  if (leads(from, to)) return;
  for (size_t v = 0; v < reached_.size(); ++v) {
    if (!leads(v, from) || leads(v, to)) continue;
    for (size_t w = 0; w < reached_.words(); ++w) reached_.row(v)[w] |= reached_.row(to)[w];
  }
}

}  // namespace tv

// The links of a decision model as plain lists of numbers, to be reduced and searched without touching the
// domain.
#pragma once

#include <vector>

#include "network/domain.h"

namespace tv {

class LimidGraph {
 public:
  using Vertex = size_t;  // a node's number less one
  using Vertices = std::vector<Vertex>;

  explicit LimidGraph(const Domain& domain);

  const Vertices& parents(Vertex v) const noexcept { return parents_[v]; }
  void add_link(Vertex parent, Vertex child);
  void remove_link(Vertex parent, Vertex child) noexcept;

  Vertices family(Vertex v) const;
  Vertices ancestors(Vertex v) const;  // without the vertex
  Vertices utility_descendants(Vertex v) const;

  // Whether the vertices of two sets are d-separated by those of a third (Pearl 1988); members of the third
  // set are separated from everything.
  bool _tv_limid_nodes_are_separated(const Vertices& from, const Vertices& to, const Vertices& given) const;

 private:
  Vertices reachable(Vertex start, const std::vector<Vertices>& links) const;

  size_t nodes_;  // vertices behind these stand for undirected links
  std::vector<Vertices> parents_, children_;
  std::vector<unsigned char> is_utility_;
};

}  // namespace tv

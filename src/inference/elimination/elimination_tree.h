// The clique tree over the unobserved nodes for one pattern of evidence. Without the observed nodes the moral
// graph loses many links and fill-ins, so that these cliques are a fraction of those of the compiled tree.
#pragma once

#include "inference/elimination/elimination_order.h"

namespace tv {

// Unobserved nodes are ranked by the order of their elimination, the first one 0. A clique lists its members
// by rank, so that those that are eliminated in it come first; the rest is the separator towards its parent.
struct EliminationTree {
  struct Clique {
    uint32_t first_member = 0;  // in `members`
    uint32_t member_count = 0;
    uint32_t eliminated = 0;      // how many of them
    uint32_t parent = kNoClique;  // a later clique
    size_t size = 1;              // configurations; kHugeSize on overflow
  };
  static constexpr uint32_t kNoClique = static_cast<uint32_t>(-1);

  std::vector<Node*> nodes;       // by rank
  std::vector<uint32_t> home_of;  // by rank: the clique in which it is eliminated
  std::vector<uint32_t> members;
  std::vector<Clique> cliques;
  double entries = 0.0;  // of all cliques

  const uint32_t* begin(const Clique& clique) const noexcept { return members.data() + clique.first_member; }
  const uint32_t* separator(const Clique& clique) const noexcept { return begin(clique) + clique.eliminated; }
  const uint32_t* end(const Clique& clique) const noexcept { return begin(clique) + clique.member_count; }
};

// Eliminates the vertices of the graph in this order.
EliminationTree eliminate(const ReducedGraph& graph, const std::vector<uint32_t>& order);

}  // namespace tv

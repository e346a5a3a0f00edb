// Directions for all links of a graph, so that what is known of it stays true.
#pragma once

#include "learn/structure/graph/structure.h"

namespace tv {

// Directs all undirected links as experts demand, without a directed cycle, and where it can be without a new
// collider of nodes that have no link (Dor and Tarsi 1992): again and again the first node is taken out that
// no directed link leaves and whose undirected neighbours have links to all others that it has links to; its
// links then lead into it. Where there is no such node, the one with the fewest new colliders is taken.
// False, with the graph as it was, where its directed links close a cycle or experts leave no way. Knowledge
// of size 0 is none.
bool direct_all(PartialGraph& graph, const Knowledge& knowledge);

// `usage` unless all links are directed and close no cycle.
tv_status_t check_is_directed(const Structure& structure);

}  // namespace tv

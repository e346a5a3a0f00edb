// What function nodes may depend on and pass on. See functional_trails.cpp for the definitions.
#pragma once

#include "network/links/graph_search.h"

namespace tv {

// The rules for a link from parent to child, which is not there yet: `cyclic_functional_dependency`,
// `functional_dependency` or `none`. `absent` is a link that will go when the new one comes.
tv_status_t check_functional_trails(Node& parent, Node& child, DirectedLink absent = {});

// Whether undirected links among the nodes, which are propagated together then, would complete a closed
// trail with a functional link.
bool would_close_functional_trail(const NodeList& group);

}  // namespace tv

// Links between nodes, the tables that follow them, and the questions about paths and trails that
// keep the graph well founded. All searches are iterative and leave every mark at 0.
#pragma once

#include "network/domain.h"
#include "network/node.h"

namespace tv {

// All of the model's rules are checked here: `usage` (different domains, already a parent, a kind of
// parent that the child cannot have), `cyclic_network`, `cyclic_functional_dependency`,
// `functional_dependency`, `no_memory`. A discrete parent goes to the front of the parents, any other to
// their end. Tables that exist follow; the domain is uncompiled.
tv_status_t add_parent(Node& child, Node& parent);

// `usage` when there is no such link, or when a chain potential gives it. The child's tables are averaged
// over the states of a discrete parent; the coefficient of a continuous one is dropped.
tv_status_t remove_parent(Node& child, Node& parent);

tv_status_t switch_parent(Node& child, Node& old_parent, Node& new_parent);
tv_status_t reverse_edge(Node& node1, Node& node2);

bool is_parent(const Node& parent, const Node& child) noexcept;

// A fresh array for the host, who frees it; null, with `no_memory` stored, where there is none.
Node** copy_for_host(const NodeList& nodes) noexcept;

// Without the node itself, in the order in which a breadth-first search meets them.
NodeList find_ancestors(const Node& node);
NodeList find_descendants(const Node& node);

// Whether no function node carries a dependency from a chance, decision or utility node on to another.
bool _tv_function_nodes_satisfy_limid_constraints(const Domain& domain);

}  // namespace tv

// The moves from which every change of the graph is made. `prepare_link` makes room, so that nothing
// after it can fail; tables and compilation are the caller's concern.
#pragma once

#include "network/domain.h"
#include "network/node.h"

namespace tv {

// A discrete parent goes to the front, any other to the end.
void insert_parent(NodeList& parents, Node* parent);

void prepare_link(Node& parent, Node& child);
void connect(Node& parent, Node& child) noexcept;  // after `prepare_link`
void disconnect(Node& parent, Node& child) noexcept;

}  // namespace tv

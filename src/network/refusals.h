// Messages for people about nodes: why a call about them was refused. Each stores the code and returns it;
// for null pointers there is nothing to say beyond it.
#pragma once

#include "network/node.h"

namespace tv {

// The name as it stands in messages, which must not create one.
const char* shown_name(const Node& node) noexcept;

// A state of the node in `size` bytes: its label, or "#index" where there is none.
void show_state(const Node& node, size_t state, char* text, size_t size) noexcept;

// `usage`: the node is not of the kind that the call is about, such as "a discrete one".
tv_status_t refuse_for_kind(const Node* node, const char* wanted) noexcept;

// `usage`: the node is not discrete, or has no such state.
tv_status_t refuse_state(const Node* node, size_t state) noexcept;

}  // namespace tv

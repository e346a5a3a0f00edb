// States and strings as the files and the reports of the library write them.
#pragma once

#include <string>
#include <string_view>

#include "network/types.h"

namespace tv {

// Between double quotes, with the escapes of the NET language: whatever the bytes are, the parser reads
// the same string back.
std::string quoted_text(std::string_view text);

// The quoted label where it names exactly this state, `false` or `true`, the value of a numbered state,
// or else "#" and the index: whatever identifies the state, so that it can be read back.
std::string state_text(const Node& node, size_t state);

// Whether the values of a numbered or interval node have been set and form an increasing sequence of
// finite numbers; the outer bounds of an interval node may be infinite.
bool state_values_are_valid(const Node& node) noexcept;

}  // namespace tv

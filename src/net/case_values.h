// Findings as case files write them, for the readers and writers of one case and of many.
#pragma once

#include <string>
#include <string_view>

#include "network/node.h"

namespace tv {

// What identifies a state, so that the reader finds it again: its quoted label, `false` or `true`, its value,
// or "#" and the index.
std::string finding_text(const Node& node, size_t state);

// The state that a finding of a file stands for. Each returns an empty text, or the message that says why
// there is none.
std::string state_of_index(const Node& node, double index, size_t& state);
std::string state_of_label(const Node& node, const std::string& label, size_t& state);
std::string state_of_value(Node& node, double value, size_t& state);
std::string state_of_word(std::string_view word, size_t& state);  // of a boolean node

bool can_have_findings(const Node& node) noexcept;

}  // namespace tv

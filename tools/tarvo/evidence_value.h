// One piece of evidence, in any of the forms that a case file knows, too: a label with or without quotes, the
// #index of a state, the value of a numbered, interval or continuous node, several states with commas between
// them, or a likelihood, a number for each state, in parentheses.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "network.h"

namespace program {

// The state of a discrete node that a word names; nothing where there is none, and words about that.
std::optional<size_t> find_any_state(const Network& network, tv_node_t* node, const std::string& word);
std::string no_such_state(tv_node_t* node, const std::string& word);

void enter_value(const Network& network, tv_node_t* node, const std::string& value);

// "v1,v2,..." or "(v1 v2 ...)". What is no list of likelihoods on any node is wrong usage.
std::vector<tv_number_t> parse_likelihood(const std::string& node, const std::string& text);
void enter_likelihood(const Network& network, tv_node_t* node, const std::string& text);

}  // namespace program

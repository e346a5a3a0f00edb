// Suggestions for misspelt names.
#pragma once

#include <string>
#include <vector>

namespace program {

// `; did you mean "NAME"?` for the candidate nearest to `word`, or nothing when none is near.
std::string did_you_mean(const std::string& word, const std::vector<std::string>& candidates);

}  // namespace program

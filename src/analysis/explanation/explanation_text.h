// An explanation in words.
#pragma once

#include "analysis/explanation/explanation.h"

namespace tv {

// `state`: the one that matters most. Reads the names of the nodes and what is entered on them.
std::string explanation_text(const tv_explanation_s& explanation, const Node& node, size_t state);

}  // namespace tv

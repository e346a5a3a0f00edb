// The separator that splits a graph with too many of them.
#pragma once

#include "compile/total_weight/separators.h"

namespace tv {

// Of the separators known, of which there is at least one.
template <size_t W>
size_t select_separator(const BitGraph<W>& graph, const SeparatorCollection<W>& separators,
                        const SeparatorScore& parameters, SearchBudget& budget);

}  // namespace tv

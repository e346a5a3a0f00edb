// Nodes that separate two sets and of which none can be spared.
#pragma once

#include "analysis/separation/observations.h"

namespace tv {

// Among the candidates; false where there is no such choice. Both sets hold nodes that are not known.
bool find_minimal_separator(const Domain& domain, const Observations& observations, const NodeList& nodes1,
                            const NodeList& nodes2, const NodeMarks& candidates, NodeList& separator);

}  // namespace tv

// Nodes that separate two sets and of which none can be spared.
#pragma once

#include "analysis/separation/knowledge.h"

namespace tv {

// Among the candidates; false where there is no such choice. Both sets hold nodes that are not known.
bool find_minimal_separator(const Domain& domain, const Knowledge& knowledge, const NodeList& nodes1,
                            const NodeList& nodes2, const NodeSet& candidates, NodeList& separator);

}  // namespace tv

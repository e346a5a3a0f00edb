// From counts to distributions.
#pragma once

#include "learn/families.h"

namespace tv {

// Sets the distribution of the family's node to the one that the counts, which hold the prior already, make
// most likely. Configurations of the parents with a negative experience count, and those that nothing
// reaches, keep theirs.
void maximize(const Family& family, const FamilyCounts& counts);

}  // namespace tv

// From counts to distributions.
#pragma once

#include "learn/block_sums.h"

namespace tv {

// Sets the distribution of the family's node to the one that the counts, which hold the prior already, make
// most likely. Configurations of the parents with a negative experience count, and those that nothing
// reaches, keep theirs.
void maximize(const Family& family, const FamilyCounts& counts);

void maximize_all(const std::vector<Family>& families, const std::vector<FamilyCounts>& counts);

// The counts of all cases, and what is known beforehand, which may be an empty list.
std::vector<FamilyCounts> counts_with_prior(const std::vector<Family>& families, BlockSums&& cases,
                                            const std::vector<FamilyCounts>& prior);

// Sets experience tables to what such counts hold. Configurations with a negative count keep it.
void set_experience(const std::vector<Family>& families, const std::vector<FamilyCounts>& counts,
                    const std::vector<FamilyCounts>& prior) noexcept;

}  // namespace tv

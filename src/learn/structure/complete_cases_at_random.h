// Completing the cases of a domain at random.
#pragma once

#include <cstdint>

#include "network/domain.h"
#include "network/progress.h"

namespace tv {

// Draws what each case of a propagated domain lacks from its distribution given what the case observes: what
// it draws for a case depends on the seed and the number of the case alone.
tv_status_t complete_cases_at_random(Domain& domain, uint64_t seed, size_t threads, ProgressMeter& progress);

}  // namespace tv

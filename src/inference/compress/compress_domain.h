// Compression of a whole domain, before or after it is compiled.
#pragma once

#include "compile/forest.h"

namespace tv {

// `usage`, with a message, for a domain that cannot be compressed.
tv_status_t check_for_compression(const Domain& domain) noexcept;

// Gives the trees of a triangulated domain that gain by it sparse tables, for engines that are made then;
// where that fails, all keep full ones. `usage` where compression is refused.
tv_status_t prepare_compression(Domain& domain);

// Full tables again, for engines that are made then.
void drop_compression(Domain& domain) noexcept;

}  // namespace tv

// The memory that a compiled domain takes, known before any of it is allocated.
#pragma once

#include "compile/forest.h"

namespace tv {

// Bytes that `create_engines` allocates for a triangulated domain; kHugeSize when that does not fit.
size_t memory_needed(const Domain& domain) noexcept;

// Whether the host's limit forbids to compile the (triangulated) domain.
bool exceeds_memory_limit(const Domain& domain) noexcept;

// `no_memory`, with the need and the limit in its message.
tv_status_t refuse_for_memory(const Domain& domain) noexcept;

}  // namespace tv

// A query: a state of evidence of its own over the compiled forest of a domain.
#pragma once

#include <atomic>
#include <memory>

#include "inference/state.h"

namespace tv {

// Whether the tables of a compiled domain are those that every state can start from.
tv_status_t check_tables_for_queries(const Domain& domain) noexcept;

}  // namespace tv

struct tv_query_s {
  std::shared_ptr<const std::atomic<bool>> is_open;  // false for good once the domain has changed
  tv::InferenceState state;                          // whose domain is there as long as the query is open
};

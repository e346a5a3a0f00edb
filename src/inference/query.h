// A query: a state of evidence of its own over the compiled forest of a domain.
#pragma once

#include <atomic>
#include <memory>

#include "inference/state.h"

struct tv_query_s {
  std::shared_ptr<const std::atomic<bool>> is_open;  // false for good once the domain has changed
  tv::InferenceState state;                          // whose domain is there as long as the query is open
};

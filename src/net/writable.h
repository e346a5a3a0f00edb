// What no text can say, found before the first of it is written: a reader would refuse it, or read something
// else.
#pragma once

#include "expr/model.h"
#include "network/domain.h"

namespace tv {

// `invalid_probability_potential` for probabilities and regressions that are no numbers a text can have,
// `usage` for such utilities, experience counts and fading factors, `invalid_state_values`, or
// `invalid_expression`.
tv_status_t check_is_writable(Domain& domain);

// Whether the node's table stands for itself, rather than for a model that will generate another.
inline bool has_current_table(const Node& node) noexcept {
  return node.table && !(node.model && node.model->stale);
}

// Probabilities and policies: neither utilities nor what was learned.
bool is_probability_table(const Table& table) noexcept;

// A model is written with its expressions when it has all of them.
bool has_all_expressions(const Model& model) noexcept;

}  // namespace tv

// Operations on models. The record itself belongs to the network (network/model.h).
#pragma once

#include "expr/expression.h"
#include "network/model.h"

namespace tv {

// Gives the node a model over some of its discrete parents: `usage` when it has one already, when it is a
// continuous or instance node, or when the list holds anything else or a node twice.
tv_status_t new_model(Node& node, const NodeList& model_nodes);

void delete_model(Model& model) noexcept;  // the table stays as it was last generated

// Takes hold of the expression, or of nothing (null). The index is below the model's size. `usage` when
// the expression mentions a node of another domain.
tv_status_t set_model_expression(Model& model, size_t index, Expression* expression);

inline Expression* model_expression(const Model& model, size_t index) noexcept {
  return model.expressions.empty() ? nullptr : model.expressions[index];
}

void set_samples_per_interval(Model& model, size_t count) noexcept;  // not 0

}  // namespace tv

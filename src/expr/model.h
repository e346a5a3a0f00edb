// Models: expressions that state a node's table instead of numbers. A node owns its model, and the network
// tells the model of every change (network/hooks.h).
#pragma once

#include <vector>

#include "expr/expression.h"
#include "network/node.h"

struct tv_model_s {
  explicit tv_model_s(tv::Node& owner) noexcept : node(&owner) {}
  ~tv_model_s();  // gives the expressions back
  tv_model_s(const tv_model_s&) = delete;
  tv_model_s& operator=(const tv_model_s&) = delete;

  tv::Node* node;
  tv::NodeList nodes;                        // discrete parents; the first varies slowest
  size_t size = 1;                           // configurations of the model nodes; kHugeSize on overflow
  std::vector<tv::Expression*> expressions;  // empty until the first is set, then one per configuration
  bool stale = true;                         // the table does not agree with the model
  size_t samples_per_interval = 25;
  std::vector<double> inputs;  // results that the table was last computed from
  void* user_data = nullptr;
};

namespace tv {

extern const ModelHooks kModelHooks;  // how models follow the changes of the network

ModelOwner empty_model(Node& owner);

// Notes that the model's table no longer agrees with it, so that it will be generated before it is used.
void mark_stale(Model& model) noexcept;

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

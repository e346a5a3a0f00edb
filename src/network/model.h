// The record of a model: expressions that state a node's table instead of numbers. The network owns the
// record and tells it of every change; what an expression is, and how a model follows a change, is known
// further up (expr/model_changes.cpp).
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "network/node_list.h"
#include "network/types.h"

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

// The models that follow a change of the network, built aside and committed without failure.
class ModelChanges {
 public:
  // `parent`, whose links to its children are about to go, leaves their models: as a model node with the
  // expressions of its first state left, and expressions that mention it are unset.
  void remove_parent(Node& child, const Node& parent);
  void remove_node(const Node& node);  // from the models of all other nodes
  void replace_parent(Node& child, const Node& old_parent, Node& new_parent);
  void change_states(const Node& node, size_t count);
  void reorder_states(const Node& node, const size_t* order);  // also the weights in the node's own model

  void commit() noexcept;

  ModelChanges();
  ~ModelChanges();
  ModelChanges(const ModelChanges&) = delete;
  ModelChanges& operator=(const ModelChanges&) = delete;

 private:
  struct Change {
    Model* model;
    std::unique_ptr<Model> contents;  // its nodes, size and expressions are taken over; null: none change
  };
  template <class Use>
  void rebuild(Model& model, Use use);

  std::vector<Change> changes_;
};

// Notes that the model's table no longer agrees with it, so that it will be generated before it is used.
void mark_stale(Model& model) noexcept;

// The same for the models that depend on what the node's states mean: its own and its children's.
void mark_models_stale(const Node& node) noexcept;

// A copy of a node's model for another owner, with its nodes replaced as `map` says.
using NodeMap = std::function<Node*(Node*)>;
std::unique_ptr<Model> copy_model(const Model& model, Node& owner, const NodeMap& map);

}  // namespace tv

// What the layers above the network do when a node, its table or its states change. The network knows neither
// what a model is nor what has been computed from a table, so every domain points to the functions to be
// called then; nothing here links to anything further up.
#pragma once

#include <memory>
#include <vector>

#include "network/node_list.h"
#include "network/types.h"

namespace tv {

struct PropagationResults;  // expr/results.h

// The model of a node (expr/model.h), with the function that destroys it.
using ModelOwner = std::unique_ptr<Model, void (*)(Model*)>;

// A model that follows a change of the network.
struct ModelChange {
  Model* model;
  ModelOwner contents;  // its nodes, size and expressions are taken over; null: none change
};

// Those of one change, built aside and committed without failure.
using ModelChanges = std::vector<ModelChange>;

struct ModelHooks {
  // `parent`, whose links to its children are about to go, leaves their models: as a model node with the
  // expressions of its first state left, and expressions that mention it are unset.
  ModelChanges (*without_parent)(Node& child, const Node& parent);
  ModelChanges (*without_node)(const Node& node);  // the models of all other nodes
  ModelChanges (*with_other_parent)(Node& child, const Node& old_parent, Node& new_parent);
  ModelChanges (*with_states)(const Node& node, size_t count);
  // Also the weights in the node's own model.
  ModelChanges (*with_reordered_states)(const Node& node, const size_t* order);
  void (*commit)(ModelChanges& changes) noexcept;

  // Notes that the model's table no longer agrees with it, so that it will be generated before it is used.
  void (*mark_stale)(Model& model) noexcept;
  // The same for the models that depend on what the node's states mean: its own and its children's.
  void (*mark_all_stale)(const Node& node) noexcept;

  // A copy for another owner, with the nodes replaced as `map` says.
  ModelOwner (*copy)(const Model& model, Node& owner, const NodeMap& map);
};

struct Hooks {
  const ModelHooks* models;
  const PropagationResults* results;  // read by expressions

  // The node's table is about to change, perhaps: its numbers are remembered where the equilibrium of its
  // tree still depends on them. Does nothing when memory runs out.
  void (*save_potential)(Node& node) noexcept;

  // The node's potential has changed: the next propagation of its tree starts with a reset.
  void (*touch_table)(Node& node) noexcept;
};

}  // namespace tv

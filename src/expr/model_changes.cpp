// How models follow the changes of the network: parents that come and go, states, and copies of nodes.
#include <algorithm>

#include "api/memory.h"
#include "expr/expression.h"
#include "expr/model.h"
#include "network/domain.h"

namespace tv {
namespace {

// The expressions of a model as an array over its nodes in which one node stands out: index =
// (before * states + state) * after + rest.
struct Dimension {
  size_t before = 1, states = 1, after = 1;

  Dimension(const Model& model, const Node* node) noexcept {
    const size_t position = model.nodes.position(node);
    for (size_t i = 0; i < model.nodes.size(); ++i) {
      const size_t count = model.nodes[i]->number_of_states;
      size_t& product = i < position ? before : i == position ? states : after;
      product = size_multiply(product, count);
    }
  }
};

// An expression for a changed model: the same one, or a copy with other nodes; null stays null.
void hold(Model& model, size_t index, Expression* expression) noexcept {
  model.expressions[index] = retain(expression);
}

// The same expressions for `to` states of one of the nodes (the model's sizes are those before): state i
// takes those that `source(i)` gives, or none where that is not a state.
template <class Source>
void change_dimension(const Model& model, const Node* node, size_t to, Model& contents, Source source) {
  const Dimension dimension(model, node);
  contents.size = size_multiply(size_multiply(dimension.before, to), dimension.after);
  if (model.expressions.empty()) return;
  contents.expressions.resize(contents.size, nullptr);
  for (size_t b = 0; b < dimension.before; ++b)
    for (size_t i = 0; i < to; ++i) {
      const size_t state = source(i);
      if (state >= dimension.states) continue;
      for (size_t a = 0; a < dimension.after; ++a)
        hold(contents, (b * to + i) * dimension.after + a,
             model.expressions[(b * dimension.states + state) * dimension.after + a]);
    }
}

bool mentions_anywhere(const Model& model, const Node* node) {
  if (model.nodes.contains(node)) return true;
  return std::any_of(
      model.expressions.begin(), model.expressions.end(),
      [node](const Expression* expression) { return expression && mentions(*expression, node); });
}

void copy_expressions(const Model& model, Model& contents) {
  contents.size = model.size;
  contents.expressions.resize(model.expressions.size(), nullptr);
  for (size_t i = 0; i < model.expressions.size(); ++i) hold(contents, i, model.expressions[i]);
}

// Puts `make(expression)` in the place of each expression for which it gives one.
template <class Make>
void replace_expressions(Model& contents, Make make) {
  for (Expression*& expression : contents.expressions) {
    if (!expression) continue;
    Expression* const replacement = retain(make(*expression).release());
    if (!replacement) continue;
    release(expression);
    expression = replacement;
  }
}

void unset_mentions(Model& contents, const Node* node) {
  for (Expression*& expression : contents.expressions) {
    if (!expression || !mentions(*expression, node)) continue;
    release(expression);
    expression = nullptr;
  }
}

bool states_weights(const Expression& expression, size_t count) {
  if (expression.op == tv_operator_distribution) return expression.operand_count() == count;
  return expression.op == tv_operator_if &&
         (states_weights(*expression.operands[1], count) || states_weights(*expression.operands[2], count));
}

// The weights of each distribution over the node's states in their new order. The expression is a copy
// that shares nothing, so it is changed in place.
void reorder_weights(Expression& expression, const size_t* order, size_t count) {
  if (expression.op == tv_operator_if) {
    reorder_weights(*expression.operands[1], order, count);
    reorder_weights(*expression.operands[2], order, count);
  } else if (expression.op == tv_operator_distribution && expression.operand_count() == count) {
    std::vector<Expression*> reordered = expression.operands;
    for (size_t i = 0; i < count; ++i) reordered[i] = expression.operands[order[i]];
    expression.operands.swap(reordered);
  }
}

// Calls build(contents) for the new contents of a model; nothing but the model's node is set in them.
template <class Build>
void rebuild(ModelChanges& changes, Model& model, Build build) {
  ModelOwner contents = empty_model(*model.node);
  build(*contents);
  changes.push_back({&model, std::move(contents)});
}

void leave_model(ModelChanges& changes, Model& model, const Node& parent) {
  rebuild(changes, model, [&](Model& contents) {
    contents.nodes = model.nodes;
    if (model.nodes.contains(&parent)) {
      change_dimension(model, &parent, 1, contents, [](size_t) { return size_t{0}; });
      contents.nodes.erase(&parent);
    } else {
      copy_expressions(model, contents);
    }
    unset_mentions(contents, &parent);
  });
}

ModelChanges without_parent(Node& child, const Node& parent) {
  ModelChanges changes;
  if (child.model) leave_model(changes, *child.model, parent);
  return changes;
}

ModelChanges without_node(const Node& node) {
  ModelChanges changes;
  for (Node& other : node.domain->nodes)
    if (&other != &node && other.model && mentions_anywhere(*other.model, &node))
      leave_model(changes, *other.model, node);
  return changes;
}

ModelChanges with_other_parent(Node& child, const Node& old_parent, Node& new_parent) {
  ModelChanges changes;
  if (!child.model) return changes;
  const Model& model = *child.model;
  rebuild(changes, *child.model, [&](Model& contents) {
    contents.nodes = model.nodes;
    contents.nodes.replace(&old_parent, &new_parent);
    copy_expressions(model, contents);
    replace_expressions(contents, [&](const Expression& expression) -> ExpressionOwner {
      if (!mentions(expression, &old_parent)) return nullptr;
      return clone_expression(expression,
                              [&](Node* node) { return node == &old_parent ? &new_parent : node; });
    });
  });
  return changes;
}

ModelChanges with_states(const Node& node, size_t count) {
  ModelChanges changes;
  if (node.model) changes.push_back({node.model.get(), {nullptr, nullptr}});
  for (Node* child : node.children) {
    if (!child->model) continue;
    const Model& model = *child->model;
    if (!model.nodes.contains(&node)) {
      changes.push_back({child->model.get(), {nullptr, nullptr}});
      continue;
    }
    rebuild(changes, *child->model, [&](Model& contents) {
      contents.nodes = model.nodes;
      change_dimension(model, &node, count, contents, [](size_t i) { return i; });
    });
  }
  return changes;
}

ModelChanges with_reordered_states(const Node& node, const size_t* order) {
  ModelChanges changes;
  const size_t count = node.number_of_states;
  for (Node* child : node.children) {
    if (!child->model) continue;
    const Model& model = *child->model;
    rebuild(changes, *child->model, [&](Model& contents) {
      contents.nodes = model.nodes;
      if (model.nodes.contains(&node))
        change_dimension(model, &node, count, contents, [order](size_t i) { return order[i]; });
      else
        copy_expressions(model, contents);
    });
  }
  if (!node.model) return changes;
  rebuild(changes, *node.model, [&](Model& contents) {
    contents.nodes = node.model->nodes;
    copy_expressions(*node.model, contents);
    replace_expressions(contents, [&](const Expression& expression) -> ExpressionOwner {
      if (!states_weights(expression, count)) return nullptr;
      ExpressionOwner copy = clone_expression(expression);
      reorder_weights(*copy, order, count);
      return copy;
    });
  });
  return changes;
}

void commit(ModelChanges& changes) noexcept {
  for (ModelChange& change : changes) {
    Model& model = *change.model;
    if (change.contents) {
      std::swap(model.nodes, change.contents->nodes);
      model.size = change.contents->size;
      model.expressions.swap(change.contents->expressions);
    }
    mark_stale(model);
  }
  changes.clear();
}

void mark_all_stale(const Node& node) noexcept {
  if (node.model) mark_stale(*node.model);
  for (Node* child : node.children)
    if (child->model) mark_stale(*child->model);
}

ModelOwner copy_model(const Model& model, Node& owner, const NodeMap& map) {
  ModelOwner copy = empty_model(owner);
  copy->nodes = model.nodes;
  for (Node* node : model.nodes) copy->nodes.replace(node, map(node));
  copy->size = model.size;
  copy->samples_per_interval = model.samples_per_interval;
  copy->stale = model.stale;
  copy->inputs = model.inputs;
  copy->expressions.resize(model.expressions.size(), nullptr);
  for (size_t i = 0; i < model.expressions.size(); ++i)
    if (model.expressions[i]) hold(*copy, i, clone_expression(*model.expressions[i], map).release());
  return copy;
}

}  // namespace

const ModelHooks kModelHooks = {.without_parent = without_parent,
                                .without_node = without_node,
                                .with_other_parent = with_other_parent,
                                .with_states = with_states,
                                .with_reordered_states = with_reordered_states,
                                .commit = commit,
                                .mark_stale = mark_stale,
                                .mark_all_stale = mark_all_stale,
                                .copy = copy_model};

}  // namespace tv

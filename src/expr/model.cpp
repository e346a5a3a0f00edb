#include "expr/model.h"

#include <algorithm>

#include "api/boundary.h"
#include "api/memory.h"
#include "network/domain.h"
#include "network/node_operations.h"

tv_model_s::~tv_model_s() {
  for (tv::Expression* expression : expressions) tv::release(expression);
}

namespace tv {
namespace {

bool can_have_model(const Node& node) noexcept {
  return !is_continuous(node) && node.category != tv_category_instance;
}

bool is_node_of(const Domain& domain, const Expression& expression) {
  bool is_one = true;
  for_each_part(expression, [&](const Expression& part) {
    if (part.op == tv_operator_node && part.node->domain != &domain) is_one = false;
  });
  return is_one;
}

}  // namespace

ModelOwner empty_model(Node& owner) {
  return {new Model(owner), [](Model* model) { delete model; }};
}

void mark_stale(Model& model) noexcept {
  model.stale = true;
  if (!is_real_valued_function(*model.node)) model.node->domain->hooks->touch_table(*model.node);
}

tv_status_t new_model(Node& node, const NodeList& model_nodes) {
  if (node.model || !can_have_model(node)) return store_status(tv_status_usage);
  ModelOwner model = empty_model(node);
  for (Node* parent : model_nodes) {
    if (!is_discrete(*parent) || !node.parents.contains(parent) || model->nodes.contains(parent))
      return store_status(tv_status_usage);
    model->nodes.push_back(parent);
    model->size = size_multiply(model->size, parent->number_of_states);
  }
  node.model = std::move(model);
  ++node.domain->model_count;
  mark_stale(*node.model);
  return tv_status_none;
}

void delete_model(Model& model) noexcept {
  --model.node->domain->model_count;
  model.node->model.reset();
}

tv_status_t set_model_expression(Model& model, size_t index, Expression* expression) {
  if (expression) {
    if (expression->count > kMaxCount) return store_status(tv_status_no_memory);
    if (!is_node_of(*model.node->domain, *expression)) return store_status(tv_status_usage);
  }
  if (model.expressions.empty()) {
    if (!expression) return tv_status_none;
    if (model.size == kHugeSize) return store_status(tv_status_no_memory);
    model.expressions.resize(model.size, nullptr);
  }
  Expression* const old = model.expressions[index];
  model.expressions[index] = retain(expression);
  release(old);
  mark_stale(model);
  return tv_status_none;
}

void set_samples_per_interval(Model& model, size_t count) noexcept {
  model.samples_per_interval = count;
  if (!is_real_valued_function(*model.node)) mark_stale(model);
}

}  // namespace tv

tv_model_t* tv_node_new_model(tv_node_t* node, tv_node_t** model_nodes) {
  return tv::guarded(static_cast<tv_model_t*>(nullptr), [&]() -> tv_model_t* {
    if (!tv::check(node && model_nodes)) return nullptr;
    tv::NodeList list;
    for (; *model_nodes; ++model_nodes) list.push_back(*model_nodes);
    return tv::new_model(*node, list) ? nullptr : node->model.get();
  });
}

tv_model_t* tv_node_get_model(const tv_node_t* node) { return tv::check(node) ? node->model.get() : nullptr; }

tv_node_t** tv_model_get_nodes(const tv_model_t* model) {
  return tv::check(model) ? model->nodes.terminated() : nullptr;
}

size_t tv_model_get_size(const tv_model_t* model) {
  if (!tv::check(model)) return tv::kNone;
  tv::require(model->size != tv::kHugeSize, tv_status_size_too_large);
  return model->size;
}

tv_status_t tv_model_delete(tv_model_t* model) {
  if (!tv::check(model)) return tv_status_usage;
  tv::delete_model(*model);
  return tv_status_none;
}

tv_status_t tv_model_set_expression(tv_model_t* model, size_t index, tv_expression_t* expression) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(model && index < model->size)) return tv_status_usage;
    return tv::set_model_expression(*model, index, expression);
  });
}

tv_expression_t* tv_model_get_expression(const tv_model_t* model, size_t index) {
  return tv::check(model && index < model->size) ? tv::model_expression(*model, index) : nullptr;
}

tv_status_t tv_model_set_number_of_samples_per_interval(tv_model_t* model, size_t count) {
  if (!tv::check(model && count > 0 && count != tv::kNone)) return tv_status_usage;
  tv::set_samples_per_interval(*model, count);
  return tv_status_none;
}

size_t tv_model_get_number_of_samples_per_interval(const tv_model_t* model) {
  return tv::check(model) ? model->samples_per_interval : tv::kNone;
}

tv_status_t tv_model_set_user_data(tv_model_t* model, void* data) {
  if (!tv::check(model)) return tv_status_usage;
  model->user_data = data;
  return tv_status_none;
}

void* tv_model_get_user_data(const tv_model_t* model) {
  return tv::check(model) ? model->user_data : nullptr;
}

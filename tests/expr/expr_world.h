// Short forms for the tests of expressions and models.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "support/builders.h"
#include "tarvo.h"

namespace test {

struct DeleteExpression {
  void operator()(tv_expression_t* expression) const { tv_expression_delete(expression); }
};
using ExpressionHandle = std::unique_ptr<tv_expression_t, DeleteExpression>;

// What a parser told its handler: "position: message", one after the other.
inline void collect(size_t position, const char* message, void* said) {
  *static_cast<std::string*>(said) += std::to_string(position) + ": " + message + "\n";
}

inline ExpressionHandle parse(tv_domain_t* domain, const std::string& text, std::string* said = nullptr) {
  return ExpressionHandle(tv_string_to_expression(text.c_str(), domain, said ? collect : nullptr, said));
}

inline std::string print(const tv_expression_t* expression) {
  char* text = tv_expression_to_string(expression);
  const std::string result = text ? text : "(none)";
  std::free(text);
  return result;
}

inline tv_node_t* add_typed(tv_domain_t* domain, const char* name, tv_node_subtype_t subtype,
                            const std::vector<double>& values,
                            tv_node_category_t category = tv_category_chance) {
  tv_node_t* node = tv_domain_new_node(domain, category, tv_kind_discrete);
  tv_node_set_name(node, name);
  const bool intervals = subtype == tv_subtype_interval;
  tv_node_set_number_of_states(node, values.size() - intervals);
  tv_node_set_subtype(node, subtype);
  for (size_t i = 0; i < values.size(); ++i) tv_node_set_state_value(node, i, values[i]);
  return node;
}

inline tv_node_t* add_labelled(tv_domain_t* domain, const char* name,
                               const std::vector<const char*>& labels) {
  tv_node_t* node = add_node(domain, name, labels.size());
  for (size_t i = 0; i < labels.size(); ++i) tv_node_set_state_label(node, i, labels[i]);
  return node;
}

inline tv_node_t* add_boolean(tv_domain_t* domain, const char* name,
                              tv_node_category_t category = tv_category_chance) {
  tv_node_t* node = tv_domain_new_node(domain, category, tv_kind_discrete);
  tv_node_set_name(node, name);
  tv_node_set_number_of_states(node, 2);
  tv_node_set_subtype(node, tv_subtype_boolean);
  return node;
}

inline tv_node_t* add_function(tv_domain_t* domain, const char* name) {
  tv_node_t* node = tv_domain_new_node(domain, tv_category_function, tv_kind_other);
  tv_node_set_name(node, name);
  return node;
}

inline void add_parents(tv_node_t* child, const std::vector<tv_node_t*>& parents) {
  for (size_t i = parents.size(); i-- > 0;) EXPECT_EQ(tv_node_add_parent(child, parents[i]), 0);
}

// A model over the model nodes with these expressions, which must all be right; "" leaves one unset.
inline tv_model_t* add_model(tv_node_t* node, const std::vector<std::string>& expressions,
                             std::vector<tv_node_t*> model_nodes = {}) {
  model_nodes.push_back(nullptr);
  tv_model_t* model = tv_node_new_model(node, model_nodes.data());
  EXPECT_NE(model, nullptr);
  for (size_t i = 0; i < expressions.size(); ++i) {
    if (expressions[i].empty()) continue;
    std::string said;
    tv_expression_t* expression = parse(tv_node_get_domain(node), expressions[i], &said).release();
    EXPECT_NE(expression, nullptr) << expressions[i] << "\n" << said;
    EXPECT_EQ(tv_model_set_expression(model, i, expression), 0);
  }
  return model;
}

inline std::vector<float> numbers_of(tv_node_t* node) {
  tv_table_t* table = tv_node_get_table(node);
  const float* data = tv_table_get_data(table);
  return {data, data + tv_table_get_size(table)};
}

}  // namespace test

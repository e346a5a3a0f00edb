// One input of the fuzz target of expressions: any text is refused with one message or read; what was read
// prints to a text that reads and prints the same, and a model of it gives a table or a status.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "tarvo.h"

namespace fuzz {

inline void require_of_expression(bool condition, const char* claim) {
  if (condition) return;
  std::fprintf(stderr, "%s\n", claim);
  std::abort();
}

// Nodes of every kind that an expression can mention, with `i` as their common child.
class ExpressionWorld {
 public:
  ExpressionWorld() {
    add("n", tv_subtype_number, 3);
    add("i", tv_subtype_interval, 3);
    add("b", tv_subtype_boolean, 2);
    tv_node_t* label = add("l", tv_subtype_label, 2);
    tv_node_set_state_label(label, 0, "red");
    for (tv_node_category_t category : {tv_category_chance, tv_category_function}) {
      tv_node_t* child = add(category == tv_category_chance ? "x" : "y", tv_subtype_interval, 3, category);
      tv_node_set_state_value(child, 0, -1e9);
      for (const char* parent : {"n", "i", "b", "l"})
        tv_node_add_parent(child, tv_domain_get_node_by_name(domain_, parent));
      tv_node_t* const none = nullptr;
      tv_model_t* model = tv_node_new_model(child, const_cast<tv_node_t**>(&none));
      tv_model_set_number_of_samples_per_interval(model, 2);
    }
  }
  ~ExpressionWorld() { tv_domain_delete(domain_); }
  ExpressionWorld(const ExpressionWorld&) = delete;
  ExpressionWorld& operator=(const ExpressionWorld&) = delete;

  void run(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    tv_expression_t* expression = parse(text);
    if (!expression) return;
    const std::string printed = print(expression);
    tv_expression_t* again = parse(printed);
    require_of_expression(again != nullptr, "a printed expression is one");
    require_of_expression(print(again) == printed, "reading and printing is stable");
    tv_expression_delete(again);
    generate("x", tv_expression_clone(expression));
    generate("y", expression);
  }

 private:
  tv_node_t* add(const char* name, tv_node_subtype_t subtype, size_t states,
                 tv_node_category_t category = tv_category_chance) {
    tv_node_t* node = tv_domain_new_node(domain_, category, tv_kind_discrete);
    tv_node_set_name(node, name);
    tv_node_set_number_of_states(node, states);
    tv_node_set_subtype(node, subtype);
    if (subtype == tv_subtype_number || subtype == tv_subtype_interval)
      for (size_t i = 0; i < states + (subtype == tv_subtype_interval); ++i)
        tv_node_set_state_value(node, i, static_cast<double>(i));
    return node;
  }

  static void count(size_t, const char*, void* messages) { ++*static_cast<size_t*>(messages); }

  tv_expression_t* parse(const std::string& text) {
    size_t messages = 0;
    tv_expression_t* expression = tv_string_to_expression(text.c_str(), domain_, count, &messages);
    const tv_status_t status = tv_error_code();
    require_of_expression((expression != nullptr) == (status == tv_status_none),
                          "an expression comes with status `none' alone");
    require_of_expression(
        status == tv_status_none || status == tv_status_syntax || status == tv_status_invalid_expression,
        "a refusal is a syntax error or an invalid expression");
    require_of_expression(expression || messages > 0, "a refusal has a message");
    return expression;
  }

  static std::string print(tv_expression_t* expression) {
    char* text = tv_expression_to_string(expression);
    require_of_expression(text != nullptr, "every expression has a text");
    const std::string result = text;
    std::free(text);
    return result;
  }

  void generate(const char* name, tv_expression_t* expression) {
    tv_node_t* node = tv_domain_get_node_by_name(domain_, name);
    tv_model_set_expression(tv_node_get_model(node), 0, expression);
    if (tv_node_generate_table(node)) return;
    const tv_number_t* table = tv_table_get_data(tv_node_get_table(node));
    for (size_t k = 0; k < tv_table_get_size(tv_node_get_table(node)); ++k)
      require_of_expression(table[k] >= 0 && table[k] <= 1.00001f, "probabilities lie between 0 and 1");
  }

  tv_domain_t* domain_ = tv_new_domain();
};

}  // namespace fuzz

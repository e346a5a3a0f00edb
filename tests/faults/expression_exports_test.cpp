// Expressions, models and function nodes under failing allocation.

#include "faults/export_world.h"

namespace test {
namespace {

void with_truth(World& w) { w.expression.reset(tv_boolean_make_expression(1)); }

tv_expression_t* model_expression(World& w) { return tv_model_get_expression(tv_node_get_model(w.d), 0); }

// Operand j of operand i.
tv_expression_t* operand(World& w, size_t i, size_t j) {
  return tv_expression_get_operands(tv_expression_get_operands(w.expression.get())[i])[j];
}

const Cases cases = {
    {"tv_number_make_expression", plain, [](World& w) { w.expression.reset(tv_number_make_expression(2)); }},
    {"tv_boolean_make_expression", plain,
     [](World& w) { w.expression.reset(tv_boolean_make_expression(1)); }},
    {"tv_label_make_expression", plain,
     [](World& w) { w.expression.reset(tv_label_make_expression("a label of some length")); }},
    {"tv_node_make_expression", plain, [](World& w) { w.expression.reset(tv_node_make_expression(w.b)); }},
    {"tv_make_composite_expression", plain,
     [](World& w) {
       w.expression.reset(tv_boolean_make_expression(1));
       if (!w.expression) return;
       tv_expression_t* operands[] = {w.expression.get(), w.expression.get(), nullptr};
       tv_expression_t* both = tv_make_composite_expression(tv_operator_and, operands);
       if (!both) return;
       w.expression.release();
       w.expression.reset(both);
     }},
    {"tv_expression_clone", with_model,
     [](World& w) { w.expression.reset(tv_expression_clone(model_expression(w))); }},
    {"tv_string_to_expression", plain,
     [](World& w) {
       w.expression.reset(tv_string_to_expression(kExpression, w.domain.get(), nullptr, nullptr));
     }},
    {"tv_domain_string_to_expression", plain, with_expression},
    {"tv_string_parse_expression", plain,
     [](World& w) {
       w.expression.reset(tv_string_parse_expression("a + 1", w.domain.get(), nullptr, nullptr));
     }},
    {"tv_expression_to_string", with_model,
     [](World& w) { std::free(tv_expression_to_string(model_expression(w))); }},
    {"tv_node_new_model", plain,
     [](World& w) {
       tv_node_t* model_nodes[] = {w.c, w.b, nullptr};
       w.number = tv_node_new_model(w.d, model_nodes) != nullptr;
     }},
    {"tv_model_set_expression", with_empty_model,
     [](World& w) {
       w.expression.reset(tv_number_make_expression(1));
       if (!w.expression || tv_model_set_expression(tv_node_get_model(w.d), 1, w.expression.get())) return;
       w.expression.release();
     }},
    {"tv_node_generate_table", with_model, [](World& w) { tv_node_generate_table(w.d); }},
    {"tv_domain_generate_tables", with_model, [](World& w) { tv_domain_generate_tables(w.domain.get()); }},
    {"tv_node_get_value", with_function,
     [](World& w) { w.number = tv_node_get_value(tv_domain_get_node_by_name(w.domain.get(), "f")); }},
    ASKS_FOR_NOTHING(tv_expression_is_composite, with_expression, w.expression.get()),
    ASKS_FOR_NOTHING(tv_expression_get_operator, with_expression, w.expression.get()),
    ASKS_FOR_NOTHING(tv_expression_get_operands, with_expression, w.expression.get()),
    ASKS_FOR_NOTHING(tv_expression_get_node, with_expression, operand(w, 0, 0)),
    ASKS_FOR_NOTHING(tv_expression_get_label, with_expression, operand(w, 0, 1)),
    ASKS_FOR_NOTHING(tv_expression_get_number, with_expression, operand(w, 1, 0)),
    ASKS_FOR_NOTHING(tv_expression_get_boolean, with_truth, w.expression.get()),
    ASKS_FOR_NOTHING(tv_expression_delete, with_expression, w.expression.release()),
    ASKS_FOR_NOTHING(tv_node_get_model, with_model, w.d),
    ASKS_FOR_NOTHING(tv_model_get_nodes, with_model, tv_node_get_model(w.d)),
    ASKS_FOR_NOTHING(tv_model_get_size, with_model, tv_node_get_model(w.d)),
    ASKS_FOR_NOTHING(tv_model_delete, with_model, tv_node_get_model(w.d)),
    ASKS_FOR_NOTHING(tv_model_get_expression, with_model, tv_node_get_model(w.d), 1),
    ASKS_FOR_NOTHING(tv_model_set_number_of_samples_per_interval, with_model, tv_node_get_model(w.d), 5),
    ASKS_FOR_NOTHING(tv_model_get_number_of_samples_per_interval, with_model, tv_node_get_model(w.d)),
    ASKS_FOR_NOTHING(tv_model_set_user_data, with_model, tv_node_get_model(w.d), &w),
    ASKS_FOR_NOTHING(tv_model_get_user_data, with_model, tv_node_get_model(w.d)),
};

}  // namespace
}  // namespace test

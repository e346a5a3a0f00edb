// Tables and regressions under failing allocation.

#include "faults/export_world.h"

namespace test {
namespace {

constexpr size_t kConfiguration[] = {1, 0, 1};

const Cases cases = {
    {"tv_node_set_intercept", continuous, [](World& w) { tv_node_set_intercept(w.y, 1, 2.0); }},
    {"tv_node_set_coefficient", continuous, [](World& w) { tv_node_set_coefficient(w.y, w.x, 1, 2.0); }},
    {"tv_node_set_conditional_variance", continuous,
     [](World& w) { tv_node_set_conditional_variance(w.y, 1, 2.0); }},
    ASKS_FOR_NOTHING(tv_node_get_intercept, continuous, w.y, 1),
    ASKS_FOR_NOTHING(tv_node_get_coefficient, continuous, w.y, w.x, 1),
    ASKS_FOR_NOTHING(tv_node_get_conditional_variance, continuous, w.y, 1),
    {"tv_node_get_table", plain, [](World& w) { w.owned_table = tv_node_get_table(w.c); }},
    {"tv_node_get_experience_table", plain,
     [](World& w) { w.owned_table = tv_node_get_experience_table(w.d); }},
    {"tv_node_get_fading_table", plain, [](World& w) { w.owned_table = tv_node_get_fading_table(w.d); }},
    {"tv_table_get_data", propagated,
     [](World& w) {
       tv_table_t* table = tv_clique_get_probability_table(clique_of(w));
       if (const tv_number_t* data = tv_table_get_data(table)) w.number = data[0];
     }},
    {"tv_table_reorder_nodes", plain,
     [](World& w) {
       tv_node_t* order[] = {w.c, w.b, w.d, nullptr};
       tv_table_reorder_nodes(tv_node_get_table(w.d), order);
     }},
    {"tv_table_compute_density", propagated_values,
     [](World& w) { w.number = tv_table_compute_density(clique_table_of(w.y), w.y, 1); }},
    {"tv_table_compute_probability_of_interval", propagated_values,
     [](World& w) { w.number = tv_table_compute_probability_of_interval(clique_table_of(w.y), w.y, 0, 1); }},
    ASKS_FOR_NOTHING(tv_table_get_nodes, plain, tv_node_get_table(w.d)),
    ASKS_FOR_NOTHING(tv_table_get_size, plain, tv_node_get_table(w.d)),
    ASKS_FOR_NOTHING(tv_table_get_cg_size, propagated_values, clique_table_of(w.y)),
    {"tv_table_get_mean", propagated_values,
     [](World& w) { note(w, tv_table_get_mean(clique_table_of(w.y), 0, w.y)); }},
    {"tv_table_get_covariance", propagated_values,
     [](World& w) { note(w, tv_table_get_covariance(clique_table_of(w.y), 0, w.y, w.x)); }},
    {"tv_table_get_variance", propagated_values,
     [](World& w) { note(w, tv_table_get_variance(clique_table_of(w.y), 0, w.y)); }},
    ASKS_FOR_NOTHING(tv_table_get_index_from_configuration, plain, tv_node_get_table(w.d), kConfiguration),
    ASKS_FOR_NOTHING(tv_table_delete, with_values, tv_node_get_experience_table(w.d)),
    ASKS_FOR_NOTHING(tv_table_set_user_data, plain, tv_node_get_table(w.d), &w),
    ASKS_FOR_NOTHING(tv_table_get_user_data, plain, tv_node_get_table(w.d)),
    ASKS_FOR_NOTHING(tv_node_has_experience_table, with_values, w.d),
    ASKS_FOR_NOTHING(tv_node_has_fading_table, plain, w.d),
    ASKS_FOR_NOTHING(tv_node_touch_table, propagated, w.b),
    {"tv_table_get_configuration_from_index", plain,
     [](World& w) {
       size_t states[3] = {};
       tv_table_get_configuration_from_index(tv_node_get_table(w.d), states, 7);
       note(w, states[0] * 100 + states[1] * 10 + states[2]);
     },
     Case::never_fails},
};

}  // namespace
}  // namespace test

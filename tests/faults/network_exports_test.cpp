// Domains, nodes, states, names and links under failing allocation.

#include "faults/export_world.h"

namespace test {
namespace {

void with_copy(World& w) { w.made.reset(tv_domain_clone(net(w))); }

void with_attributes(World& w) {
  tv_domain_set_attribute(net(w), "first", "1");
  tv_domain_set_attribute(net(w), "second", "2");
}

const Cases cases = {
    {"tv_new_domain", plain, [](World& w) { w.made.reset(tv_new_domain()); }},
    {"tv_domain_clone", with_values, [](World& w) { w.made.reset(tv_domain_clone(w.domain.get())); }},
    {"tv_domain_clone", propagated, [](World& w) { w.made.reset(tv_domain_clone(w.domain.get())); }},
    {"tv_domain_new_node", plain,
     [](World& w) { w.node = tv_domain_new_node(w.domain.get(), tv_category_chance, tv_kind_discrete); }},
    {"tv_domain_new_node", plain,
     [](World& w) { w.node = tv_domain_new_node(w.domain.get(), tv_category_utility, tv_kind_other); }},
    {"tv_node_delete", with_values, [](World& w) { tv_node_delete(w.c); }},
    {"tv_node_delete", compiled, [](World& w) { tv_node_delete(w.a); }},
    {"tv_node_clone", with_values, [](World& w) { w.node = tv_node_clone(w.d); }},
    {"tv_node_set_name", plain,
     [](World& w) { tv_node_set_name(w.a, "a_name_longer_than_a_short_string_can_be"); }},
    {"tv_node_set_name", with_name_table,
     [](World& w) { tv_node_set_name(w.a, "a_name_longer_than_a_short_string"); }},
    {"tv_node_get_name", crowded,
     [](World& w) { w.text = tv_node_get_name(tv_domain_get_first_node(w.domain.get())); }},
    {"tv_domain_get_node_by_name", crowded,
     [](World& w) { w.node = tv_domain_get_node_by_name(w.domain.get(), "d"); }},
    {"tv_node_set_number_of_states", with_values, [](World& w) { tv_node_set_number_of_states(w.b, 4); }},
    {"tv_node_set_number_of_states", compiled, [](World& w) { tv_node_set_number_of_states(w.a, 1); }},
    {"tv_node_set_state_label", plain,
     [](World& w) { tv_node_set_state_label(w.d, 1, "a label longer than a short string can be"); }},
    {"tv_node_set_state_value", with_intervals, [](World& w) { tv_node_set_state_value(w.b, 1, 0.5); }},
    {"tv_node_reorder_states", with_values, [](World& w) { tv_node_reorder_states(w.b, kOrder); }},
    {"tv_node_reorder_states", compiled, [](World& w) { tv_node_reorder_states(w.b, kOrder); }},
    {"tv_domain_set_attribute", plain,
     [](World& w) {
       tv_domain_set_attribute(w.domain.get(), "key", "a value longer than a short string can be");
     }},
    {"tv_node_set_attribute", plain,
     [](World& w) { tv_node_set_attribute(w.a, "colour", "a value longer than a short string can be"); }},
    {"tv_node_set_label", plain,
     [](World& w) { tv_node_set_label(w.a, "a label longer than a short string can be"); }},
    {"tv_node_add_parent", with_values, [](World& w) { tv_node_add_parent(w.d, w.alone); }},
    {"tv_node_add_parent", compiled, [](World& w) { tv_node_add_parent(w.d, w.a); }},
    {"tv_node_remove_parent", with_values, [](World& w) { tv_node_remove_parent(w.d, w.b); }},
    {"tv_node_remove_discrete_parent", compiled, [](World& w) { tv_node_remove_discrete_parent(w.d, w.c); }},
    {"tv_node_switch_parent", with_values, [](World& w) { tv_node_switch_parent(w.d, w.c, w.alone); }},
    {"tv_node_reverse_edge", plain, [](World& w) { tv_node_reverse_edge(w.b, w.d); }},
    {"tv_node_reverse_edge", compiled, [](World& w) { tv_node_reverse_edge(w.c, w.d); }},
    {"tv_node_reverse_edge", with_regressions, [](World& w) { tv_node_reverse_edge(w.x, w.y); }},
    {"tv_node_remove_parent", with_regressions, [](World& w) { tv_node_remove_parent(w.y, w.c); }},
    {"tv_domain_clone", with_regressions, [](World& w) { w.made.reset(tv_domain_clone(w.domain.get())); }},
    {"tv_node_get_ancestors", plain, [](World& w) { w.list.reset(tv_node_get_ancestors(w.d)); }},
    {"tv_node_get_descendants", plain, [](World& w) { w.list.reset(tv_node_get_descendants(w.a)); }},
    {"tv_node_clone", with_model, [](World& w) { w.node = tv_node_clone(w.d); }},
    {"tv_domain_clone", with_model, [](World& w) { w.made.reset(tv_domain_clone(w.domain.get())); }},
    {"tv_node_delete", with_model, [](World& w) { tv_node_delete(w.b); }},
    {"tv_node_remove_parent", with_model, [](World& w) { tv_node_remove_parent(w.d, w.c); }},
    {"tv_node_switch_parent", with_model, [](World& w) { tv_node_switch_parent(w.d, w.c, w.alone); }},
    {"tv_node_set_number_of_states", with_model, [](World& w) { tv_node_set_number_of_states(w.b, 4); }},
    {"tv_node_reorder_states", with_model, [](World& w) { tv_node_reorder_states(w.b, kOrder); }},
    ASKS_FOR_NOTHING(tv_error_code, plain),
    ASKS_FOR_NOTHING(tv_error_name, plain, tv_status_no_memory),
    ASKS_FOR_NOTHING(tv_error_description, plain, tv_status_no_memory),
    ASKS_FOR_NOTHING(tv_error_message, plain),
    ASKS_FOR_NOTHING(tv_error_line, plain),
    ASKS_FOR_NOTHING(tv_error_column, plain),
    ASKS_FOR_NOTHING(tv_get_version, plain),
    ASKS_FOR_NOTHING(tv_domain_delete, with_copy, w.made.release()),
    ASKS_FOR_NOTHING(tv_domain_get_number_of_nodes, plain, net(w)),
    ASKS_FOR_NOTHING(tv_domain_get_file_name, plain, net(w)),
    ASKS_FOR_NOTHING(tv_domain_get_first_node, plain, net(w)),
    ASKS_FOR_NOTHING(tv_node_get_next, plain, w.d),
    ASKS_FOR_NOTHING(tv_node_get_domain, plain, w.a),
    ASKS_FOR_NOTHING(tv_node_get_category, plain, w.a),
    ASKS_FOR_NOTHING(tv_node_set_category, compiled, w.alone, tv_category_decision),
    ASKS_FOR_NOTHING(tv_node_get_kind, plain, w.a),
    ASKS_FOR_NOTHING(tv_node_get_subtype, plain, w.a),
    ASKS_FOR_NOTHING(tv_node_set_subtype, compiled, w.a, tv_subtype_boolean),
    ASKS_FOR_NOTHING(tv_node_get_number_of_states, plain, w.b),
    ASKS_FOR_NOTHING(tv_node_get_state_label, plain, w.b, 1),
    ASKS_FOR_NOTHING(tv_node_get_state_index_from_label, plain, w.b, "mid"),
    ASKS_FOR_NOTHING(tv_node_get_state_value, with_values, w.b, 1),
    ASKS_FOR_NOTHING(tv_domain_get_attribute, with_attributes, net(w), "first"),
    ASKS_FOR_NOTHING(tv_node_get_attribute, plain, w.a, "colour"),
    ASKS_FOR_NOTHING(tv_domain_get_first_attribute, with_attributes, net(w)),
    ASKS_FOR_NOTHING(tv_node_get_first_attribute, plain, w.a),
    ASKS_FOR_NOTHING(tv_attribute_get_next, with_attributes, tv_domain_get_first_attribute(net(w))),
    ASKS_FOR_NOTHING(tv_attribute_get_key, plain, tv_node_get_first_attribute(w.a)),
    ASKS_FOR_NOTHING(tv_attribute_get_value, plain, tv_node_get_first_attribute(w.a)),
    ASKS_FOR_NOTHING(tv_domain_set_user_data, plain, net(w), &w),
    ASKS_FOR_NOTHING(tv_domain_get_user_data, plain, net(w)),
    ASKS_FOR_NOTHING(tv_node_set_user_data, plain, w.a, &w),
    ASKS_FOR_NOTHING(tv_node_get_user_data, plain, w.a),
    ASKS_FOR_NOTHING(tv_node_get_parents, plain, w.d),
    ASKS_FOR_NOTHING(tv_node_get_children, plain, w.a),
    ASKS_FOR_NOTHING(tv_domain_set_node_size, plain, net(w), 100, 50),
    ASKS_FOR_NOTHING(tv_node_set_position, plain, w.a, 10, 20),
    ASKS_FOR_NOTHING(tv_node_get_label, plain, w.a),
    ASKS_FOR_NOTHING(tv_domain_seed_random, plain, net(w), 17),
    ASKS_FOR_NOTHING(tv_domain_get_uniform_deviate, plain, net(w)),
    ASKS_FOR_NOTHING(tv_domain_get_normal_deviate, plain, net(w), 1.0, 2.0),
    {"tv_domain_get_node_size", plain,
     [](World& w) {
       size_t width = 0, height = 0;
       tv_domain_get_node_size(net(w), &width, &height);
       note(w, width * 1000 + height);
     },
     Case::never_fails},
    {"tv_node_get_position", plain,
     [](World& w) {
       long x = 0, y = 0;
       tv_node_get_position(w.a, &x, &y);
       note(w, x * 1000 + y);
     },
     Case::never_fails},
};

}  // namespace
}  // namespace test

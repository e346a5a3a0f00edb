// Settings, triangulation, cliques and trees under failing allocation.

#include "faults/export_world.h"

namespace test {
namespace {

int go_on(const char*, double, void*) { return 0; }

void compiled_values(World& w) {
  with_regressions(w);
  compiled(w);
}

// A ring beside the rest, whose separators are looked at.
void searching(World& w) {
  plain(w);
  tv_node_t* first = tv_domain_new_node(net(w), tv_category_chance, tv_kind_discrete);
  tv_node_t* last = first;
  for (int i = 0; i < 5; ++i) {
    tv_node_t* next = tv_domain_new_node(net(w), tv_category_chance, tv_kind_discrete);
    tv_node_add_parent(next, last);
    last = next;
  }
  tv_node_add_parent(last, first);
  tv_domain_set_triangulation_effort(net(w), 1);
}

void splitting(World& w) {
  searching(w);
  tv_domain_set_triangulation_effort(net(w), 0);
  tv_domain_set_max_number_of_separators(net(w), 2);
}

const Cases cases = {
    {"tv_domain_set_initial_triangulation", plain,
     [](World& w) {
       tv_domain_set_initial_triangulation(w.domain.get(), const_cast<tv_node_t**>(elimination_order(w)));
     }},
    {"tv_domain_set_ijt_nodes", plain,
     [](World& w) { tv_domain_set_ijt_nodes(w.domain.get(), two_nodes(w)); }},
    {"tv_domain_triangulate_with_order", plain,
     [](World& w) {
       tv_domain_triangulate_with_order(w.domain.get(), const_cast<tv_node_t**>(elimination_order(w)));
     }},
    {"tv_domain_triangulate", plain,
     [](World& w) { tv_domain_triangulate(w.domain.get(), tv_method_fill_in_weight); }},
    {"tv_domain_triangulate", plain,
     [](World& w) { tv_domain_triangulate(w.domain.get(), tv_method_best_greedy); }},
    {"tv_domain_triangulate", searching,
     [](World& w) { tv_domain_triangulate(net(w), tv_method_best_greedy); }},
    {"tv_domain_triangulate", searching,
     [](World& w) { tv_domain_triangulate(net(w), tv_method_total_weight); }},
    {"tv_domain_triangulate", splitting,
     [](World& w) { tv_domain_triangulate(net(w), tv_method_total_weight); }},
    ASKS_FOR_NOTHING(tv_domain_set_triangulation_effort, plain, net(w), 7),
    ASKS_FOR_NOTHING(tv_domain_get_triangulation_effort, plain, net(w)),
    {"tv_domain_get_number_of_prime_components", triangulated,
     [](World& w) { w.number = tv_domain_get_number_of_prime_components(net(w)); }},
    {"tv_domain_get_prime_component", triangulated,
     [](World& w) { note(w, tv_domain_get_prime_component(net(w), 0)); }},
    {"tv_domain_get_prime_component_cost", triangulated,
     [](World& w) { w.number = tv_domain_get_prime_component_cost(net(w), 0) > 0.0; }},
    {"tv_domain_get_prime_component_bound", triangulated,
     [](World& w) { w.number = tv_domain_get_prime_component_bound(net(w), 0) > 0.0; }},
    {"tv_domain_compile", with_values, [](World& w) { tv_domain_compile(w.domain.get()); }},
    {"tv_domain_compile", triangulated, [](World& w) { tv_domain_compile(w.domain.get()); }},
    {"tv_clique_get_neighbors", triangulated,
     [](World& w) { w.number = tv_clique_get_neighbors(clique_of(w)) != nullptr; }},
    {"tv_domain_compile", continuous, [](World& w) { tv_domain_compile(w.domain.get()); }},
    {"tv_domain_compile", with_model, [](World& w) { tv_domain_compile(w.domain.get()); }},
    {"tv_domain_compile", deciding_later, [](World& w) { tv_domain_compile(w.domain.get()); }},
    ASKS_FOR_NOTHING(tv_domain_set_grain_size, plain, net(w), 100),
    ASKS_FOR_NOTHING(tv_domain_get_grain_size, plain, net(w)),
    ASKS_FOR_NOTHING(tv_domain_set_concurrency_level, compiled, net(w), 3),
    ASKS_FOR_NOTHING(tv_domain_get_concurrency_level, parallel, net(w)),
    ASKS_FOR_NOTHING(tv_domain_set_em_concurrency_level, plain, net(w), 3),
    ASKS_FOR_NOTHING(tv_domain_get_em_concurrency_level, plain, net(w)),
    ASKS_FOR_NOTHING(tv_domain_set_log_file, plain, net(w), w.net_stream.get()),
    ASKS_FOR_NOTHING(tv_domain_set_progress_handler, plain, net(w), go_on, &w),
    ASKS_FOR_NOTHING(tv_domain_uncompile, propagated, net(w)),
    ASKS_FOR_NOTHING(tv_domain_is_compiled, compiled, net(w)),
    ASKS_FOR_NOTHING(tv_domain_is_triangulated, triangulated, net(w)),
    {"tv_domain_get_elimination_order", triangulated,
     [](World& w) { note(w, tv_domain_get_elimination_order(net(w))); }},
    ASKS_FOR_NOTHING(tv_domain_set_max_number_of_separators, plain, net(w), 5),
    ASKS_FOR_NOTHING(tv_domain_get_max_number_of_separators, plain, net(w)),
    ASKS_FOR_NOTHING(tv_domain_set_max_separator_size, plain, net(w), 5),
    ASKS_FOR_NOTHING(tv_domain_get_max_separator_size, plain, net(w)),
    ASKS_FOR_NOTHING(tv_domain_get_jt_cost, triangulated, net(w)),
    ASKS_FOR_NOTHING(tv_domain_get_memory_need, triangulated, net(w)),
    ASKS_FOR_NOTHING(tv_domain_set_memory_limit, plain, net(w), 1000000),
    ASKS_FOR_NOTHING(tv_domain_get_memory_limit, plain, net(w)),
    ASKS_FOR_NOTHING(tv_domain_get_first_clique, triangulated, net(w)),
    ASKS_FOR_NOTHING(tv_clique_get_next, triangulated, clique_of(w)),
    ASKS_FOR_NOTHING(tv_domain_get_number_of_cliques, triangulated, net(w)),
    ASKS_FOR_NOTHING(tv_clique_get_members, triangulated, clique_of(w)),
    ASKS_FOR_NOTHING(tv_clique_get_number_of_members, triangulated, clique_of(w)),
    ASKS_FOR_NOTHING(tv_clique_get_number_of_neighbors, triangulated, clique_of(w)),
    ASKS_FOR_NOTHING(tv_clique_get_junction_tree, triangulated, clique_of(w)),
    ASKS_FOR_NOTHING(tv_clique_get_probability_table, propagated, clique_of(w)),
    ASKS_FOR_NOTHING(tv_clique_get_utility_table, decided, clique_of(w)),
    ASKS_FOR_NOTHING(tv_clique_set_user_data, compiled, clique_of(w), &w),
    ASKS_FOR_NOTHING(tv_clique_get_user_data, compiled, clique_of(w)),
    ASKS_FOR_NOTHING(tv_clique_set_back_pointer, compiled, clique_of(w), &w),
    ASKS_FOR_NOTHING(tv_clique_get_back_pointer, compiled, clique_of(w)),
    ASKS_FOR_NOTHING(tv_domain_get_first_junction_tree, triangulated, net(w)),
    ASKS_FOR_NOTHING(tv_jt_get_next, triangulated, tv_domain_get_first_junction_tree(net(w))),
    ASKS_FOR_NOTHING(tv_jt_get_root, triangulated, tree_of(w)),
    ASKS_FOR_NOTHING(tv_jt_get_cliques, triangulated, tree_of(w)),
    ASKS_FOR_NOTHING(tv_jt_get_total_size, triangulated, tree_of(w)),
    ASKS_FOR_NOTHING(tv_jt_get_total_cg_size, compiled_values, tree_of(w)),
    ASKS_FOR_NOTHING(tv_jt_set_user_data, compiled, tree_of(w), &w),
    ASKS_FOR_NOTHING(tv_jt_get_user_data, compiled, tree_of(w)),
    ASKS_FOR_NOTHING(tv_jt_set_back_pointer, compiled, tree_of(w), &w),
    ASKS_FOR_NOTHING(tv_jt_get_back_pointer, compiled, tree_of(w)),
    ASKS_FOR_NOTHING(tv_node_get_junction_tree, triangulated, w.d),
    ASKS_FOR_NOTHING(tv_node_get_moral_neighbors, triangulated, w.b),
};

}  // namespace
}  // namespace test

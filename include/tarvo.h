#ifndef TARVO_H
#define TARVO_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#if defined(__GNUC__)
#define TV_API __attribute__((visibility("default")))
#else
#define TV_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef float tv_number_t;
typedef struct tv_domain_s tv_domain_t;
typedef struct tv_node_s tv_node_t;
typedef struct tv_attribute_s tv_attribute_t;
typedef struct tv_table_s tv_table_t;
typedef struct tv_clique_s tv_clique_t;
typedef struct tv_junction_tree_s tv_junction_tree_t;

typedef int tv_status_t;
enum {
  tv_status_none = 0,
  tv_status_usage = 1,
  tv_status_io = 2,
  tv_status_no_memory = 3,
  tv_status_cg_limids_not_supported = 4,
  tv_status_twice = 5,
  tv_status_invalid_name = 6,
  tv_status_cyclic_network = 7,
  tv_status_cyclic_functional_dependency = 8,
  tv_status_functional_dependency = 9,
  tv_status_size_too_large = 10,
  tv_status_fast_retraction = 11,
  tv_status_rounding = 12,
  tv_status_bad_kb_password = 13,
  tv_status_bad_kb_version = 14,
  tv_status_bad_kb_type = 15,
  tv_status_bad_kb_format = 16,
  tv_status_not_compiled = 17,
  tv_status_invalid_probability_potential = 18,
  tv_status_chain_graph = 19,
  tv_status_enumeration = 20,
  tv_status_no_equilibrium = 21,
  tv_status_low_density = 22,
  tv_status_zero_variance = 23,
  tv_status_inconsistency_or_underflow = 24,
  tv_status_overflow = 25,
  tv_status_cg_evidence_incorporated = 26,
  tv_status_normalization = 27,
  tv_status_compressed = 28,
  tv_status_table_too_large = 29,
  tv_status_invalid_evidence = 30,
  tv_status_case_state_too_large = 31,
  tv_status_no_value = 32,
  tv_status_parse = 33,
  tv_status_invalid_expression = 34,
  tv_status_syntax = 35,
  tv_status_division_by_zero = 36,
  tv_status_inappropriate_arguments = 37,
  tv_status_computation_failed = 38,
  tv_status_insufficient_state_range = 39,
  tv_status_invalid_state_values = 40,
  tv_status_cyclic_instance_hierarchy = 41,
  tv_status_illegal_binding = 42,
  tv_status_locale = 43,
  tv_status_invalid_license = 44,
  tv_status_expired_license = 45,
  tv_status_demo = 46,
  tv_status_error = 47
};

typedef enum { tv_category_error = -1, tv_category_function = 5, tv_category_instance, tv_category_chance, tv_category_decision, tv_category_utility } tv_node_category_t;
typedef enum { tv_kind_error = -2, tv_kind_other, tv_kind_discrete, tv_kind_continuous } tv_node_kind_t;
typedef enum { tv_subtype_label = 30, tv_subtype_boolean, tv_subtype_number, tv_subtype_interval, tv_subtype_error } tv_node_subtype_t;
typedef enum { tv_method_clique_size = 15, tv_method_clique_weight, tv_method_fill_in_size, tv_method_fill_in_weight, tv_method_total_weight, tv_method_best_greedy } tv_triangulation_method_t;
typedef enum { tv_equilibrium_none = 10, tv_equilibrium_sum, tv_equilibrium_max } tv_equilibrium_t;
typedef enum { tv_evidence_normal = 20, tv_evidence_fast_retraction } tv_evidence_mode_t;

typedef void (*tv_error_handler_t)(size_t position, const char *message, void *handler_data);
typedef void (*tv_old_error_handler_t)(size_t position, const char *message);
typedef int (*tv_progress_handler_t)(const char *task, double fraction, void *handler_data);

/* ---- Status ---- */

TV_API tv_status_t tv_error_code(void);
TV_API const char *tv_error_name(unsigned code);
TV_API const char *tv_error_description(unsigned code);
TV_API tv_status_t tv_domain_set_log_file(tv_domain_t *domain, FILE *stream);

/* ---- Domains and nodes ---- */

TV_API tv_domain_t *tv_new_domain(void);
TV_API tv_node_t *tv_domain_new_node(tv_domain_t *domain, tv_node_category_t category, tv_node_kind_t kind);
TV_API tv_status_t tv_node_delete(tv_node_t *node);
TV_API tv_node_t *tv_node_clone(tv_node_t *node);
TV_API tv_node_category_t tv_node_get_category(const tv_node_t *node);
TV_API tv_status_t tv_node_set_category(tv_node_t *node, tv_node_category_t category);
TV_API tv_node_kind_t tv_node_get_kind(const tv_node_t *node);
TV_API tv_node_subtype_t tv_node_get_subtype(const tv_node_t *node);
TV_API tv_status_t tv_node_set_subtype(tv_node_t *node, tv_node_subtype_t subtype);
TV_API tv_domain_t *tv_node_get_domain(const tv_node_t *node);
TV_API tv_node_t *tv_domain_get_first_node(const tv_domain_t *domain);
TV_API tv_node_t *tv_node_get_next(const tv_node_t *node);
TV_API tv_status_t tv_node_set_name(tv_node_t *node, const char *name);
TV_API const char *tv_node_get_name(tv_node_t *node);
TV_API tv_node_t *tv_domain_get_node_by_name(tv_domain_t *domain, const char *name);
TV_API size_t tv_node_get_number_of_states(const tv_node_t *node);
TV_API tv_status_t tv_node_set_number_of_states(tv_node_t *node, size_t count);
TV_API tv_status_t tv_node_set_state_label(tv_node_t *node, size_t state, const char *label);
TV_API const char *tv_node_get_state_label(const tv_node_t *node, size_t state);
TV_API ptrdiff_t tv_node_get_state_index_from_label(const tv_node_t *node, const char *label);
TV_API tv_status_t tv_node_set_state_value(tv_node_t *node, size_t state, double value);
TV_API double tv_node_get_state_value(const tv_node_t *node, size_t state);
TV_API tv_status_t tv_node_reorder_states(tv_node_t *node, const size_t *order);
TV_API tv_status_t tv_domain_set_attribute(tv_domain_t *domain, const char *key, const char *value);
TV_API tv_status_t tv_node_set_attribute(tv_node_t *node, const char *key, const char *value);
TV_API const char *tv_domain_get_attribute(const tv_domain_t *domain, const char *key);
TV_API const char *tv_node_get_attribute(const tv_node_t *node, const char *key);
TV_API tv_attribute_t *tv_domain_get_first_attribute(const tv_domain_t *domain);
TV_API tv_attribute_t *tv_node_get_first_attribute(const tv_node_t *node);
TV_API tv_attribute_t *tv_attribute_get_next(const tv_attribute_t *attribute);
TV_API const char *tv_attribute_get_key(const tv_attribute_t *attribute);
TV_API const char *tv_attribute_get_value(const tv_attribute_t *attribute);
TV_API tv_status_t tv_domain_set_user_data(tv_domain_t *domain, void *data);
TV_API void *tv_domain_get_user_data(const tv_domain_t *domain);
TV_API tv_status_t tv_node_set_user_data(tv_node_t *node, void *data);
TV_API void *tv_node_get_user_data(const tv_node_t *node);
TV_API tv_status_t tv_clique_set_user_data(tv_clique_t *clique, void *data);
TV_API void *tv_clique_get_user_data(const tv_clique_t *clique);
TV_API tv_status_t tv_jt_set_user_data(tv_junction_tree_t *jt, void *data);
TV_API void *tv_jt_get_user_data(const tv_junction_tree_t *jt);

/* ---- Links and graph queries ---- */

TV_API tv_status_t tv_node_add_parent(tv_node_t *child, tv_node_t *parent);
TV_API tv_status_t tv_node_remove_parent(tv_node_t *child, tv_node_t *parent);
TV_API tv_status_t tv_node_remove_discrete_parent(tv_node_t *child, tv_node_t *parent);
TV_API tv_status_t tv_node_switch_parent(tv_node_t *child, tv_node_t *old_parent, tv_node_t *new_parent);
TV_API tv_status_t tv_node_reverse_edge(tv_node_t *node1, tv_node_t *node2);
TV_API tv_node_t **tv_node_get_parents(const tv_node_t *node);              /* owned by the node */
TV_API tv_node_t **tv_node_get_children(const tv_node_t *node);             /* owned by the node */
TV_API tv_node_t **tv_node_get_ancestors(const tv_node_t *node);            /* free() */
TV_API tv_node_t **tv_node_get_descendants(const tv_node_t *node);          /* free() */
TV_API tv_status_t tv_domain_set_node_size(tv_domain_t *domain, size_t width, size_t height);
TV_API tv_status_t tv_domain_get_node_size(const tv_domain_t *domain, size_t *width, size_t *height);
TV_API tv_status_t tv_node_set_position(tv_node_t *node, long x, long y);
TV_API tv_status_t tv_node_get_position(const tv_node_t *node, long *x, long *y);
TV_API tv_status_t tv_node_set_label(tv_node_t *node, const char *label);
TV_API const char *tv_node_get_label(const tv_node_t *node);

/* ---- Tables ---- */

TV_API tv_node_t **tv_table_get_nodes(const tv_table_t *table);             /* owned by the table */
TV_API tv_number_t *tv_table_get_data(tv_table_t *table);                   /* owned by the table */
TV_API size_t tv_table_get_size(const tv_table_t *table);
TV_API size_t tv_table_get_cg_size(const tv_table_t *table);
TV_API double tv_table_get_mean(tv_table_t *table, size_t index, tv_node_t *node);
TV_API double tv_table_get_covariance(tv_table_t *table, size_t index, tv_node_t *node1, tv_node_t *node2);
TV_API double tv_table_get_variance(tv_table_t *table, size_t index, tv_node_t *node);
TV_API size_t tv_table_get_index_from_configuration(const tv_table_t *table, const size_t *states);
TV_API tv_status_t tv_table_get_configuration_from_index(const tv_table_t *table, size_t *states, size_t index);
TV_API tv_status_t tv_table_reorder_nodes(tv_table_t *table, tv_node_t **order);
TV_API tv_status_t tv_table_delete(tv_table_t *table);
TV_API tv_status_t tv_table_set_user_data(tv_table_t *table, void *data);
TV_API void *tv_table_get_user_data(const tv_table_t *table);

/* ---- Parallelism settings ---- */

TV_API tv_status_t tv_domain_set_grain_size(tv_domain_t *domain, size_t size);
TV_API size_t tv_domain_get_grain_size(const tv_domain_t *domain);
TV_API tv_status_t tv_domain_set_concurrency_level(tv_domain_t *domain, size_t level);
TV_API size_t tv_domain_get_concurrency_level(const tv_domain_t *domain);
TV_API tv_status_t tv_domain_set_em_concurrency_level(tv_domain_t *domain, size_t level);
TV_API size_t tv_domain_get_em_concurrency_level(const tv_domain_t *domain);

/* ---- Compilation and junction trees ---- */

TV_API tv_status_t tv_domain_compile(tv_domain_t *domain);
TV_API tv_status_t tv_domain_uncompile(tv_domain_t *domain);
TV_API int tv_domain_is_compiled(const tv_domain_t *domain);
TV_API int tv_domain_is_triangulated(const tv_domain_t *domain);
TV_API tv_status_t tv_domain_triangulate(tv_domain_t *domain, tv_triangulation_method_t method);
TV_API tv_status_t tv_domain_triangulate_with_order(tv_domain_t *domain, tv_node_t **order);
TV_API tv_status_t tv_domain_set_initial_triangulation(tv_domain_t *domain, tv_node_t **order);
TV_API tv_node_t **tv_domain_get_elimination_order(tv_domain_t *domain);    /* owned by the domain */
TV_API tv_status_t tv_domain_set_max_number_of_separators(tv_domain_t *domain, size_t count);
TV_API size_t tv_domain_get_max_number_of_separators(const tv_domain_t *domain);
TV_API tv_status_t tv_domain_set_max_separator_size(tv_domain_t *domain, size_t size);
TV_API size_t tv_domain_get_max_separator_size(const tv_domain_t *domain);
TV_API size_t tv_domain_get_jt_cost(tv_domain_t *domain);
TV_API tv_clique_t *tv_domain_get_first_clique(const tv_domain_t *domain);
TV_API tv_clique_t *tv_clique_get_next(const tv_clique_t *clique);
TV_API size_t tv_domain_get_number_of_cliques(const tv_domain_t *domain);
TV_API tv_node_t **tv_clique_get_members(tv_clique_t *clique);              /* owned by the library */
TV_API size_t tv_clique_get_number_of_members(const tv_clique_t *clique);
TV_API tv_clique_t **tv_clique_get_neighbors(tv_clique_t *clique);          /* owned by the clique */
TV_API size_t tv_clique_get_number_of_neighbors(tv_clique_t *clique);
TV_API tv_junction_tree_t *tv_clique_get_junction_tree(const tv_clique_t *clique);
TV_API tv_table_t *tv_clique_get_probability_table(const tv_clique_t *clique);
TV_API tv_table_t *tv_clique_get_utility_table(const tv_clique_t *clique);
TV_API tv_junction_tree_t *tv_domain_get_first_junction_tree(const tv_domain_t *domain);
TV_API tv_junction_tree_t *tv_jt_get_next(const tv_junction_tree_t *jt);
TV_API tv_clique_t *tv_jt_get_root(const tv_junction_tree_t *jt);
TV_API tv_clique_t **tv_jt_get_cliques(tv_junction_tree_t *jt);             /* owned by the library */
TV_API size_t tv_jt_get_total_size(tv_junction_tree_t *jt);
TV_API size_t tv_jt_get_total_cg_size(tv_junction_tree_t *jt);
TV_API tv_junction_tree_t *tv_node_get_junction_tree(const tv_node_t *node);
TV_API tv_node_t **tv_node_get_moral_neighbors(const tv_node_t *node);      /* owned by the node */
TV_API tv_status_t tv_domain_save_to_memory(tv_domain_t *domain);
TV_API tv_status_t tv_domain_reclaim_memory_tables(tv_domain_t *domain);
TV_API tv_status_t tv_domain_set_ijt_nodes(tv_domain_t *domain, tv_node_t **nodes);

/* ---- Evidence ---- */

TV_API tv_status_t tv_node_select_state(tv_node_t *node, size_t state);
TV_API tv_status_t tv_node_enter_finding(tv_node_t *node, size_t state, tv_number_t value);
TV_API tv_status_t tv_node_enter_value(tv_node_t *node, double value);
TV_API tv_status_t tv_node_retract_findings(tv_node_t *node);
TV_API tv_status_t tv_domain_retract_findings(tv_domain_t *domain);
TV_API ptrdiff_t tv_node_get_selected_state(const tv_node_t *node);
TV_API tv_number_t tv_node_get_entered_finding(const tv_node_t *node, size_t state);
TV_API tv_number_t tv_node_get_propagated_finding(const tv_node_t *node, size_t state);
TV_API ptrdiff_t tv_node_get_propagated_state(const tv_node_t *node);
TV_API double tv_node_get_entered_value(const tv_node_t *node);
TV_API double tv_node_get_propagated_value(const tv_node_t *node);
TV_API int tv_node_evidence_is_entered(const tv_node_t *node);
TV_API int tv_node_likelihood_is_entered(const tv_node_t *node);
TV_API int tv_node_evidence_is_propagated(const tv_node_t *node);
TV_API int tv_node_likelihood_is_propagated(const tv_node_t *node);
TV_API int tv_node_evidence_to_propagate(const tv_node_t *node);
TV_API int tv_domain_evidence_to_propagate(const tv_domain_t *domain);
TV_API int tv_domain_evidence_is_propagated(const tv_domain_t *domain);
TV_API int tv_domain_likelihood_is_propagated(const tv_domain_t *domain);
TV_API int tv_domain_cg_evidence_is_propagated(const tv_domain_t *domain);
TV_API int tv_jt_evidence_to_propagate(const tv_junction_tree_t *jt);
TV_API int tv_jt_evidence_is_propagated(const tv_junction_tree_t *jt);
TV_API int tv_jt_likelihood_is_propagated(const tv_junction_tree_t *jt);
TV_API int tv_jt_cg_evidence_is_propagated(const tv_junction_tree_t *jt);

/* ---- Propagation ---- */

TV_API tv_status_t tv_domain_propagate(tv_domain_t *domain, tv_equilibrium_t equilibrium, tv_evidence_mode_t mode);
TV_API tv_status_t tv_jt_propagate(tv_junction_tree_t *jt, tv_equilibrium_t equilibrium, tv_evidence_mode_t mode);
TV_API tv_status_t tv_clique_propagate(tv_clique_t *clique, tv_equilibrium_t equilibrium, tv_evidence_mode_t mode);
TV_API int tv_domain_equilibrium_is(const tv_domain_t *domain, tv_equilibrium_t equilibrium);
TV_API int tv_jt_equilibrium_is(const tv_junction_tree_t *jt, tv_equilibrium_t equilibrium);
TV_API int tv_domain_evidence_mode_is(const tv_domain_t *domain, tv_evidence_mode_t mode);
TV_API int tv_jt_evidence_mode_is(const tv_junction_tree_t *jt, tv_evidence_mode_t mode);
TV_API tv_status_t tv_domain_reset_inference_engine(tv_domain_t *domain);
TV_API tv_status_t tv_domain_initialize(tv_domain_t *domain);
TV_API double tv_domain_get_normalization_constant(const tv_domain_t *domain);
TV_API double tv_domain_get_log_normalization_constant(const tv_domain_t *domain);
TV_API double tv_domain_get_conflict(const tv_domain_t *domain);
TV_API double tv_jt_get_conflict(const tv_junction_tree_t *jt);
TV_API double tv_clique_get_conflict(const tv_clique_t *clique);
TV_API tv_clique_t *tv_node_get_conflict_clique(const tv_node_t *node);
TV_API int tv_domain_tables_to_propagate(const tv_domain_t *domain);
TV_API int tv_jt_tables_to_propagate(const tv_junction_tree_t *jt);
TV_API tv_status_t tv_node_touch_table(tv_node_t *node);

/* ---- Beliefs, means and expected utilities ---- */

TV_API tv_number_t tv_node_get_belief(const tv_node_t *node, size_t state);
TV_API tv_number_t tv_node_get_expected_utility(const tv_node_t *node, size_t state);
TV_API tv_number_t tv_node_get_min_utility(const tv_node_t *node);
TV_API tv_number_t tv_node_get_max_utility(const tv_node_t *node);
TV_API double tv_node_get_variance_of_utility(const tv_node_t *node);
TV_API double tv_domain_get_expected_utility(const tv_domain_t *domain);
TV_API double tv_node_get_value(tv_node_t *node);
TV_API double tv_node_get_entropy(const tv_node_t *node);
TV_API double tv_node_get_mutual_information(tv_node_t *node1, tv_node_t *node2);
TV_API double tv_node_get_mean(const tv_node_t *node);
TV_API double tv_node_get_variance(const tv_node_t *node);
TV_API tv_table_t *tv_domain_get_marginal(tv_domain_t *domain, tv_node_t **nodes);   /* tv_table_delete */

/* ---- NET language and case files ---- */

TV_API tv_domain_t *tv_net_parse_domain(const char *source, tv_error_handler_t handler, void *handler_data);
TV_API tv_domain_t *tv_net_parse(FILE *stream, tv_old_error_handler_t handler);
TV_API tv_domain_t *tv_net_parse_from_string(const char *text, tv_old_error_handler_t handler);

/* ---- Random numbers ---- */

TV_API tv_status_t tv_domain_seed_random(tv_domain_t *domain, unsigned seed);
TV_API double tv_domain_get_uniform_deviate(tv_domain_t *domain);
TV_API double tv_domain_get_normal_deviate(tv_domain_t *domain, double mean, double variance);

/* ---- Beside these ---- */

TV_API const char *tv_get_version(void);                                    /* "MAJOR.MINOR.PATCH" */
TV_API tv_status_t tv_domain_delete(tv_domain_t *domain);
TV_API tv_domain_t *tv_domain_clone(tv_domain_t *domain);
TV_API size_t tv_domain_get_number_of_nodes(const tv_domain_t *domain);
TV_API const char *tv_domain_get_file_name(const tv_domain_t *domain);
TV_API tv_table_t *tv_node_get_table(tv_node_t *node);                      /* owned by the node; created on demand */
TV_API tv_table_t *tv_node_get_experience_table(tv_node_t *node);           /* owned by the node; created on demand */
TV_API tv_table_t *tv_node_get_fading_table(tv_node_t *node);
TV_API int tv_node_has_experience_table(const tv_node_t *node);
TV_API int tv_node_has_fading_table(const tv_node_t *node);
TV_API tv_status_t tv_clique_set_back_pointer(tv_clique_t *clique, void *pointer);
TV_API void *tv_clique_get_back_pointer(const tv_clique_t *clique);
TV_API tv_status_t tv_jt_set_back_pointer(tv_junction_tree_t *jt, void *pointer);
TV_API void *tv_jt_get_back_pointer(const tv_junction_tree_t *jt);
TV_API tv_status_t tv_domain_set_progress_handler(tv_domain_t *domain, tv_progress_handler_t handler, void *handler_data);

#ifdef __cplusplus
}
#endif

#endif

// Evidence, propagation, answers and decisions under failing allocation.

#include "faults/export_world.h"

namespace test {
namespace {

const Cases cases = {
    {"tv_domain_save_to_memory", compiled, [](World& w) { tv_domain_save_to_memory(w.domain.get()); }},
    {"tv_node_enter_finding", compiled, [](World& w) { tv_node_enter_finding(w.b, 1, 0.5f); }},
    {"tv_domain_propagate", parallel, [](World& w) { tv_domain_propagate(w.domain.get(), kMax, kNormal); },
     Case::may_reset},
    {"tv_domain_propagate", saved, [](World& w) { tv_domain_propagate(w.domain.get(), kSum, kNormal); },
     Case::may_reset},
    {"tv_domain_reset_inference_engine", saved,
     [](World& w) { tv_domain_reset_inference_engine(w.domain.get()); }, Case::may_reset},
    {"tv_domain_propagate", touched, [](World& w) { tv_domain_propagate(w.domain.get(), kSum, kNormal); },
     Case::never_fails},
    {"tv_domain_propagate", with_evidence,
     [](World& w) { tv_domain_propagate(w.domain.get(), kSum, kNormal); }, Case::never_fails},
    {"tv_domain_propagate", with_evidence, [](World& w) { tv_domain_propagate(w.domain.get(), kMax, kFast); },
     Case::never_fails},
    {"tv_domain_propagate", propagated,
     [](World& w) {
       tv_node_retract_findings(w.d);
       tv_domain_propagate(w.domain.get(), kSum, kNormal);
     },
     Case::never_fails},
    {"tv_jt_propagate", with_evidence, [](World& w) { tv_jt_propagate(tree_of(w), kSum, kNormal); },
     Case::never_fails},
    {"tv_clique_propagate", with_evidence, [](World& w) { tv_clique_propagate(clique_of(w), kSum, kNormal); },
     Case::never_fails},
    {"tv_domain_reset_inference_engine", propagated,
     [](World& w) { tv_domain_reset_inference_engine(w.domain.get()); }, Case::never_fails},
    {"tv_domain_initialize", propagated, [](World& w) { tv_domain_initialize(w.domain.get()); },
     Case::never_fails},
    {"tv_domain_get_marginal", propagated,
     [](World& w) { w.table.reset(tv_domain_get_marginal(w.domain.get(), two_nodes(w))); }},
    {"tv_node_get_distribution", propagated_values,
     [](World& w) { w.table.reset(tv_node_get_distribution(w.y)); }},
    {"tv_node_get_quantile", propagated_values, [](World& w) { w.number = tv_node_get_quantile(w.y, 0.25); }},
    {"tv_domain_get_marginal", propagated_values,
     [](World& w) {
       tv_node_t* list[] = {w.y, w.b, nullptr};
       w.table.reset(tv_domain_get_marginal(w.domain.get(), list));
     }},
    {"tv_domain_propagate", propagated_values,
     [](World& w) {
       tv_node_enter_value(w.y, 2);
       tv_domain_propagate(w.domain.get(), kSum, kNormal);
     },
     Case::never_fails},
    {"tv_node_get_mutual_information", compiled,
     [](World& w) { w.number = tv_node_get_mutual_information(w.a, w.d); }},
    {"tv_domain_update_policies", deciding,
     [](World& w) {
       if (tv_domain_equilibrium_is(w.domain.get(), kSum) != 1)
         tv_domain_propagate(w.domain.get(), kSum, kNormal);
       tv_domain_update_policies(w.domain.get());
     },
     Case::may_reset},
    {"tv_node_get_requisite_parents", deciding,
     [](World& w) { w.borrowed_list = tv_node_get_requisite_parents(w.choice); }},
    {"tv_node_get_requisite_ancestors", deciding,
     [](World& w) { w.borrowed_list = tv_node_get_requisite_ancestors(w.choice); }},
    {"tv_domain_propagate", deciding,  // what is known of decisions is looked at first
     [](World& w) { tv_domain_propagate(w.domain.get(), kSum, kNormal); }},
    {"tv_table_get_data", deciding,
     [](World& w) {
       for (tv_clique_t* clique = clique_of(w); clique; clique = tv_clique_get_next(clique))
         if (const tv_number_t* data = tv_table_get_data(tv_clique_get_utility_table(clique)))
           w.number += data[0];
         else
           return;
     }},
    {"tv_domain_new_query", propagated,
     [](World& w) {
       w.query.reset(tv_domain_new_query(w.domain.get()));
       if (!w.query) return;
       w.number = tv_query_propagate(w.query.get(), kSum, kNormal);
     }},
    {"tv_query_enter_finding", queried,
     [](World& w) { tv_query_enter_finding(w.query.get(), w.a, 1, 0.5f); }},
    ASKS_FOR_NOTHING(tv_query_select_state, queried, w.query.get(), w.a, 1),
    ASKS_FOR_NOTHING(tv_query_enter_value, queried_values, w.query.get(), w.y, 1.0),
    ASKS_FOR_NOTHING(tv_query_retract_node_findings, queried, w.query.get(), w.d),
    ASKS_FOR_NOTHING(tv_query_retract_findings, queried, w.query.get()),
    {"tv_query_propagate", querying,
     [](World& w) {
       if (tv_query_propagate(w.query.get(), kMax, kNormal) == tv_status_none)
         w.number = tv_query_get_belief(w.query.get(), w.a, 0);
     },
     Case::never_fails},
    ASKS_FOR_NOTHING(tv_query_is_open, queried, w.query.get()),
    ASKS_FOR_NOTHING(tv_query_delete, queried, w.query.release()),
    ASKS_FOR_NOTHING(tv_query_get_belief, queried, w.query.get(), w.a, 1),
    ASKS_FOR_NOTHING(tv_query_get_mean, queried_values, w.query.get(), w.y),
    ASKS_FOR_NOTHING(tv_query_get_variance, queried_values, w.query.get(), w.y),
    ASKS_FOR_NOTHING(tv_query_get_log_normalization_constant, queried, w.query.get()),
    ASKS_FOR_NOTHING(tv_query_get_node_expected_utility, queried, w.query.get(), w.a, 1),
    ASKS_FOR_NOTHING(tv_query_get_expected_utility, queried, w.query.get()),
    ASKS_FOR_NOTHING(tv_node_select_state, propagated, w.a, 1),
    ASKS_FOR_NOTHING(tv_node_enter_value, propagated_values, w.y, 2.0),
    ASKS_FOR_NOTHING(tv_node_retract_findings, propagated, w.d),
    ASKS_FOR_NOTHING(tv_domain_retract_findings, propagated, net(w)),
    ASKS_FOR_NOTHING(tv_node_get_selected_state, propagated, w.d),
    ASKS_FOR_NOTHING(tv_node_get_entered_finding, propagated, w.b, 1),
    ASKS_FOR_NOTHING(tv_node_get_propagated_finding, propagated, w.b, 1),
    ASKS_FOR_NOTHING(tv_node_get_propagated_state, propagated, w.d),
    ASKS_FOR_NOTHING(tv_node_get_entered_value, propagated_values, w.x),
    ASKS_FOR_NOTHING(tv_node_get_propagated_value, propagated_values, w.x),
    ASKS_FOR_NOTHING(tv_node_evidence_is_entered, propagated, w.d),
    ASKS_FOR_NOTHING(tv_node_likelihood_is_entered, propagated, w.b),
    ASKS_FOR_NOTHING(tv_node_evidence_is_propagated, propagated, w.d),
    ASKS_FOR_NOTHING(tv_node_likelihood_is_propagated, propagated, w.b),
    ASKS_FOR_NOTHING(tv_node_evidence_to_propagate, with_evidence, w.d),
    ASKS_FOR_NOTHING(tv_domain_evidence_to_propagate, with_evidence, net(w)),
    ASKS_FOR_NOTHING(tv_domain_evidence_is_propagated, propagated, net(w)),
    ASKS_FOR_NOTHING(tv_domain_likelihood_is_propagated, propagated, net(w)),
    ASKS_FOR_NOTHING(tv_domain_cg_evidence_is_propagated, propagated_values, net(w)),
    ASKS_FOR_NOTHING(tv_jt_evidence_to_propagate, with_evidence, tree_of(w)),
    ASKS_FOR_NOTHING(tv_jt_evidence_is_propagated, propagated, tree_of(w)),
    ASKS_FOR_NOTHING(tv_jt_likelihood_is_propagated, propagated, tree_of(w)),
    ASKS_FOR_NOTHING(tv_jt_cg_evidence_is_propagated, propagated_values, tree_of(w)),
    ASKS_FOR_NOTHING(tv_domain_equilibrium_is, propagated, net(w), kSum),
    ASKS_FOR_NOTHING(tv_jt_equilibrium_is, propagated, tree_of(w), kSum),
    ASKS_FOR_NOTHING(tv_domain_evidence_mode_is, propagated, net(w), kNormal),
    ASKS_FOR_NOTHING(tv_jt_evidence_mode_is, propagated, tree_of(w), kNormal),
    ASKS_FOR_NOTHING(tv_domain_get_normalization_constant, propagated, net(w)),
    ASKS_FOR_NOTHING(tv_domain_get_log_normalization_constant, propagated, net(w)),
    ASKS_FOR_NOTHING(tv_domain_get_conflict, propagated, net(w)),
    ASKS_FOR_NOTHING(tv_jt_get_conflict, propagated, tree_of(w)),
    ASKS_FOR_NOTHING(tv_clique_get_conflict, propagated, clique_of(w)),
    ASKS_FOR_NOTHING(tv_node_get_conflict_clique, propagated, w.d),
    ASKS_FOR_NOTHING(tv_domain_tables_to_propagate, touched, net(w)),
    ASKS_FOR_NOTHING(tv_jt_tables_to_propagate, touched, tree_of(w)),
    ASKS_FOR_NOTHING(tv_domain_reclaim_memory_tables, saved, net(w)),
    ASKS_FOR_NOTHING(tv_node_get_belief, propagated, w.a, 1),
    ASKS_FOR_NOTHING(tv_node_get_entropy, propagated, w.a),
    ASKS_FOR_NOTHING(tv_node_get_mean, propagated_values, w.y),
    ASKS_FOR_NOTHING(tv_node_get_variance, propagated_values, w.y),
    ASKS_FOR_NOTHING(tv_node_get_expected_utility, decided, w.choice, 1),
    ASKS_FOR_NOTHING(tv_node_get_min_utility, deciding, w.gain),
    ASKS_FOR_NOTHING(tv_node_get_max_utility, deciding, w.gain),
    ASKS_FOR_NOTHING(tv_node_get_variance_of_utility, decided, w.gain),
    ASKS_FOR_NOTHING(tv_domain_get_expected_utility, decided, net(w)),
};

}  // namespace
}  // namespace test

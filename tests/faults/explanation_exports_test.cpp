// What to observe next, sensitivity to evidence and explanation under failing allocation.

#include "faults/analysis_world.h"

namespace test {
namespace {

tv_observations_t* rank(World& w) { return tv_node_rank_observations(w.a, nullptr, nullptr); }
tv_observation_values_t* value(World& w) { return tv_node_value_observations(w.choice, nullptr, nullptr); }
tv_findings_t* analyze(World& w) { return tv_node_analyze_findings(w.a, 1, 2); }
tv_conflict_t* trace(World& w) { return tv_domain_trace_conflict(net(w), 2, 0.5); }
tv_explanation_t* explain(World& w) { return tv_node_explain_belief(w.a, 1, 0, 3); }
tv_relevant_explanations_t* find(World& w) {
  tv_node_t* targets[] = {w.a, w.c, nullptr};
  return tv_domain_find_relevant_explanations(net(w), targets, 5);
}

void ranked(World& w) {
  with_evidence(w);
  keep(w, rank(w), tv_observations_delete);
}
void valued(World& w) {
  deciding(w);
  keep(w, value(w), tv_observation_values_delete);
}
void analyzed(World& w) {
  with_evidence(w);
  keep(w, analyze(w), tv_findings_delete);
}
// Findings that disagree, unless the rare state of c has a part in it.
void with_conflict(World& w) {
  set_table(w.c, {0.99f, 0.01f, 0.99f, 0.01f});
  set_table(w.d, {0.9f, 0.1f, 0.01f, 0.99f, 0.1f, 0.9f, 0.1f, 0.9f, 0.1f, 0.9f, 0.1f, 0.9f});
  compiled(w);
  tv_node_select_state(w.b, 0);
  tv_node_select_state(w.d, 1);
}
void traced(World& w) {
  with_conflict(w);
  keep(w, trace(w), tv_conflict_delete);
}
void explained(World& w) {
  with_evidence(w);
  keep(w, explain(w), tv_explanation_delete);
}
void accounted(World& w) {
  with_evidence(w);
  keep(w, find(w), tv_relevant_explanations_delete);
}
void with_target_of_values(World& w) {
  with_regressions(w);
  for (size_t i = 0; i < 2; ++i) tv_node_set_conditional_variance(w.x, i, 2.0);
  compiled(w);
}

// What was found, as one number.
void note_ranking(World& w, tv_observations_t* made) {
  const std::unique_ptr<tv_observations_t, tv_status_t (*)(tv_observations_t*)> result(
      made, tv_observations_delete);
  for (size_t i = 0; made && i < tv_observations_get_number(made); ++i)
    w.number = w.number * 0.75 + tv_observations_get_information(made, i);
}

void find_out_values(World& w) {
  if (tv_observation_values_t* const made = value(w)) {
    for (size_t i = 0; i < tv_observation_values_get_number(made); ++i)
      w.number = w.number * 0.75 + tv_observation_values_get_value(made, i);
    tv_observation_values_delete(made);
  }
}

void find_out_about_findings(World& w) {
  if (tv_findings_t* const made = analyze(w)) {
    for (size_t g = 0; g < tv_findings_get_number_of_groups(made); ++g)
      w.number = w.number * 0.75 + tv_findings_get_group_posterior(made, g);
    tv_findings_delete(made);
  }
}

void find_out_about_conflict(World& w) {
  if (tv_conflict_t* const made = trace(w)) {
    w.number = tv_conflict_get_value(made) + static_cast<double>(tv_conflict_get_number_of_groups(made));
    tv_conflict_delete(made);
  }
}

void find_out_why(World& w) {
  if (tv_explanation_t* const made = explain(w)) {
    const char* const text = tv_explanation_get_text(made);
    for (const char* c = text; *c; ++c) w.number = w.number * 0.75 + *c;
    tv_explanation_delete(made);
  }
}

void find_out_what_accounts(World& w) {
  if (tv_relevant_explanations_t* const made = find(w)) {
    for (size_t i = 0; i < tv_relevant_explanations_get_number(made); ++i)
      w.number = w.number * 0.75 + tv_relevant_explanations_get_factor(made, i);
    tv_relevant_explanations_delete(made);
  }
}

size_t unused_count = 0;

const Cases cases = {
    {"tv_node_rank_observations", with_evidence, [](World& w) { note_ranking(w, rank(w)); }},
    {"tv_node_rank_observations", with_target_of_values, [](World& w) { note_ranking(w, rank(w)); }},
    {"tv_node_choose_observations", with_evidence,
     [](World& w) { note_ranking(w, tv_node_choose_observations(w.a, nullptr, nullptr, 3)); }},
    {"tv_node_value_observations", deciding, find_out_values},
    {"tv_node_analyze_findings", with_evidence, find_out_about_findings},
    {"tv_domain_trace_conflict", with_conflict, find_out_about_conflict},
    {"tv_node_explain_belief", with_evidence, find_out_why},
    {"tv_domain_find_relevant_explanations", with_evidence, find_out_what_accounts},
    READS(tv_observations_get_number, tv_observations_t, ranked),
    READS(tv_observations_get_node, tv_observations_t, ranked, 0),
    READS(tv_observations_get_information, tv_observations_t, ranked, 1),
    READS(tv_observations_get_error_reduction, tv_observations_t, ranked, 1),
    READS(tv_observations_get_price, tv_observations_t, ranked, 1),
    READS(tv_observations_get_entropy, tv_observations_t, ranked),
    READS(tv_observations_get_error, tv_observations_t, ranked),
    READS(tv_observations_get_bound, tv_observations_t, ranked),
    READS(tv_observation_values_get_number, tv_observation_values_t, valued),
    READS(tv_observation_values_get_node, tv_observation_values_t, valued, 0),
    READS(tv_observation_values_get_value, tv_observation_values_t, valued, 0),
    READS(tv_observation_values_get_price, tv_observation_values_t, valued, 0),
    READS(tv_observation_values_get_expected_utility, tv_observation_values_t, valued),
    READS(tv_findings_get_number, tv_findings_t, analyzed),
    READS(tv_findings_get_node, tv_findings_t, analyzed, 0),
    READS(tv_findings_get_prior, tv_findings_t, analyzed),
    READS(tv_findings_get_posterior, tv_findings_t, analyzed),
    READS(tv_findings_get_posterior_given, tv_findings_t, analyzed, 0),
    READS(tv_findings_get_posterior_without, tv_findings_t, analyzed, 0),
    READS(tv_findings_get_cost_of_omission, tv_findings_t, analyzed, 0),
    READS(tv_findings_get_role, tv_findings_t, analyzed, 0, 0.01, 0.5),
    READS(tv_findings_get_posterior_if, tv_findings_t, analyzed, 0, 1),
    READS(tv_findings_get_number_of_groups, tv_findings_t, analyzed),
    READS(tv_findings_get_group, tv_findings_t, analyzed, 2, &unused_count),
    READS(tv_findings_get_group_posterior, tv_findings_t, analyzed, 2),
    READS(tv_findings_get_normalized_likelihood, tv_findings_t, analyzed, 2),
    READS(tv_conflict_get_value, tv_conflict_t, traced),
    READS(tv_conflict_get_number_of_groups, tv_conflict_t, traced),
    READS(tv_conflict_get_group, tv_conflict_t, traced, 0, &unused_count),
    READS(tv_conflict_get_group_value, tv_conflict_t, traced, 0),
    READS(tv_conflict_get_number_of_resolutions, tv_conflict_t, traced),
    READS(tv_conflict_get_resolution, tv_conflict_t, traced, 0, &unused_count),
    READS(tv_conflict_get_resolution_value, tv_conflict_t, traced, 0),
    READS(tv_explanation_get_number_of_findings, tv_explanation_t, explained),
    READS(tv_explanation_get_finding, tv_explanation_t, explained, 0),
    READS(tv_explanation_get_prior, tv_explanation_t, explained, 1),
    READS(tv_explanation_get_posterior, tv_explanation_t, explained, 1),
    READS(tv_explanation_get_weight_alone, tv_explanation_t, explained, 0, 1),
    READS(tv_explanation_get_weight, tv_explanation_t, explained, 0, 1),
    READS(tv_explanation_get_shapley_value, tv_explanation_t, explained, 0, 1),
    READS(tv_explanation_get_standard_error, tv_explanation_t, explained, 0, 1),
    READS(tv_explanation_get_number_of_trails, tv_explanation_t, explained, 0),
    READS(tv_explanation_has_all_trails, tv_explanation_t, explained, 0),
    READS(tv_explanation_get_trail, tv_explanation_t, explained, 0, 0, &unused_count),
    READS(tv_explanation_get_trail_strength, tv_explanation_t, explained, 0, 0),
    READS(tv_explanation_get_text, tv_explanation_t, explained),
    READS(tv_relevant_explanations_get_number, tv_relevant_explanations_t, accounted),
    READS(tv_relevant_explanations_get_nodes, tv_relevant_explanations_t, accounted, 0, &unused_count),
    READS(tv_relevant_explanations_get_states, tv_relevant_explanations_t, accounted, 0, &unused_count),
    READS(tv_relevant_explanations_get_factor, tv_relevant_explanations_t, accounted, 0),
    READS(tv_relevant_explanations_get_probability, tv_relevant_explanations_t, accounted, 0),
    DELETES(tv_observations_delete, tv_observations_t, ranked),
    DELETES(tv_observation_values_delete, tv_observation_values_t, valued),
    DELETES(tv_findings_delete, tv_findings_t, analyzed),
    DELETES(tv_conflict_delete, tv_conflict_t, traced),
    DELETES(tv_explanation_delete, tv_explanation_t, explained),
    DELETES(tv_relevant_explanations_delete, tv_relevant_explanations_t, accounted),
};

}  // namespace
}  // namespace test

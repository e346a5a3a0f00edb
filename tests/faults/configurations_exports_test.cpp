// Configurations and sensitivity to parameters under failing allocation.

#include "faults/analysis_world.h"

namespace test {
namespace {

constexpr size_t kNoState = static_cast<size_t>(-1);

tv_configurations_t* best(World& w) { return tv_domain_find_configurations(net(w), 5); }
tv_sensitivity_t* of_a(World& w) { return tv_node_analyze_sensitivity(w.a, 1); }
tv_sensitivity_t* of_evidence(World& w) { return tv_domain_analyze_evidence_sensitivity(net(w)); }

void with_likelihood(World& w) {
  compiled(w);
  tv_node_enter_finding(w.b, 0, 0.5f);
  tv_node_select_state(w.d, 1);
}
void found(World& w) {
  with_likelihood(w);
  keep(w, best(w), tv_configurations_delete);
}
void analyzed(World& w) {
  with_likelihood(w);
  keep(w, of_a(w), tv_sensitivity_delete);
}

// What was found, as one number.
void note_configurations(World& w, tv_configurations_t* made) {
  if (!made) return;
  for (size_t i = 0; i < tv_configurations_get_number(made); ++i)
    w.number = w.number * 0.75 + tv_configurations_get_probability(made, i);
  tv_configurations_delete(made);
}
void note_sensitivity(World& w, tv_sensitivity_t* made) {
  if (!made) return;
  for (size_t i = 0; i < tv_sensitivity_get_number_of_parameters(made); ++i)
    w.number = w.number * 0.75 + tv_sensitivity_get_derivative(made, i);
  tv_sensitivity_delete(made);
}

void find_of_some(World& w) {
  tv_node_t* nodes[] = {w.c, w.a, nullptr};
  note_configurations(w, tv_domain_find_configurations_of(net(w), nodes, 3, 0.01, 100));
}
void with_continuous(World& w) {
  with_regressions(w);
  for (size_t i = 0; i < 2; ++i) tv_node_set_conditional_variance(w.x, i, 2.0);
  compiled(w);
}
void two_way(World& w) {
  double above[4], below[4];
  if (tv_node_get_two_way_sensitivity(w.a, 1, w.c, 0, w.b, 1, above, below) == tv_status_none)
    for (size_t i = 0; i < 4; ++i) w.number = w.number * 0.75 + above[i] - below[i];
}
void tune_distribution(World& w) {
  double distribution[8], distance;
  const auto* made = kept<tv_sensitivity_t>(w);
  if (tv_sensitivity_tune_distribution(made, 0, kNoState, 0.0, distribution, &distance) == tv_status_none)
    w.number = distribution[0] + distance;
}

double unused[4];

const Cases cases = {
    {"tv_domain_find_configurations", with_likelihood, [](World& w) { note_configurations(w, best(w)); }},
    {"tv_domain_find_configurations_of", with_likelihood, find_of_some},
    {"tv_domain_find_configurations_of", with_continuous, find_of_some},
    {"tv_node_analyze_sensitivity", with_likelihood, [](World& w) { note_sensitivity(w, of_a(w)); }},
    {"tv_domain_analyze_evidence_sensitivity", with_likelihood,
     [](World& w) { note_sensitivity(w, of_evidence(w)); }},
    {"tv_domain_analyze_utility_sensitivity", deciding,
     [](World& w) { note_sensitivity(w, tv_domain_analyze_utility_sensitivity(net(w))); }},
    {"tv_node_get_two_way_sensitivity", with_likelihood, two_way},
    {"tv_sensitivity_tune_distribution", analyzed, tune_distribution},
    READS(tv_configurations_get_number, tv_configurations_t, found),
    READS(tv_configurations_get_state, tv_configurations_t, found, 1, w.a),
    READS(tv_configurations_get_probability, tv_configurations_t, found, 1),
    READS(tv_configurations_get_log_probability, tv_configurations_t, found, 1),
    READS(tv_configurations_get_remaining_probability, tv_configurations_t, found),
    READS(tv_configurations_get_bound, tv_configurations_t, found),
    READS(tv_configurations_is_complete, tv_configurations_t, found),
    DELETES(tv_configurations_delete, tv_configurations_t, found),
    READS(tv_sensitivity_get_value, tv_sensitivity_t, analyzed),
    READS(tv_sensitivity_get_number_of_parameters, tv_sensitivity_t, analyzed),
    READS(tv_sensitivity_find_parameter, tv_sensitivity_t, analyzed, w.a, 0),
    READS(tv_sensitivity_get_node, tv_sensitivity_t, analyzed, 0),
    READS(tv_sensitivity_get_table_index, tv_sensitivity_t, analyzed, 0),
    READS(tv_sensitivity_get_parameter, tv_sensitivity_t, analyzed, 0),
    READS(tv_sensitivity_get_derivative, tv_sensitivity_t, analyzed, 0),
    READS(tv_sensitivity_get_evidence_derivative, tv_sensitivity_t, analyzed, 0),
    READS(tv_sensitivity_get_constants, tv_sensitivity_t, analyzed, 0, unused),
    READS(tv_sensitivity_compute_value_at, tv_sensitivity_t, analyzed, 0, 0.25),
    READS(tv_sensitivity_get_range, tv_sensitivity_t, analyzed, 0, unused, unused + 1),
    READS(tv_sensitivity_get_stable_interval, tv_sensitivity_t, analyzed, 0, unused, unused + 1),
    READS(tv_sensitivity_tune_parameter, tv_sensitivity_t, analyzed, 0, kNoState, 0.0, unused),
    DELETES(tv_sensitivity_delete, tv_sensitivity_t, analyzed),
};

}  // namespace
}  // namespace test
